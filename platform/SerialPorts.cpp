#include "platform/SerialPorts.h"

#include "platform/PortList.h"
#include "platform/Seams.h"
#include "platform/Text.h"

namespace {

// The vendor of the USB-to-UART bridge on the boards this tool was made for (Silicon Labs CP210x).
constexpr quint16 kBridgeVendor = 0x10C4;

// The name macOS gives that bridge's port.
const QString kBridgeNameFragment = QStringLiteral("SLAB_USBtoUART");

// The count takes the list, and the walk over it that follows reads from that.
QList<SerialPort>& Snapshot() {
    static QList<SerialPort> ports;
    return ports;
}

} // namespace

namespace System {

int SerialPortCount() {
    if (const auto& source = Seams::SerialPorts())
        return int(source().size());
    Snapshot() = ListSerialPorts();
    return int(Snapshot().size());
}

SerialPort SerialPortAt(int index) {
    const auto& source = Seams::SerialPorts();
    const QList<SerialPort> ports = source ? source() : Snapshot();
    return index >= 0 && index < ports.size() ? ports.at(index) : SerialPort{};
}

int DefaultSerialPort(const QList<SerialPort>& ports) {
#ifdef Q_OS_MACOS
    return DefaultSerialPortByName(ports);
#else
    return DefaultSerialPortByVendor(ports);
#endif
}

int DefaultSerialPortByName(const QList<SerialPort>& ports) {
    for (int i = 0; i < ports.size(); ++i) {
        // Byte-exact on purpose: the bridge's driver names its port in exactly this case.
        if (InStrB(1, ports.at(i).Name, kBridgeNameFragment) > 0)
            return i;
    }
    return 0;
}

int DefaultSerialPortByVendor(const QList<SerialPort>& ports) {
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

QString DevicePath(const QString& name) {
#ifdef Q_OS_MACOS
    return QStringLiteral("/dev/cu.") + name;
#else
    return QStringLiteral("/dev/") + name;
#endif
}

} // namespace System
