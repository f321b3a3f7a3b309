#include "catalogue/TemplateWords.h"
#include "platform/Dialogs.h"
#include "platform/FolderItem.h"
#include "platform/Text.h"
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

// Puts the walk path back as the caller had it, whichever way the walk of one folder ends.
class WalkStep {
public:
    WalkStep(QVector<QString>& path, QVector<QString>&& outer) : mPath(path), mOuter(std::move(outer)) {}
    ~WalkStep() {
        if (!mPath.isEmpty())
            mPath.removeLast();
        if (!mOuter.isEmpty())
            mPath.swap(mOuter);
    }
    WalkStep(const WalkStep&) = delete;
    WalkStep& operator=(const WalkStep&) = delete;

private:
    QVector<QString>& mPath;
    QVector<QString> mOuter;
};

} // namespace

void EspWin::LoadFirmJson() {
    mFirm.clear();
    const FolderItem folder = GetFolderItem("").Child("firmwares");
    if (!folder.Exists()) {
        // The question waits until the window is up.
        SelectFiremTimer.SetMode(1);
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
    // Links may lead back up the tree: a folder already on the way down is not entered again.
    const QString here = folder.CanonicalPath();
    if (here.isEmpty())
        return;
    // A walk that a handler starts while another one yields is not a step of that one: it
    // gets a path of its own, or it would pass over the folders the other one stands in.
    QVector<QString> outer;
    if (!mWalkPath.isEmpty() && mWalkPath.constLast() != folder.Parent().CanonicalPath())
        outer.swap(mWalkPath);
    if (mWalkPath.contains(here)) {
        if (!outer.isEmpty())
            mWalkPath.swap(outer);
        return;
    }
    mWalkPath.append(here);
    const WalkStep step(mWalkPath, std::move(outer));

    for (int i = 1; i <= folder.Count(); ++i) {
        const FolderItem item = folder.Item(i);
        if (!item.IsNil() && item.Visible() && item.Exists()) {
            if (item.Directory())
                LoadFirmJsonFolder(item, false);
            else
                LoadFirmJsonFile(item, allowBin);
            if (IsClosed())
                return;
        }
        LetOtherEventsRun();
        if (IsClosed())
            return;
    }
}

void EspWin::LoadFirmJsonFile(const FolderItem& file, bool allowBin) {
    // A bad file costs that file only: whatever a reader appended before it stumbled stays.
    try {
        if (file.IsNil() || !file.Exists() || file.Directory() || !file.Visible())
            return;
        const QString name = file.Name();
        if (EndsWith(name, QStringLiteral(".json")) || EndsWith(name, QStringLiteral(".crvj"))) {
            const auto stream = TextInputStream::Open(file);
            if (!stream)
                return;
            const QString text = stream->ReadAll();
            stream->Close();
            if (text.isEmpty())
                return;
            switch (CheckJsonType(text)) {
            case 0:
                LoadFirmJsonType0(file);
                break;
            case 1:
                LoadFirmJsonType1(file);
                break;
            default:
                break;
            }
            return;
        }
        if (allowBin && EndsWith(name, QStringLiteral(".bin")))
            MakeFirmPackage(file);
    } catch (...) {
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
