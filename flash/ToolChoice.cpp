#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::tooltypePM_Open() {}
void EspWin::tooltypePM_Change() {}
void EspWin::EspToolEF_TextChange() {}
void EspWin::SelectESPPB_Action() {}
