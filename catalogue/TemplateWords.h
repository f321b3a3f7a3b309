#pragma once

#include <QString>
#include <QStringList>

// How the catalogue writes names into the manifests and scripts that it makes itself, so that
// each name comes back out of the reader, and then out of the command, as exactly one word of
// exactly its characters.
namespace TemplateWords {

// A dropped image's name as its package keeps it. A manifest line can't carry a double quote
// (the reader drops them), a backslash pair (it separates folders) or a line end; each such
// character becomes "_".
QString PackageName(const QString& name);

// The name as one word of a command template in a written manifest: bare when it holds nothing
// the shell or the template could read, else in single quotes, with a "%" left outside them so
// that no placeholder can be spelt inside.
QString ManifestWord(const QString& name);

// Whether a text can stand in a written flash.sh line: the script's reader drops every backslash
// and reads a line at a time.
bool FitsScript(const QString& text);
// The text as one word of a written flash.sh line: as ManifestWord, and with the patterns that
// the script's reader rewrites ("/dev/${port}", "--baud ...") broken by empty quotes.
QString ScriptWord(const QString& text);

// A flash.sh line cut at every blank that stands outside quotes: a quoted name is one field.
// Without quotes the fields are those of NthField(line, " ", n).
QStringList ScriptFields(const QString& line);

} // namespace TemplateWords
