#pragma once

#include "platform/SerialPort.h"

#include <QByteArray>
#include <QList>

// Where the port listing looks at the machine. Tests and the benchmark point it at trees
// of their own; the program uses the machine's.
struct PortListRoots {
    QByteArray Sys = "/sys";
    QByteArray Proc = "/proc";
    QByteArray Dev = "/dev";
};

// The machine's serial ports: the ports, the order and the names of Qt's own listing (which
// asks udev), read from sysfs in a few dozen system calls instead of a few thousand. The USB
// vendor is read from sysfs too, so it is there also where no udev daemon keeps a database.
QList<SerialPort> ListSerialPorts(const PortListRoots& roots = PortListRoots());

// Qt's own listing, to compare against.
QList<SerialPort> ListSerialPortsByQt();
