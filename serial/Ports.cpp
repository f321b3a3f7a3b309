#include "platform/Serial.h"
#include "platform/Text.h"
#include "window/EspWin.h"

namespace {

// The bridge chip of the boards this tool was made for; its port is the one to offer first.
const QString kDefaultPortFragment = QStringLiteral("SLAB_USBtoUART");

} // namespace

void EspWin::MakeSerialPortPopupMenu() {
    // A port that misbehaves while being listed costs only the rest of the list.
    try {
        PortPM.DeleteAllRows();
        const int count = System::SerialPortCount();
        for (int i = 0; i < count; ++i)
            PortPM.AddRow(System::SerialPortAt(i).Name);
        if (PortPM.ListCount() < 1)
            return;

        // Each of these raises PortPM_Change when it moves the selection, so the command
        // follows the row we end on.
        PortPM.SetListIndex(0);
        for (int i = 0; i < PortPM.ListCount(); ++i) {
            // Byte-exact on purpose: the bridge's driver names its port in exactly this case.
            if (InStrB(1, PortPM.List(i), kDefaultPortFragment) > 0) {
                PortPM.SetListIndex(i);
                return;
            }
        }
    } catch (...) {
    }
}

void EspWin::PortPM_Open() {
    MakeSerialPortPopupMenu();
}

void EspWin::PortPM_Change() {
    // An open session stays on its own port whatever the list shows now.
    ConnectPB.SetCaption(mConnected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
    MakeCommand();
}

void EspWin::ScanBtn_Action() {
    MakeSerialPortPopupMenu();
}
