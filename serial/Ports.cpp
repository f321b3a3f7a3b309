#include "platform/SerialPorts.h"
#include "platform/Text.h"
#include "serial/Monitor.h"
#include "window/EspWin.h"

std::optional<SerialPort> FindPresentPort(const QString& name) {
    // The list in PortPM may be stale: only a port the machine has right now will do.
    const int count = System::SerialPortCount();
    for (int i = 0; i < count; ++i) {
        const SerialPort port = System::SerialPortAt(i);
        if (Same(port.Name, name))
            return port;
    }
    return std::nullopt;
}

void EspWin::MakeSerialPortPopupMenu() {
    // A port that misbehaves while being listed costs only the rest of the list.
    try {
        PortPM.DeleteAllRows();
        QList<SerialPort> ports;
        const int count = System::SerialPortCount();
        for (int i = 0; i < count; ++i) {
            ports << System::SerialPortAt(i);
            PortPM.AddRow(ports.last().Name);
        }
        if (PortPM.ListCount() < 1)
            return;

        // Each of these raises PortPM_Change when it moves the selection, so the command
        // follows the row we end on.
        PortPM.SetListIndex(0);
        PortPM.SetListIndex(DefaultPortRow(ports));
    } catch (...) {
    }
}

void EspWin::PortPM_Open() {
    MakeSerialPortPopupMenu();
}

void EspWin::PortPM_Change() {
    // An open session stays on its own port whatever the list shows now.
    ConnectPB.SetCaption(mConnected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
    emit PortOrSpeedChanged();
}

void EspWin::ScanBtn_Action() {
    MakeSerialPortPopupMenu();
}
