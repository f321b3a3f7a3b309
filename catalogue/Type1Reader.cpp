#include "catalogue/Cuts.h"
#include "platform/FolderItem.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"
#include "window/EspWin.h"

namespace {

// The keys whose last value is carried into every record opened after it, and the cut each
// value takes. framework keeps its comma: it is the one written without a quoted value end.
struct CarriedKey {
    const char* key;
    QString FirmClass::*field;
    QString (*cut)(const QString& raw);
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
void EspWin::LoadFirmJsonType1(const FolderItem& file) {
    if (const auto stream = TextInputStream::Open(file))
        LoadFirmJsonType1(file, *stream);
}

void EspWin::LoadFirmJsonType1(const FolderItem& file, TextInputStream& stream) {

    if (mFirm.size() - 1 > 0) {
        auto separator = std::make_shared<FirmClass>();
        separator->mName = QStringLiteral("-");
        mFirm.append(separator);
    }
    const int first = int(mFirm.size()) - 1;
    const FolderItem folder = file.Parent();

    // Only the seven carried fields of this record are ever set; a new record starts as its copy.
    FirmClass carried;
    FirmRef open;

    // The top-level "{": never looked at, whatever the first line holds.
    stream.ReadLine();

    do {
        const QString line = stream.ReadTrimmedLine();
        // Brackets, most lines of a manifest, are too short to hold any key: nothing is cut.
        const bool bracket = line.size() <= 2;
        const QString key = bracket ? QString() : Cuts::KeyOf(line);
        const QString raw = bracket ? QString() : Cuts::RawValueOf(line);

        if (line == QStringLiteral("[") || line == QStringLiteral("]")) {
            // brackets carry nothing
        } else if (line == QStringLiteral("{") || Same(line, QStringLiteral("\"firmware_category\": {"))) {
            // A record still open here is abandoned: only a closer appends.
            open = std::make_shared<FirmClass>(carried);
            open->mType = 1;
            if (line == QStringLiteral("{")) {
                const QString variant = WithoutQuotes(Cuts::KeyOf(stream.ReadTrimmedLine()));
                open->mName = open->mName + QLatin1Char(' ') + variant;
            }
        } else if (line == QStringLiteral("},") || line == QStringLiteral("}")) {
            if (open) {
                open->mFirmFolder = folder;
                mFirm.append(open);
                open.reset();
            }
        } else if (Same(key, QStringLiteral("path"))) {
            if (open) {
                open->mPath = Cuts::TextValue(raw);
                LoadFlashCmd(*open, folder);
            }
        } else if (Same(key, QStringLiteral("default_baud"))) {
            if (open)
                open->mBaud = Cuts::NumberValue(raw);
        } else if (Same(key, QStringLiteral("device"))) {
            // The value stands on the next line, and the line behind it closes the array.
            const QString device = stream.ReadTrimmedLine();
            if (open)
                open->mDevice = WithoutQuotes(device);
            stream.ReadLine();
        } else {
            for (const CarriedKey& known : kCarriedKeys) {
                if (Same(key, QLatin1String(known.key))) {
                    const QString value = known.cut(raw);
                    carried.*known.field = value;
                    if (open)
                        (*open).*known.field = value;
                    break;
                }
            }
        }

        LetOtherEventsRun();
        if (IsClosed())
            return;
    } while (!stream.Eof());
    stream.Close();

    // version and framework written behind the variants reach every variant of this file that
    // opened before them.
    for (int i = first + 1; i < mFirm.size(); ++i) {
        const FirmRef& record = mFirm.at(i);
        if (!record)
            continue;
        if (record->mVersion.isEmpty())
            record->mVersion = carried.mVersion;
        if (record->mFramework.isEmpty())
            record->mFramework = carried.mFramework;
    }
}
