#include "platform/SerialPorts.h"

#include "platform/PortList.h"
#include "platform/Seams.h"

namespace {

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

} // namespace System
