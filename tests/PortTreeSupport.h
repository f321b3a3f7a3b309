#pragma once

// A machine's tty devices laid out in a folder as sysfs shows them, with the 8250 driver's table:
// enough for the port listing and for udev itself.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace PortTree {

class Machine {
public:
    explicit Machine(const QString& root) : mRoot(root) {}
    QString Sys() const { return mRoot + "/sys"; }
    QString Proc() const { return mRoot + "/proc"; }
    QString Dev() const { return mRoot + "/dev"; }

    // A tty with no parent device: a console, ptmx, a Bluetooth or gadget port.
    void Virtual(const QString& name) { Tty(name, "/devices/virtual/tty/" + name); }
    // A tty below the device at `parent` (a path from the top of sysfs), bound to `driver` of `bus`.
    void Port(const QString& name, const QString& parent, const QString& driver = {}, const QString& bus = "platform") {
        Write(Sys() + parent + "/uevent", "");
        if (!driver.isEmpty() && QDir().mkpath(Sys() + "/bus/" + bus + "/drivers/" + driver))
            Link(parent + "/driver", "/bus/" + bus + "/drivers/" + driver);
        Tty(name, parent + "/tty/" + name);
        Link(parent + "/tty/" + name + "/device", parent);
    }
    // A tty on the USB device at `device` of `vendor`, below `device` + `below`.
    void UsbPort(const QString& name, const QString& device, quint16 vendor, const QString& below,
                 const QString& driver = {}, const QString& bus = "usb-serial") {
        Write(Sys() + device + "/uevent", "");
        Write(Sys() + device + "/idVendor", QByteArray::number(vendor, 16).rightJustified(4, '0') + "\n");
        Port(name, device + below, driver, bus);
    }
    // The 8250 driver's table as root reads it; each entry "unknown" or a UART's name.
    void Serial8250(const QStringList& uarts) {
        QByteArray text = "serinfo:1.0 driver revision:\n";
        for (int i = 0; i < uarts.size(); ++i)
            text += QByteArray::number(i) + ": uart:" + uarts.at(i).toLatin1() + " port:000003F8 irq:4\n";
        Write(Proc() + "/tty/driver/serial", text);
    }

private:
    static void Write(const QString& path, const QByteArray& bytes) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        if (f.open(QIODevice::WriteOnly))
            f.write(bytes);
    }
    // Relative, as the kernel's links are, so the tree works wherever it lies.
    void Link(const QString& at, const QString& target) {
        QDir().mkpath(QFileInfo(Sys() + at).absolutePath());
        QFile::link(QFileInfo(Sys() + at).absoluteDir().relativeFilePath(Sys() + target), Sys() + at);
    }
    void Tty(const QString& name, const QString& path) {
        const QByteArray minor = QByteArray::number(++mMinor);
        Write(Sys() + path + "/uevent", "MAJOR=4\nMINOR=" + minor + "\nDEVNAME=" + name.toLatin1() + "\n");
        Write(Sys() + path + "/dev", "4:" + minor + "\n");
        Link(path + "/subsystem", "/class/tty");
        Link("/class/tty/" + name, path);
    }

    QString mRoot;
    int mMinor = 0;
};

// A desktop PC: 64 consoles, a built-in port and the 8250 driver's 31 unwired lines (with a kernel of
// 6.5 or later, `serialCore`, each a port device Qt keeps), a CP210x adapter and an ESP32-S3's USB.
template <bool serialCore> void Desktop(Machine& m) {
    for (const char* name : {"console", "ptmx", "tty"})
        m.Virtual(name);
    for (int i = 0; i < 64; ++i)
        m.Virtual(QStringLiteral("tty%1").arg(i));
    QStringList uarts;
    for (int i = 0; i < 32; ++i) {
        const QString name = QStringLiteral("ttyS%1").arg(i);
        if (serialCore)
            m.Port(name, QStringLiteral("/devices/platform/serial8250/serial8250:0/serial8250:0.%1").arg(i), "port",
                   "serial-base");
        else if (i == 0)
            m.Port(name, "/devices/pnp0/00:05", "serial", "pnp");
        else
            m.Port(name, "/devices/platform/serial8250", "serial8250");
        uarts << (i == 0 ? "16550A" : "unknown");
    }
    m.Serial8250(uarts);
    const QString hub = "/devices/pci0000:00/0000:00:14.0/usb1";
    m.UsbPort("ttyUSB0", hub + "/1-2", 0x10C4, "/1-2:1.0/ttyUSB0", "cp210x");
    m.UsbPort("ttyACM0", hub + "/1-1", 0x303A, "/1-1:1.0", "cdc_acm", "usb");
}
inline constexpr auto Desktop32 = &Desktop<false>;
inline constexpr auto Desktop32SerialCore = &Desktop<true>;

// Machines and the ports Qt's listing gives for them, in order (bench_ports compares under udev).
struct Layout {
    const char* name;
    void (*build)(Machine&);
    QString ports; // "name" or "name@vendor", blank-separated
};

inline QList<Layout> Layouts() {
    return {
        {"desktop, 32 ttyS", Desktop32, "ttyACM0@303a ttyUSB0@10c4 ttyS0"},
        {"8250 lines that don't open, adapters behind a hub, parentless ports",
         [](Machine& m) {
             // A UART on line 2 by the driver's table, but no node to open it by.
             m.Port("ttyS2", "/devices/platform/serial8250", "serial8250");
             m.Port("ttyS3", "/devices/platform/serial8250", "serial8250");
             m.Serial8250({"unknown", "unknown", "16550A", "unknown"});
             m.Port("ttyS4", "/devices/pci0000:00/0000:00:16.3", "serial", "pci");
             const QString hub = "/devices/pci0000:00/0000:00:14.0/usb3";
             m.UsbPort("ttyUSB1", hub + "/3-1.2", 0x1A86, "/3-1.2:1.0/ttyUSB1", "ch341-uart");
             m.UsbPort("ttyUSB0", hub + "/3-1", 0x0403, "/3-1:1.0/ttyUSB0", "ftdi_sio");
             m.UsbPort("ttyUSB2", hub + "/3-10", 0x10C4, "/3-10:1.0/ttyUSB2", ""); // no driver
             m.UsbPort("ttyACM0", hub + "/3-1.10", 0x303A, "/3-1.10:1.0", "cdc_acm", "usb");
             for (const char* name : {"rfcomm0", "rfcomm256", "rfcommX", "tnt0", "ttyGS0", "ttyprintk", "tty0"})
                 m.Virtual(name);
             m.Port("ttyAMA0", "/devices/platform/fe201000.serial", "uart-pl011", "amba");
         },
         "ttyUSB0@0403 ttyACM0@303a ttyUSB1@1a86 ttyUSB2@10c4 ttyS4 ttyAMA0 rfcomm0 tnt0 ttyGS0"},
    };
}

} // namespace PortTree
