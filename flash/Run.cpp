#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::StartPB_Action() {}
void EspWin::esptool_DataAvailable() {}
void EspWin::esptool_Completed() {}
