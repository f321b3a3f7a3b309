#include "platform/Seams.h"
#include "platform/SerialPorts.h"
#include "platform/Text.h"
#include "serial/Monitor.h"
#include "window/EspWin.h"

#include <QColor>

namespace {

const QColor kClosedBack(0xFF, 0xFF, 0xFF);
// Pale pink: a glance at the pane tells that typed keys go to the board.
const QColor kOpenBack(0xFF, 0xE4, 0xFA);

void SelectFirstRowEqualTo(PopupMenu& menu, const QString& wanted) {
    for (int i = 0; i < menu.ListCount(); ++i) {
        if (Same(menu.List(i), wanted)) {
            menu.SetListIndex(i);
            return;
        }
    }
}

} // namespace

void EspWin::ConnectPB_Action() {
    DoConnect(QString());
}

void EspWin::DoConnect(const QString& port) {
    if (mConnected) {
        RbPortClose();
        mConnected = false;
        ConnectPB.SetCaption(QStringLiteral("Connect"));
        rEF.SetBackColor(kClosedBack);
        rEF.SetTerminalKeys(false);
        return;
    }

    const QString p = port.isEmpty() ? PortPM.Text() : port;
    mConnected = RbPortOpen(p);
    // RbPortOpen has beeped already; the window stays as it was.
    if (!mConnected)
        return;
    ConnectPB.SetCaption(QStringLiteral("Disconnect"));
    rEF.SetBackColor(kOpenBack);
    // Ctrl+C interrupts a prompt on the board now; the Edit menu's copy is Ctrl+Shift+C.
    rEF.SetTerminalKeys(true);
    MemoPortInfo(p);
}

bool EspWin::IsConnected() const {
    return mConnected;
}

void EspWin::DoDisconnect() {
    if (mConnected)
        DoConnect(QString());
}

bool EspWin::RbPortOpen(const QString& port) {
    if (mConnected)
        return true;

    const std::optional<SerialPort> chosen = FindPresentPort(port);
    if (!chosen) {
        Beep();
        return false;
    }

    MySerial.SerialPort = *chosen;
    MySerial.Baud = Speeds::RateOf(BaudPMs.Text());
    MySerial.XON = XonCB.Value();
    MySerial.CTS = CtsCB.Value();
    MySerial.DTR = DtrCB.Value();
    RbPortOpenPre();
    // Both lines low: with the usual auto-reset wiring a high line holds the board in reset.
    MySerial.RequestToSend = mSerialRTS;
    MySerial.DataTerminalReady = mSerialDTR;

    mConnected = MySerial.Open();
    if (mConnected)
        return true;
    Beep();
    return false;
}

void EspWin::RbPortClose() {
    if (!mConnected)
        return;
    MySerial.Close();
    ConnectPB.SetCaption(QStringLiteral("Connect"));
}

// Kept as the place for line set-up that must come before the modem lines are set.
void EspWin::RbPortOpenPre() {}

void EspWin::MemoPortInfo(const QString& port) {
    RememberPort(mPortName, port);
    mLastBaudRate = BaudPM.Text();
}

void EspWin::BaudPM_Open() {
    SelectFirstRowEqualTo(BaudPM, mLastBaudRate);
}

void EspWin::BaudPM_Change() {
    emit PortOrSpeedChanged();
}

void EspWin::BaudPMs_Open() {
    SelectFirstRowEqualTo(BaudPMs, Speeds::kMonitorOpenSpeed);
}
