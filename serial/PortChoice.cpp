#include "serial/Monitor.h"

#include "platform/Text.h"

namespace {

// The vendor of the USB-to-UART bridge on the boards this tool was made for (Silicon Labs CP210x).
constexpr quint16 kBridgeVendor = 0x10C4;

// The name macOS gives that bridge's port.
const QString kBridgeNameFragment = QStringLiteral("SLAB_USBtoUART");

} // namespace

int DefaultPortRow(const QList<SerialPort>& ports) {
#ifdef Q_OS_MACOS
    return DefaultPortRowByName(ports);
#else
    return DefaultPortRowByVendor(ports);
#endif
}

int DefaultPortRowByName(const QList<SerialPort>& ports) {
    for (int i = 0; i < ports.size(); ++i) {
        // Byte-exact on purpose: the bridge's driver names its port in exactly this case.
        if (InStrB(1, ports.at(i).Name, kBridgeNameFragment) > 0)
            return i;
    }
    return 0;
}

int DefaultPortRowByVendor(const QList<SerialPort>& ports) {
    for (int i = 0; i < ports.size(); ++i) {
        if (ports.at(i).VendorId == kBridgeVendor)
            return i;
    }
    // Any USB adapter is likelier the board than a serial port built into the machine.
    for (int i = 0; i < ports.size(); ++i) {
        const SerialPort& port = ports.at(i);
        if (port.VendorId != 0 || port.Name.startsWith(QLatin1String("ttyUSB")) ||
            port.Name.startsWith(QLatin1String("ttyACM")))
            return i;
    }
    return 0;
}

void RememberPort(RecentPorts& recent, const QString& port) {
    if (Same(recent[0], port))
        return;
    for (std::size_t i = recent.size() - 1; i > 0; --i)
        recent[i] = recent[i - 1];
    recent[0] = port;
}
