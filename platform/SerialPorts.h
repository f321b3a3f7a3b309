#pragma once

#include "platform/SerialPort.h"

#include <QList>
#include <QString>

// The machine's serial ports as the port popup lists them.
namespace System {
int SerialPortCount();
SerialPort SerialPortAt(int index);
} // namespace System
