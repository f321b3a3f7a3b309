#include "catalogue/Catalogue.h"
#include "catalogue/Cuts.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"

#include <QStringList>

namespace {

// A key line or a closer with no record in hand ends the file; LoadFirmJsonFile drops it.
FirmClass& InHand(const FirmRef& record) {
    if (!record)
        throw NilObjectException();
    return *record;
}

} // namespace

void Catalogue::ReadType0(TextInputStream& stream, const FolderItem& folder, QVector<FirmRef>& into,
                          const KeepGoing& keepGoing) {
    FirmRef record;
    if (into.size() - 1 > 0) {
        record = std::make_shared<FirmClass>();
        record->mName = QStringLiteral("-");
        into.append(record);
    }

    do {
        const QStringView line = stream.ReadTrimmedLineView();
        // The key is cut only from a line that is no bracket: most lines of a manifest are.
        const bool bracket = line.size() <= 2;
        const QStringView key = bracket ? QStringView() : Cuts::KeyView(line);

        if (line == QLatin1String("[") || line == QLatin1String("]")) {
            // brackets carry nothing
        } else if (line == QLatin1String("{")) {
            record = std::make_shared<FirmClass>();
        } else if (line == QLatin1String("},") || line == QLatin1String("}")) {
            InHand(record).mFirmFolder = folder;
            into.append(record);
        } else if (bracket) {
            // too short for any key
        } else if (Cuts::IsKey(key, QLatin1String("name"))) {
            InHand(record).mName = Cuts::TextValue(Cuts::RawValueView(line));
        } else if (Cuts::IsKey(key, QLatin1String("version"))) {
            InHand(record).mVersion = Cuts::TextValue(Cuts::RawValueView(line));
        } else if (Cuts::IsKey(key, QLatin1String("path"))) {
            InHand(record).mPath = Cuts::TextValue(Cuts::RawValueView(line));
        } else if (Cuts::IsKey(key, QLatin1String("commands"))) {
            QString joined;
            for (;;) {
                const QStringView next = stream.ReadTrimmedLineView();
                if (!joined.endsWith(QLatin1Char(',')) && !joined.endsWith(QLatin1Char(' ')))
                    joined += ' ';
                if (next == QLatin1String("]"))
                    break;
                joined += next;
                // A list cut off by the end of the file ends there; with no closer behind it,
                // its record never reaches the catalogue.
                if (stream.Eof())
                    break;
                if (!keepGoing())
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
                entry.remove(QLatin1Char('"'));
                InHand(record).mCommand.append(entry);
                if (!keepGoing())
                    return;
            }
        }

        if (!keepGoing())
            return;
    } while (!stream.Eof());

    stream.Close();
}
