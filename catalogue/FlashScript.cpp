#include "window/EspWin.h"

// Placeholder until this subsystem lands.
bool EspWin::MakeFlashShell(const FolderItem&) { return false; }
