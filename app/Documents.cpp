#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::Event_DropObject(DragItem&) {}
void EspWin::DoDropFile(const FolderItem&) {}
