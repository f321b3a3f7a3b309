#include "catalogue/Catalogue.h"
#include "catalogue/TemplateWords.h"
#include "platform/Text.h"

#include <QStringBuilder>

namespace {

// The manifest written beside a package made from a single image: 451 characters before it is
// filled, LF line ends, and two real backslashes behind every %PATH.
const QString kManifestTemplate = QStringLiteral(
    "[\n"
    "    {\n"
    "        \"name\": \"<--ReplaceName-->\",\n"
    "        \"version\": \"<--ReplaceVersion-->\",\n"
    "        \"path\": \"<--ReplacePath-->\",\n"
    "        \"commands\": [\n"
    "\t\t\t\"--chip esp32 --port %port --baud %baud --before default_reset --after hard_reset write_flash -z "
    "--flash_mode dio --flash_freq 80m --flash_size detect 0xe000 %PATH\\\\boot_app0.bin 0x1000 "
    "%PATH\\\\bootloader_qio_80m.bin 0x10000 %PATH\\\\<--ReplaceFileName--> 0x8000 %PATH\\\\partitions.bin\"\n"
    "        ]\n"
    "    }\n"
    "]\n");

} // namespace

QString Catalogue::PackageManifest(const QString& base, const QString& image, const QDateTime& stamp) {
    const QString version = QStringLiteral("Ver") + stamp.toString(QStringLiteral("yyMMdd_HHmmss"));
    // One pass, so that a name which spells one of the marks can't fill another.
    return ReplaceEach(kManifestTemplate,
                       {{QStringLiteral("<--ReplaceName-->"), base + " " + version},
                        {QStringLiteral("<--ReplaceVersion-->"), version},
                        {QStringLiteral("<--ReplacePath-->"), base},
                        {QStringLiteral("<--ReplaceFileName-->"), TemplateWords::ManifestWord(image)}});
}

QString Catalogue::PresetRow(const FirmClass& record) {
    if (record.mName == QLatin1String("-"))
        return record.mName;
    if (record.mVersion.isEmpty())
        return record.mName % QLatin1String(" ()");
    // "V1.2" and the generated "Ver..." already say what they are.
    const QChar first = record.mVersion.front();
    if (first == QLatin1Char('v') || first == QLatin1Char('V'))
        return record.mName % QLatin1String(" (") % record.mVersion % QLatin1Char(')');
    return record.mName % QLatin1String(" (v") % record.mVersion % QLatin1Char(')');
}
