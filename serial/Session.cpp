#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::DoConnect(const QString&) {}
bool EspWin::RbPortOpen(const QString&) { return false; }
void EspWin::RbPortClose() {}
void EspWin::RbPortOpenPre() {}
void EspWin::MemoPortInfo(const QString&) {}
void EspWin::DoDisconnect() {}
void EspWin::BaudPM_Open() {}
void EspWin::BaudPM_Change() {}
void EspWin::BaudPMs_Open() {}
void EspWin::ConnectPB_Action() {}
