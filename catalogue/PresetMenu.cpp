#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::MakeFirmPrisetPM() {}
void EspWin::PrisetPM_Change() {}
