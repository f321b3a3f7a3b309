#include "catalogue/Catalogue.h"
#include "catalogue/TemplateWords.h"
#include "platform/FolderItem.h"
#include "platform/FolderListing.h"
#include "platform/Seams.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"
#include "platform/TextOutputStream.h"
#include "platform/Yield.h"
#include "window/EspWin.h"

namespace {

bool IsManifestName(const QString& name) {
    return name.endsWith(QLatin1String(".json"), Qt::CaseInsensitive) ||
           name.endsWith(QLatin1String(".crvj"), Qt::CaseInsensitive);
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
        if (listing.Visible(i)) {
            switch (listing.KindOf(i)) {
            case FolderListing::Kind::Missing:
                break;
            case FolderListing::Kind::Directory:
                // One folder open at a time, however deep the tree.
                listing.Release();
                WalkFirmFolder(listing.Item(i), false, path);
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
    if (!IsManifestName(listing.Name(i))) {
        if (allowBin)
            LoadFirmJsonFile(listing.Item(i), allowBin);
        return;
    }
    try {
        bool ok = false;
        const QByteArray bytes = listing.ReadEntry(i, &ok);
        if (!ok)
            return;
        LoadFirmJsonText(listing.ItemsParent(), *TextInputStream::OfText(QString::fromUtf8(bytes)));
    } catch (...) {
    }
}

void EspWin::LoadFirmJsonFile(const FolderItem& file, bool allowBin) {
    // A bad file costs that file only: whatever a reader appended before it stumbled stays.
    try {
        if (file.IsNil() || !file.Visible())
            return;
        const QString name = file.Name();
        if (IsManifestName(name)) {
            // Gives nothing for what is missing or no regular file, a folder among them.
            const auto stream = TextInputStream::Open(file);
            if (stream)
                LoadFirmJsonText(file.Parent(), *stream);
            return;
        }
        if (allowBin && name.endsWith(QStringLiteral(".bin"), Qt::CaseInsensitive) && file.Exists() &&
            !file.Directory())
            MakeFirmPackage(file);
    } catch (...) {
    }
}

void EspWin::LoadFirmJsonText(const FolderItem& folder, TextInputStream& stream) {
    if (stream.Text().isEmpty())
        return;
    switch (CheckJsonType(stream.Text())) {
    case 0:
        Catalogue::ReadType0(stream, folder, mFirm, [this] { return KeepReading(); });
        break;
    case 1:
        Catalogue::ReadType1(stream, folder, mFirm, [this] { return KeepReading(); });
        break;
    default:
        break;
    }
}

int EspWin::CheckJsonType(const QString& text) {
    return Catalogue::ManifestType(text);
}

void EspWin::LoadFirmJsonType0(const FolderItem& file) {
    if (const auto stream = TextInputStream::Open(file))
        Catalogue::ReadType0(*stream, file.Parent(), mFirm, [this] { return KeepReading(); });
}

void EspWin::LoadFirmJsonType1(const FolderItem& file) {
    if (const auto stream = TextInputStream::Open(file))
        Catalogue::ReadType1(*stream, file.Parent(), mFirm, [this] { return KeepReading(); });
}

void EspWin::LoadFlashCmd(FirmClass& record, const FolderItem& folder) {
    Catalogue::ReadFlashScript(record, folder, [this] { return KeepReading(); });
}

bool EspWin::MakeFlashShell(const FolderItem& file) {
    return Catalogue::WriteFlashScript(file, [this] { return KeepReading(); });
}

bool EspWin::KeepReading() {
    LetOtherEventsRun();
    return !IsClosed();
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
                if (!image.IsNil() && image.Visible() &&
                    image.Name().endsWith(QStringLiteral(".bin"), Qt::CaseInsensitive))
                    image.CopyFileTo(package);
                LetOtherEventsRun();
                if (IsClosed())
                    return;
            }
        }
    }

    file.CopyFileTo(package, name);

    const QString text = Catalogue::PackageManifest(base, name, file.ModificationDate());

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
