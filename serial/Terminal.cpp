#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::MySerial_DataAvailable() {}
bool EspWin::rEF_KeyDown(const QString&) { return false; }
void EspWin::ScanBtn2_Action() {}
