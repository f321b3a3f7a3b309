#pragma once

#include "platform/SerialPort.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

// The serial monitor's rules, apart from any window: the speed rows, which port to offer first,
// which present port a name stands for, and the recent ports. EspWin's handlers in serial/ call
// these; flash reaches the session only through PortSession below.

namespace Speeds {

// The rows of BaudPM, the flash tool's speeds, slowest first.
const QStringList& FlashRows();
// The rows of BaudPMs, the monitor's speeds: the flash rows without "750000".
QStringList MonitorRows();

// The rows each popup starts on: "921600" for the tool, "115200" for the monitor.
constexpr int kFlashStartRow = 14;
constexpr int kMonitorStartRow = 10;
// The row BaudPMs_Open looks for.
inline const QString kMonitorOpenSpeed = QStringLiteral("115200");

// The speed, in bits per second, of a row of FlashRows(); 0 for no row.
int RateOfRow(int row);
// The speed a popup row's text stands for, in bits per second: the number at its head, cut
// toward zero.
int RateOf(const QString& rowText);

} // namespace Speeds

// The row to offer first among the ports in the machine's order: the board's bridge if one shows,
// else row 0. Each platform names its ports its own way, so each has its rule.
int DefaultPortRow(const QList<SerialPort>& ports);
// macOS: the first name holding the bridge's fragment, byte-exact.
int DefaultPortRowByName(const QList<SerialPort>& ports);
// Linux: the first CP210x, else the first USB port, else row 0.
int DefaultPortRowByVendor(const QList<SerialPort>& ports);

// The first port the machine has right now whose name equals `name` (letter case ignored).
std::optional<SerialPort> FindPresentPort(const QString& name);

// The recently connected ports, newest first.
using RecentPorts = std::array<QString, 6>;
// `port` goes in front unless it is there already; the oldest falls off.
void RememberPort(RecentPorts& recent, const QString& port);

// The one session, as a flash run sees it: the run closes it to have the port for the tool and
// opens it again afterwards. EspWin implements it.
class PortSession {
public:
    // A toggle: opens a session on `port` ("" for the selected row) or closes the open one.
    virtual void DoConnect(const QString& port) = 0;
    // Closes the session if one is open.
    virtual void DoDisconnect() = 0;
    virtual bool IsConnected() const = 0;

protected:
    ~PortSession() = default;
};
