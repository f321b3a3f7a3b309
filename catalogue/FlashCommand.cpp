#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::LoadFlashCmd(FirmClass&, const FolderItem&) {}
