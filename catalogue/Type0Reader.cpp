#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::LoadFirmJsonType0(const FolderItem&) {}
