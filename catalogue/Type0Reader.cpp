#include "catalogue/Catalogue.h"
#include "catalogue/Cuts.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"

#include <QStringList>

#include <algorithm>

namespace {

// A key line or a closer with no record in hand ends the file; LoadFirmJsonFile drops it.
FirmClass& InHand(const FirmRef& record) {
    if (!record)
        throw NilObjectException();
    return *record;
}

// A command as the catalogue keeps it: `\"%PATH\"` (letter case aside) becomes %PATH, the other
// double quotes go. One pass, written in place: the result is never longer than the command.
QString KeptCommand(QStringView command) {
    const QStringView quotedPath = u"\\\"%PATH\\\"";
    const QStringView path = u"%PATH";
    QString kept(command.size(), Qt::Uninitialized);
    QChar* out = kept.data();
    for (qsizetype i = 0; i < command.size();) {
        const QChar c = command[i];
        if (c == u'\\' && command.mid(i, quotedPath.size()).compare(quotedPath, Qt::CaseInsensitive) == 0) {
            out = std::copy(path.begin(), path.end(), out);
            i += quotedPath.size();
            continue;
        }
        if (c != u'"')
            *out++ = c;
        ++i;
    }
    kept.truncate(out - kept.constData());
    return kept;
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
            // The commands are cut one after the other, in a single pass over the text: the
            // same fields as NthField for every n, and a long line of many commands stays linear.
            const QStringView all(joined), separator(u"\",\"");
            for (qsizetype from = 0;;) {
                const qsizetype at = IndexOfExact(all, separator, from);
                InHand(record).mCommand.append(KeptCommand(all.mid(from, at < 0 ? -1 : at - from)));
                if (!keepGoing())
                    return;
                if (at < 0)
                    break;
                from = at + separator.size();
            }
        }

        if (!keepGoing())
            return;
    } while (!stream.Eof());

    stream.Close();
}
