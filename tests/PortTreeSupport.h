#pragma once

// A machine's tty devices laid out as sysfs shows them, in a folder: the class links, the
// device folders with their uevent files, the parents' driver links, the USB devices' vendor
// files and the 8250 driver's table. Good enough for the port listing and for udev itself.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QStringList>

namespace PortTree {

inline bool Write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// A link that points where the kernel's points, relative, so the tree works wherever it lies.
inline bool Link(const QString& at, const QString& targetFromRoot, const QString& root) {
    QDir().mkpath(QFileInfo(at).absolutePath());
    const QString relative = QFileInfo(at).absoluteDir().relativeFilePath(root + targetFromRoot);
    QFile::remove(at);
    return QFile::link(relative, at);
}

class Machine {
public:
    explicit Machine(const QString& root) : mRoot(root) {
        QDir().mkpath(Sys() + "/class/tty");
        QDir().mkpath(Sys() + "/bus");
        QDir().mkpath(Sys() + "/devices/virtual/tty");
        QDir().mkpath(Proc() + "/tty/driver");
        QDir().mkpath(Dev());
    }

    QString Sys() const { return mRoot + "/sys"; }
    QString Proc() const { return mRoot + "/proc"; }
    QString Dev() const { return mRoot + "/dev"; }

    // A tty with no parent device: a console, ptmx, or a Bluetooth or gadget port.
    void Virtual(const QString& name) { Tty(name, "/devices/virtual/tty/" + name); }

    // A tty below the parent device at `parent` (a path from the top of sysfs), bound to
    // `driver` of `bus` (no driver when empty).
    void Port(const QString& name, const QString& parent, const QString& driver = QString(),
              const QString& bus = QStringLiteral("platform")) {
        Device(parent);
        if (!driver.isEmpty()) {
            QDir().mkpath(Sys() + "/bus/" + bus + "/drivers/" + driver);
            Link(Sys() + parent + "/driver", "/bus/" + bus + "/drivers/" + driver, Sys());
        }
        Tty(name, parent + "/tty/" + name);
        Link(Sys() + parent + "/tty/" + name + "/device", parent, Sys());
    }

    // A USB device and its vendor; its interfaces hold the ports.
    void Usb(const QString& devicePath, quint16 vendor) {
        Device(devicePath);
        if (vendor != 0)
            Write(Sys() + devicePath + "/idVendor", QByteArray::number(vendor, 16).rightJustified(4, '0') + "\n");
    }

    // The 8250 driver's table as root reads it; each line "uart:unknown" or a UART's name.
    void Serial8250(const QStringList& uarts) {
        QByteArray text = "serinfo:1.0 driver revision:\n";
        for (int i = 0; i < uarts.size(); ++i)
            text += QByteArray::number(i) + ": uart:" + uarts.at(i).toLatin1() + " port:000003F8 irq:4\n";
        Write(Proc() + "/tty/driver/serial", text);
    }

private:
    void Device(const QString& path) {
        if (!QFileInfo::exists(Sys() + path + "/uevent"))
            Write(Sys() + path + "/uevent", "");
    }

    void Tty(const QString& name, const QString& path) {
        Write(Sys() + path + "/uevent",
              "MAJOR=4\nMINOR=" + QByteArray::number(++mMinor) + "\nDEVNAME=" + name.toLatin1() + "\n");
        Write(Sys() + path + "/dev", "4:" + QByteArray::number(mMinor) + "\n");
        Link(Sys() + path + "/subsystem", "/class/tty", Sys());
        Link(Sys() + "/class/tty/" + name, path, Sys());
    }

