#pragma once

#include <QString>
#include <QStringList>

// The flash command's text rules, apart from any window. A template is the argument text of one
// run of the tool; "%port", "%baud" and "%PATH\\" (letter case ignored) stand in it for the
// values below, each of which is already one word of a /bin/sh command line.
namespace CommandTemplate {

inline const QString kPort = QStringLiteral("%port");
inline const QString kBaud = QStringLiteral("%baud");
inline const QString kPath = QStringLiteral("%PATH\\\\");

// One pass over the template: what a value inserts is never read for placeholders again, so a
// port, a tool or a folder whose name holds "%port" stays exactly as it is.
QString Expand(const QString& tmpl, const QString& port, const QString& baud, const QString& prefix);

// The tool in front of every expanded template, the runs joined by " ; ", the ends trimmed.
QString Compose(const QString& tool, const QStringList& templates, const QString& port, const QString& baud,
                const QString& prefix);

// The folder a record's images are in, as the start of a word: the folder, "/", and the
// record's sub-path ("\\" pairs as separators) with a "/" behind it.
QString Prefix(const QString& folderShellPath, const QString& subPath);

// The device of a port row ("" for none) as the word that stands for "%port".
QString PortWord(const QString& portName);

} // namespace CommandTemplate
