#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::MakeSerialPortPopupMenu() {}
void EspWin::PortPM_Change() {}
void EspWin::PortPM_Open() {}
void EspWin::ScanBtn_Action() {}