    QString mRoot;
    int mMinor = 0;
};

inline void Consoles(Machine& m) {
    for (const char* name : {"console", "ptmx", "tty"})
        m.Virtual(name);
    for (int i = 0; i < 64; ++i)
        m.Virtual(QStringLiteral("tty%1").arg(i));
}

void Adapters(Machine& m);

// A desktop PC of the usual kind: 64 consoles, a built-in port found by the firmware tables,
// the 8250 driver's 31 unwired lines, a CP210x adapter and an ESP32-S3 on its own USB.
inline void Desktop32(Machine& m) {
    Consoles(m);
    m.Port("ttyS0", "/devices/pnp0/00:05", "serial", "pnp");
    QStringList uarts{"16550A"};
    for (int i = 1; i < 32; ++i) {
        m.Port(QStringLiteral("ttyS%1").arg(i), "/devices/platform/serial8250", "serial8250");
        uarts << "unknown";
    }
    m.Serial8250(uarts);
    Adapters(m);
}

// The same desktop under a kernel of 6.5 or later: each 8250 line is a port device of its own,
// bound to the serial core's driver, and Qt keeps every one of them.
inline void Desktop32SerialCore(Machine& m) {
    Consoles(m);
    QStringList uarts;
    for (int i = 0; i < 32; ++i) {
        m.Port(QStringLiteral("ttyS%1").arg(i),
               QStringLiteral("/devices/platform/serial8250/serial8250:0/serial8250:0.%1").arg(i), "port",
               "serial-base");
        uarts << (i == 0 ? "16550A" : "unknown");
    }
    m.Serial8250(uarts);
    Adapters(m);
}

inline void Adapters(Machine& m) {
    const QString hub = "/devices/pci0000:00/0000:00:14.0/usb1";
    m.Usb(hub + "/1-2", 0x10C4);
    m.Usb(hub + "/1-2/1-2:1.0", 0);
    m.Port("ttyUSB0", hub + "/1-2/1-2:1.0/ttyUSB0", "cp210x", "usb-serial");
    m.Usb(hub + "/1-1", 0x303A);
    m.Usb(hub + "/1-1/1-1:1.0", 0);
    m.Port("ttyACM0", hub + "/1-1/1-1:1.0", "cdc_acm", "usb");
}

// Machines of other kinds, each with the ports Qt's own listing gives for it, in its order
// (checked against Qt's listing over udev by bench_ports).
struct Layout {
    const char* name;
    void (*build)(Machine&);
    QStringList ports; // "name" or "name@vendor"
};

inline QList<Layout> Layouts() {
    return {
        {"desktop, 32 ttyS", Desktop32, {"ttyACM0@303a", "ttyUSB0@10c4", "ttyS0"}},
        {"nothing", [](Machine&) {}, {}},
        {"consoles only",
         [](Machine& m) {
             for (const char* name : {"console", "ptmx", "tty", "tty0", "tty1"})
                 m.Virtual(name);
         },
         {}},
        {"serial core ports of a newer kernel",
         [](Machine& m) {
             for (int i = 0; i < 12; ++i)
                 m.Port(QStringLiteral("ttyS%1").arg(i),
                        QStringLiteral("/devices/platform/serial8250/serial8250:0/serial8250:0.%1").arg(i), "port",
                        "serial-base");
         },
         {"ttyS0", "ttyS1", "ttyS10", "ttyS11", "ttyS2", "ttyS3", "ttyS4", "ttyS5", "ttyS6", "ttyS7", "ttyS8",
          "ttyS9"}},
        {"8250 lines that don't open",
         [](Machine& m) {
             // A UART on line 2 by the driver's table, but no node to open it by.
             m.Port("ttyS2", "/devices/platform/serial8250", "serial8250");
             m.Port("ttyS3", "/devices/platform/serial8250", "serial8250");
             m.Serial8250({"unknown", "unknown", "16550A", "unknown"});
             m.Port("ttyS4", "/devices/pci0000:00/0000:00:16.3", "serial", "pci");
         },
         {"ttyS4"}},
        {"adapters behind a hub, one without driver",
         [](Machine& m) {
             const QString hub = "/devices/pci0000:00/0000:00:14.0/usb3";
             m.Usb(hub + "/3-1.2", 0x1A86);
             m.Port("ttyUSB1", hub + "/3-1.2/3-1.2:1.0/ttyUSB1", "ch341-uart", "usb-serial");
             m.Usb(hub + "/3-1", 0x0403);
             m.Port("ttyUSB0", hub + "/3-1/3-1:1.0/ttyUSB0", "ftdi_sio", "usb-serial");
             m.Usb(hub + "/3-10", 0x10C4);
             m.Port("ttyUSB2", hub + "/3-10/3-10:1.0/ttyUSB2");
             m.Usb(hub + "/3-1.10", 0x303A);
             m.Port("ttyACM0", hub + "/3-1.10/3-1.10:1.0", "cdc_acm", "usb");
         },
         {"ttyUSB0@0403", "ttyACM0@303a", "ttyUSB1@1a86", "ttyUSB2@10c4"}},
        {"parentless ports Qt keeps",
         [](Machine& m) {
             for (const char* name : {"rfcomm0", "rfcomm256", "rfcommX", "tnt0", "ttyGS0", "ttyprintk", "tty0"})
                 m.Virtual(name);
             m.Port("ttyAMA0", "/devices/platform/fe201000.serial", "uart-pl011", "amba");
         },
         {"ttyAMA0", "rfcomm0", "tnt0", "ttyGS0"}},
    };
}

} // namespace PortTree
