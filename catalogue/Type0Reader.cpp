#include "catalogue/Cuts.h"
#include "platform/FolderItem.h"
#include "platform/Text.h"
#include "window/EspWin.h"

#include <QStringList>

namespace {

// A key line or a closer with no record in hand ends the file; LoadFirmJsonFile drops it.
FirmClass& InHand(const FirmRef& record) {
    if (!record)
        throw NilObjectException();
    return *record;
}

} // namespace

void EspWin::LoadFirmJsonType0(const FolderItem& file) {
    const auto stream = TextInputStream::Open(file);
    if (!stream)
        return;

    FirmRef record;
    if (mFirm.size() - 1 > 0) {
        record = std::make_shared<FirmClass>();
        record->mName = "-";
        mFirm.append(record);
    }
    const FolderItem folder = file.Parent();

    do {
        const QString line = Trim(stream->ReadLine());
        const QString key = Cuts::KeyOf(line);
        const QString raw = Cuts::RawValueOf(line);

        if (line == "[" || line == "]") {
            // brackets carry nothing
        } else if (line == "{") {
            record = std::make_shared<FirmClass>();
        } else if (line == "}," || line == "}") {
            InHand(record).mFirmFolder = folder;
            mFirm.append(record);
        } else if (Same(key, "name")) {
            InHand(record).mName = Cuts::TextValue(raw);
        } else if (Same(key, "version")) {
            InHand(record).mVersion = Cuts::TextValue(raw);
        } else if (Same(key, "path")) {
            InHand(record).mPath = Cuts::TextValue(raw);
        } else if (Same(key, "commands")) {
            QString joined;
            for (;;) {
                const QString next = Trim(stream->ReadLine());
                const QString last = Right(joined, 1);
                if (last != "," && last != " ")
                    joined += ' ';
                if (next == "]")
                    break;
                joined += next;
                // A list cut off by the end of the file ends there; with no closer behind it,
                // its record never reaches the catalogue.
                if (stream->Eof())
                    break;
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
            // One split gives the same fields as NthField for every n, without going over the
            // text again for each of them: a long line of many commands stays linear.
            const QStringList commands = joined.split("\",\"");
            for (const QString& command : commands) {
                QString entry = ReplaceAll(command, "\\\"%PATH\\\"", "%PATH");
                entry = ReplaceAll(entry, "\"", "");
                InHand(record).mCommand.append(entry);
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
        }

        LetOtherEventsRun();
        if (IsClosed())
            return;
    } while (!stream->Eof());

    stream->Close();
}
