#pragma once

#include "platform/SerialPort.h"

#include <QList>
#include <QString>

// The machine's serial ports as the port popup lists them.
namespace System {
int SerialPortCount();
SerialPort SerialPortAt(int index);
// The device path the flash tool is given for a port row.
QString DevicePath(const QString& name);
// The row to offer first among the ports in the machine's order: the board's bridge if one
// shows, else row 0. Each platform names its ports its own way, so each has its rule.
int DefaultSerialPort(const QList<SerialPort>& ports);
int DefaultSerialPortByName(const QList<SerialPort>& ports);
int DefaultSerialPortByVendor(const QList<SerialPort>& ports);
} // namespace System
