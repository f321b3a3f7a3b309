#include "FuzzSupport.h"

// The input is the name of a dropped image: the package folder, the copies and the manifest
// are made from it, then read back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    QString base = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size)).left(120);
    base.remove(QLatin1Char('/'));
    base.remove(QChar(0));
    if (base.isEmpty() || base == "." || base == "..")
        return 0;
    // Only what this input made is removed again: the folders stay from one input to the next.
    const QString root = Fuzz::Scratch() + "/bin";
    const FolderItem image = Fuzz::Write("bin/drop/" + base + ".bin", reinterpret_cast<const uint8_t*>("img"), 3);
    w->mFirmFolderX = FolderItem(root + "/firmwares");
    w->LoadFirmJsonFile(image, true);
    Fuzz::Forget(w);
    QFile::remove(image.NativePath());
    QDir firmwares(root + "/firmwares");
    for (const QString& made : firmwares.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (!QFile::remove(firmwares.filePath(made)))
            QDir(firmwares.filePath(made)).removeRecursively();
    }
    return 0;
}
