#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::LoadFirmJsonType1(const FolderItem&) {}
