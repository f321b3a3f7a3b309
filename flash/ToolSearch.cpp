#include "flash/Flash.h"

#include "platform/SearchPath.h"

FolderItem FlashToolBeside(const FolderItem& appFolder) {
    FolderItem f = appFolder.Child("Corvane.app");
    if (f.Exists())
        f = f.Child("Contents").Child("Resources");
    if (f.IsNil() || !f.Exists() || !f.Directory())
        return FolderItem();
    f = f.Child("esptool");
    if (!f.Exists()) {
        f = appFolder.Child("esptool");
        if (!f.Exists())
            f = f.Parent().Child("tools");
        if (f.Exists())
            f = f.Child("esptool");
    }
    return !f.IsNil() && f.Exists() ? f : FolderItem();
}

FolderItem FindFlashTool() {
    const FolderItem beside = FlashToolBeside(GetFolderItem(""));
    if (!beside.IsNil())
        return beside;
    // Installed with pip or pipx, the tool lives on PATH rather than beside the program.
    const FolderItem onPath = FindOnPath({QStringLiteral("esptool"), QStringLiteral("esptool.py")});
    return !onPath.IsNil() && onPath.Exists() ? onPath : FolderItem();
}
