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
} // namespace System
