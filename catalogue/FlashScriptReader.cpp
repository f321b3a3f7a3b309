#include "catalogue/Catalogue.h"
#include "catalogue/TemplateWords.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"

namespace {

const QString kOpening = QStringLiteral("esptool.py --chip esp32 ");

// The variant folder named by a manifest's path, or nil where it would lead out of the
// manifest's folder: the scan reads and writes nothing outside the firmware tree. "\\" pairs
// separate levels as they do for MakeCommand, so both find the same folder.
FolderItem VariantFolder(const FolderItem& folder, const QString& path) {
    const QString sub = ReplaceAll(path, QStringLiteral("\\\\"), QStringLiteral("/"));
    const QStringList levels = sub.split(QLatin1Char('/'));
    if (levels.contains(QStringLiteral("..")))
        return FolderItem();
    return folder.Child(sub);
}

// One continuation line of a command, backslashes gone. An address line keeps its address and
// the first word behind it (a quoted name is one word), which becomes a file of the variant folder.
QString CommandPiece(const QString& line) {
    if (line.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        const QStringList fields = TemplateWords::ScriptFields(line);
        return fields.value(0) + QStringLiteral(" %PATH\\\\") + fields.value(1) + QLatin1Char(' ');
    }
    return line + QLatin1Char(' ');
}

} // namespace

void Catalogue::ReadFlashScript(FirmClass& record, const FolderItem& folder, const KeepGoing& keepGoing) {
    const FolderItem variant = VariantFolder(folder, record.mPath);
    if (variant.IsNil())
        return;
    const FolderItem script = variant.Child(QStringLiteral("flash.sh"));
    if (script.IsNil())
        return;

    // A script that opens tells by that alone that its folder and itself are there; only when
    // it doesn't are they looked for one by one.
    bool read = false;
    QByteArray bytes = ReadManifestBytes(script, &read);
    std::unique_ptr<TextInputStream> stream;
    if (read)
        stream = TextInputStream::OfText(QString::fromUtf8(bytes));
    bool generated = false;
    if (!stream) {
        if (!variant.Exists() || script.Exists())
            return;
        if (!WriteFlashScript(script, keepGoing))
            return;
        generated = true;
        stream = TextInputStream::Open(script);
        // A script made here that can't be read back is left for the user to look into.
        if (!stream)
            return;
    }

    // A window closed meanwhile stops the read, but a script made here still goes.
    bool stop = false;
    do {
        const QString line = stream->ReadTrimmedLine();
        // InStr(line, kOpening) == 1, without searching the rest of the line.
        if (line.startsWith(kOpening, Qt::CaseInsensitive)) {
            // Mid from 11 drops "esptool.py" and keeps the blank behind it.
            QString command = Mid(QString(line).remove(QLatin1Char('\\')) + QLatin1Char(' '), 11);
            // ReadLine gives "" at the end of the file, so a command cut off there ends too.
            for (;;) {
                const QString next = stream->ReadTrimmedLine().remove(QLatin1Char('\\'));
                if (next.isEmpty())
                    break;
                command += CommandPiece(next);
                stop = !keepGoing();
                if (stop)
                    break;
            }
            // Each search ignores letter case; the part of it without letters must stand as it is,
            // so a command without that part is spared the search.
            if (command.contains(QLatin1String("/${")))
                command = ReplaceAll(command, QStringLiteral("/dev/${port}"), QStringLiteral("%port"));
            if (command.contains(QLatin1String(" 921600")))
                command = ReplaceAll(command, QStringLiteral("--baud 921600"), QStringLiteral("--baud %baud"));
            if (command.contains(QLatin1String(" 750000")))
                command = ReplaceAll(command, QStringLiteral("--baud 750000"), QStringLiteral("--baud %baud"));
            record.mCommand.append(command);
        }
        stop = stop || !keepGoing();
    } while (!stop && !stream->Eof());
    stream->Close();

    if (generated)
        script.Delete();
}
