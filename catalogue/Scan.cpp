#include "catalogue/TemplateWords.h"
#include "platform/FolderItem.h"
#include "platform/FolderListing.h"
#include "platform/Seams.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"
#include "platform/TextOutputStream.h"
#include "platform/Yield.h"
#include "window/EspWin.h"

#include <QDateTime>

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

bool EndsWith(const QString& name, const QString& ending) {
    return Same(Right(name, Len(ending)), ending);
}

} // namespace

void EspWin::LoadFirmJson() {
    mFirm.clear();
    const FolderItem folder = GetFolderItem("").Child("firmwares");
    if (!folder.Exists()) {
        // The question waits until the window is up.
        SelectFiremTimer.SetMode(Timer::ModeSingle);
        return;
    }
    LoadTopFolder(folder);
}

void EspWin::LoadTopFolder(const FolderItem& folder) {
    mFirmFolderX = folder;
    LoadFirmJsonFolder(folder, false);
    if (IsClosed())
        return;
    MakeFirmPrisetPM();
}

void EspWin::SelectFiremTimer_Action() {
    Beep();
    MsgBox("Please select the \"firmwares\" including in this archive...");
    if (IsClosed())
        return;
    SelectFirmFolder();
}

void EspWin::SelectFirmFolder() {
    const FolderItem folder = SelectFolder();
    if (IsClosed() || folder.IsNil())
        return;
    LoadTopFolder(folder);
}

void EspWin::firmfolderBtn_Action() {
    SelectFirmFolder();
}

void EspWin::LoadFirmJsonFolder(const FolderItem& folder, bool allowBin) {
    // A walk that a handler starts while another one yields is not a step of that one: it has
    // a path of its own, or it would pass over the folders the other one stands in.
    QVector<QPair<quint64, quint64>> path;
    WalkFirmFolder(folder, allowBin, path);
}

void EspWin::WalkFirmFolder(const FolderItem& folder, bool allowBin, QVector<QPair<quint64, quint64>>& path) {
    // Each folder is listed once, and the listing tells files from folders; the count is taken
    // anew only when other events have run and so may have changed the folder.
    FolderListing listing(folder);
    // Links may lead back up the tree: a folder already on the way down is not entered again.
    if (!listing.IsOpen() || path.contains(listing.Id()))
        return;
    path.append(listing.Id());

    unsigned seen = EventRounds();
    for (int i = 1; i <= listing.Count(); ++i) {
        const FolderItem item = listing.Item(i);
        if (item.Visible()) {
            switch (listing.KindOf(i)) {
            case FolderListing::Kind::Missing:
                break;
            case FolderListing::Kind::Directory:
                // One folder open at a time, however deep the tree.
                listing.Release();
                WalkFirmFolder(item, false, path);
                break;
            default:
                LoadListedFile(listing, i, allowBin);
                break;
            }
        }
        LetOtherEventsRun();
        if (IsClosed())
            break;
        if (EventRounds() != seen) {
            seen = EventRounds();
            if (!listing.Refresh())
                break;
        }
    }
    path.removeLast();
}

void EspWin::LoadListedFile(FolderListing& listing, int i, bool allowBin) {
    // The walk has seen that the file is there and is no folder; its bytes are read once, and
    // the text that tells the type is the text the reader reads.
    const FolderItem file = listing.Item(i);
    const QString name = listing.Name(i);
    if (!EndsWith(name, QStringLiteral(".json")) && !EndsWith(name, QStringLiteral(".crvj"))) {
        if (allowBin)
            LoadFirmJsonFile(file, allowBin);
        return;
    }
    try {
        bool ok = false;
        const QByteArray bytes = listing.ReadEntry(i, &ok);
        if (!ok)
            return;
        LoadFirmJsonText(file, *TextInputStream::OfText(QString::fromUtf8(bytes)));
    } catch (...) {
    }
}

void EspWin::LoadFirmJsonFile(const FolderItem& file, bool allowBin) {
    // A bad file costs that file only: whatever a reader appended before it stumbled stays.
    try {
        if (file.IsNil() || !file.Visible())
            return;
        const QString name = file.Name();
        if (EndsWith(name, QStringLiteral(".json")) || EndsWith(name, QStringLiteral(".crvj"))) {
            // Gives nothing for what is missing or no regular file, a folder among them.
            const auto stream = TextInputStream::Open(file);
            if (stream)
                LoadFirmJsonText(file, *stream);
            return;
        }
        if (allowBin && EndsWith(name, QStringLiteral(".bin")) && file.Exists() && !file.Directory())
            MakeFirmPackage(file);
    } catch (...) {
    }
}

void EspWin::LoadFirmJsonText(const FolderItem& file, TextInputStream& stream) {
    if (stream.Text().isEmpty())
        return;
    switch (CheckJsonType(stream.Text())) {
    case 0:
        LoadFirmJsonType0(file, stream);
        break;
    case 1:
        LoadFirmJsonType1(file, stream);
        break;
    default:
        break;
    }
}

int EspWin::CheckJsonType(const QString& text) {
    if (InStr(text, "\"commands\": ") > 0)
        return 0;
    if (InStr(text, "\"description\": ") > 0 && InStr(text, "\"repository\": ") > 0 &&
        InStr(text, "\"firmware_category\": ") > 0)
        return 1;
    return -1;
}

void EspWin::MakeFirmPackage(const FolderItem& file) {
    // With no firmware folder found or chosen there is nowhere to put a package.
    if (mFirmFolderX.IsNil())
        return;
    const QString name = TemplateWords::PackageName(file.Name());
    const QString base = Left(name, Len(name) - 4);

    const FolderItem package = mFirmFolderX.Child(base);
    package.CreateAsFolder();

    const FolderItem tools = GetFolderItem("").Child("tools");
    if (tools.Exists()) {
        const FolderItem support = tools.Child("bin");
        if (support.Exists()) {
            const int count = support.Count();
            for (int i = 1; i <= count; ++i) {
                const FolderItem image = support.Item(i);
                if (!image.IsNil() && image.Visible() && EndsWith(image.Name(), QStringLiteral(".bin")))
                    image.CopyFileTo(package);
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
        }
    }

    file.CopyFileTo(package, name);

    const QDateTime stamp = file.ModificationDate();
    const QDate day = stamp.date();
    const QTime time = stamp.time();
    const QString version = "Ver" + Right(Str(day.year()), 2) + Str(day.month(), "00") + Str(day.day(), "00") + "_" +
                            Str(time.hour(), "00") + Str(time.minute(), "00") + Str(time.second(), "00");

    // One pass, so that a name which spells one of the marks can't fill another.
    const QString text =
        ReplaceEach(kManifestTemplate, {{QStringLiteral("<--ReplaceName-->"), base + " " + version},
                                        {QStringLiteral("<--ReplaceVersion-->"), version},
                                        {QStringLiteral("<--ReplacePath-->"), base},
                                        {QStringLiteral("<--ReplaceFileName-->"), TemplateWords::ManifestWord(name)}});

    const FolderItem manifest = mFirmFolderX.Child(base + ".json");
    if (manifest.IsNil())
        return;
    const auto out = TextOutputStream::Create(manifest);
    if (!out)
        return;
    out->Write(text);
    if (!out->Close())
        return;

    LoadFirmJsonFile(manifest, true);
}
