#pragma once

#include <QString>
#include <QtGlobal>

// A serial port as the machine lists it: a short name, the device behind it, and the USB
// vendor of the adapter (0 when the port is no USB device).
struct SerialPort {
    QString Name;
    QString Device;
    quint16 VendorId = 0;
};

namespace System {
// The device path the flash tool is given for a port row.
QString DevicePath(const QString& name);
} // namespace System
