#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::LoadFirmJson() {}
void EspWin::LoadFirmJsonFolder(const FolderItem&, bool) {}
void EspWin::LoadFirmJsonFile(const FolderItem&, bool) {}
int EspWin::CheckJsonType(const QString&) { return -1; }
void EspWin::SelectFirmFolder() {}
void EspWin::firmfolderBtn_Action() {}
void EspWin::SelectFiremTimer_Action() {}
void EspWin::MakeFirmPackage(const FolderItem&) {}
