#include "catalogue/Catalogue.h"
#include "catalogue/Cuts.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"

namespace {

// The keys whose last value is carried into every record opened after it, and the cut each
// value takes. framework keeps its comma: it is the one written without a quoted value end.
struct CarriedKey {
    const char* key;
    QString FirmClass::*field;
    QString (*cut)(QStringView raw);
};

const CarriedKey kCarriedKeys[] = {
    {"name", &FirmClass::mName, Cuts::TextValue},
    {"description", &FirmClass::mDescription, Cuts::TextValue},
    {"keywords", &FirmClass::mKeywords, Cuts::TextValue},
    {"author", &FirmClass::mAuthor, Cuts::TextValue},
    {"repository", &FirmClass::mRepository, Cuts::TextValue},
    {"version", &FirmClass::mVersion, Cuts::TextValue},
    {"framework", &FirmClass::mFramework, Cuts::QuotelessValue},
};

QString WithoutQuotes(const QString& s) {
    return ReplaceAll(s, QStringLiteral("\""), QString());
}

} // namespace

// Reads a manifest of one firmware with its variants: values given once for the firmware are
// carried into every variant, and each variant's commands come from the flash.sh of its folder.
void Catalogue::ReadType1(TextInputStream& stream, const FolderItem& folder, QVector<FirmRef>& into,
                          const KeepGoing& keepGoing) {
    if (into.size() - 1 > 0) {
        auto separator = std::make_shared<FirmClass>();
        separator->mName = QStringLiteral("-");
        into.append(separator);
    }
    const int first = int(into.size()) - 1;

    // Only the seven carried fields of this record are ever set; a new record starts as its copy.
    FirmClass carried;
    FirmRef open;

    // The top-level "{": never looked at, whatever the first line holds.
    stream.ReadLine();

    do {
        const QStringView line = stream.ReadTrimmedLineView();
        // Brackets, most lines of a manifest, are too short to hold any key: nothing is cut.
        const bool bracket = line.size() <= 2;
        const QStringView key = bracket ? QStringView() : Cuts::KeyView(line);

        if (line == QLatin1String("[") || line == QLatin1String("]")) {
            // brackets carry nothing
        } else if (line == QLatin1String("{") ||
                   line.compare(QLatin1String("\"firmware_category\": {"), Qt::CaseInsensitive) == 0) {
            // A record still open here is abandoned: only a closer appends.
            open = std::make_shared<FirmClass>(carried);
            open->mType = 1;
            if (line == QLatin1String("{")) {
                const QString variant = WithoutQuotes(Cuts::KeyOf(stream.ReadTrimmedLine()));
                open->mName = open->mName + QLatin1Char(' ') + variant;
            }
        } else if (line == QLatin1String("},") || line == QLatin1String("}")) {
            if (open) {
                open->mFirmFolder = folder;
                into.append(open);
                open.reset();
            }
        } else if (Cuts::IsKey(key, QLatin1String("path"))) {
            if (open) {
                open->mPath = Cuts::TextValue(Cuts::RawValueView(line));
                ReadFlashScript(*open, folder, keepGoing);
            }
        } else if (Cuts::IsKey(key, QLatin1String("default_baud"))) {
            if (open)
                open->mBaud = Cuts::NumberValue(Cuts::RawValueView(line));
        } else if (Cuts::IsKey(key, QLatin1String("device"))) {
            // The value stands on the next line, and the line behind it closes the array.
            const QString device = stream.ReadTrimmedLine();
            if (open)
                open->mDevice = WithoutQuotes(device);
            stream.ReadLine();
        } else {
            for (const CarriedKey& known : kCarriedKeys) {
                if (Cuts::IsKey(key, QLatin1String(known.key))) {
                    const QString value = known.cut(Cuts::RawValueView(line));
                    carried.*known.field = value;
                    if (open)
                        (*open).*known.field = value;
                    break;
                }
            }
        }

        if (!keepGoing())
            return;
    } while (!stream.Eof());
    stream.Close();

    // version and framework written behind the variants reach every variant of this file that
    // opened before them.
    for (int i = first + 1; i < into.size(); ++i) {
        const FirmRef& record = into.at(i);
        if (!record)
            continue;
        if (record->mVersion.isEmpty())
            record->mVersion = carried.mVersion;
        if (record->mFramework.isEmpty())
            record->mFramework = carried.mFramework;
    }
}
