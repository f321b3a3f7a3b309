#include "flash/Flash.h"

#include "platform/Text.h"

namespace UploadList {

QString RowText(const QString& name, const QString& nativePath) {
    return name + QStringLiteral(" (") + nativePath + QLatin1Char(')');
}

SettingsEntry ReadSettingsLine(const QString& line) {
    return {NthField(line, QStringLiteral(","), 1), NthField(line, QStringLiteral(","), 2)};
}

QString RelativePath(const QString&) {
    return QString();
}

} // namespace UploadList
