#include "catalogue/Cuts.h"
#include "platform/FolderItem.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"
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
    if (const auto stream = TextInputStream::Open(file))
        LoadFirmJsonType0(file, *stream);
}

void EspWin::LoadFirmJsonType0(const FolderItem& file, TextInputStream& stream) {

    FirmRef record;
    if (mFirm.size() - 1 > 0) {
        record = std::make_shared<FirmClass>();
        record->mName = QStringLiteral("-");
        mFirm.append(record);
    }
    const FolderItem folder = file.Parent();

    do {
        const QString line = stream.ReadTrimmedLine();
        // The key is cut only from a line that is no bracket: most lines of a manifest are.
        const bool bracket = line.size() <= 2;
        const QString key = bracket ? QString() : Cuts::KeyOf(line);

        if (line == QStringLiteral("[") || line == QStringLiteral("]")) {
            // brackets carry nothing
        } else if (line == QStringLiteral("{")) {
            record = std::make_shared<FirmClass>();
        } else if (line == QStringLiteral("},") || line == QStringLiteral("}")) {
            InHand(record).mFirmFolder = folder;
            mFirm.append(record);
        } else if (bracket) {
            // too short for any key
        } else if (Same(key, QStringLiteral("name"))) {
            InHand(record).mName = Cuts::TextValue(Cuts::RawValueOf(line));
        } else if (Same(key, QStringLiteral("version"))) {
            InHand(record).mVersion = Cuts::TextValue(Cuts::RawValueOf(line));
        } else if (Same(key, QStringLiteral("path"))) {
            InHand(record).mPath = Cuts::TextValue(Cuts::RawValueOf(line));
        } else if (Same(key, QStringLiteral("commands"))) {
            QString joined;
            for (;;) {
                const QString next = stream.ReadTrimmedLine();
                const QString last = Right(joined, 1);
                if (last != QStringLiteral(",") && last != QStringLiteral(" "))
                    joined += ' ';
                if (next == QStringLiteral("]"))
                    break;
                joined += next;
                // A list cut off by the end of the file ends there; with no closer behind it,
                // its record never reaches the catalogue.
                if (stream.Eof())
                    break;
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
            // One split gives the same fields as NthField for every n, without going over the
            // text again for each of them: a long line of many commands stays linear.
            const QStringList commands = joined.split(QStringLiteral("\",\""));
            for (const QString& command : commands) {
                // Letters aside, a match holds these three characters as they stand: where they are
                // missing, the letter-case-blind search over the whole command is spared.
                QString entry = command.contains(QLatin1String("\\\"%"))
                                    ? ReplaceAll(command, QStringLiteral("\\\"%PATH\\\""), QStringLiteral("%PATH"))
                                    : command;
                entry = ReplaceAll(entry, QStringLiteral("\""), QString());
                InHand(record).mCommand.append(entry);
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
        }

        LetOtherEventsRun();
        if (IsClosed())
            return;
    } while (!stream.Eof());

    stream.Close();
}
