#include "flash/CommandTemplate.h"

#include "platform/SerialPort.h"
#include "platform/Text.h"

namespace CommandTemplate {

QString Expand(const QString& tmpl, const QString& port, const QString& baud, const QString& prefix) {
    return ReplaceEach(tmpl, {{kPort, port}, {kBaud, baud}, {kPath, prefix}});
}

QString Compose(const QString& tool, const QStringList& templates, const QString& port, const QString& baud,
                const QString& prefix) {
    QString cmd;
    for (qsizetype i = 0; i < templates.size(); ++i) {
        if (i > 0)
            cmd += QStringLiteral(" ; ");
        cmd += tool + QLatin1Char(' ') + Expand(templates.at(i), port, baud, prefix);
    }
    // Only the ends: the doubled blanks of a flash.sh template stay inside.
    return Trim(cmd);
}

QString Prefix(const QString& folderShellPath, const QString& subPath) {
    // Manifests may write the sub-folder with "\\" pairs; the shell wants "/".
    QString sub = subPath;
    if (!sub.isEmpty())
        sub = ReplaceAll(sub, QStringLiteral("\\\\"), QStringLiteral("/")) + QLatin1Char('/');
    return folderShellPath + QLatin1Char('/') + ShellWord(sub);
}

QString PortWord(const QString& portName) {
    return ShellWord(System::DevicePath(portName));
}

} // namespace CommandTemplate
