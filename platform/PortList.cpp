#include "platform/PortList.h"

#include <QSerialPortInfo>

#ifdef Q_OS_LINUX
#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <map>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>
#endif

QList<SerialPort> ListSerialPortsByQt() {
    QList<SerialPort> ports;
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
        ports << SerialPort{info.portName(), info.systemLocation(),
                            info.hasVendorIdentifier() ? info.vendorIdentifier() : quint16(0)};
    return ports;
}

#ifndef Q_OS_LINUX

QList<SerialPort> ListSerialPorts(const PortListRoots&) {
    return ListSerialPortsByQt();
}

#else

namespace {

// Every call below is one system call, or a handful: the whole listing has to stay cheap on a
// machine with dozens of tty entries, most of them consoles that are no serial port at all.

std::vector<std::string> ListFolder(const std::string& path) {
    std::vector<std::string> names;
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return names;
    alignas(8) char buf[32768];
    for (;;) {
        const ssize_t n = ::getdents64(fd, buf, sizeof buf);
        if (n <= 0)
            break;
        for (ssize_t at = 0; at < n;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buf + at);
            if (entry->d_name[0] != '.')
                names.emplace_back(entry->d_name);
            at += entry->d_reclen;
        }
    }
    ::close(fd);
    return names;
}

bool ReadLink(const std::string& path, std::string* target) {
    char buf[4096];
    const ssize_t n = ::readlink(path.c_str(), buf, sizeof buf);
    if (n <= 0 || size_t(n) >= sizeof buf)
        return false;
    target->assign(buf, size_t(n));
    return true;
}

std::string ReadSmallFile(const std::string& path) {
    std::string text;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return text;
    char buf[16384];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0)
            break;
        text.append(buf, size_t(n));
        // A sysfs attribute comes whole in one read; only longer files need asking again.
        if (size_t(n) < 64)
            break;
    }
    ::close(fd);
    return text;
}

std::vector<std::string> Components(const std::string& path) {
    std::vector<std::string> parts;
    size_t at = 0;
    while (at <= path.size()) {
        const size_t slash = std::min(path.find('/', at), path.size());
        if (slash > at)
            parts.push_back(path.substr(at, slash - at));
        at = slash + 1;
    }
    return parts;
}

// A class link ("../../devices/...") as a path from the top of sysfs ("/devices/...").
std::string DevicePathOf(const std::string& link) {
    std::vector<std::string> parts{"class", "tty"};
    for (const std::string& part : Components(link)) {
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (part != ".") {
            parts.push_back(part);
        }
    }
    std::string path;
    for (const std::string& part : parts)
        path += '/' + part;
    return path;
}

// udev hands out its devices in this order: path by path component, a shorter name before a
// longer one it begins, a parent before its children.
bool PathBefore(const std::string& a, const std::string& b) {
    const std::vector<std::string> pa = Components(a);
    const std::vector<std::string> pb = Components(b);
    for (size_t i = 0; i < pa.size() && i < pb.size(); ++i) {
        const int r = std::memcmp(pa[i].data(), pb[i].data(), std::min(pa[i].size(), pb[i].size()));
        if (r != 0)
            return r < 0;
        if (pa[i].size() != pb[i].size())
            return pa[i].size() < pb[i].size();
    }
    return pa.size() < pb.size();
}

bool StartsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

// Ports without a parent device that Qt lists all the same: Bluetooth RFCOMM, the tty0tty null
// modem and the USB gadget serial.
bool ListedWithoutParent(const std::string& name) {
    if (StartsWith(name, "tnt") || StartsWith(name, "ttyGS"))
        return true;
    if (!StartsWith(name, "rfcomm") || name.size() == 6 || name.size() > 9)
        return false;
    for (size_t i = 6; i < name.size(); ++i)
        if (name[i] < '0' || name[i] > '9')
            return false;
    return std::stoi(name.substr(6)) <= 255;
}

// A USB interface in a device path: bus-port[.port...]:config.interface, as "1-1.4:1.0".
bool IsUsbInterface(const std::string& part) {
    const size_t colon = part.find(':');
    return colon != std::string::npos && colon > 0 && part[0] >= '0' && part[0] <= '9' && part.find('-') < colon &&
           part.find('.', colon) != std::string::npos;
}

// The vendor of the USB device that holds the port's interface, as udev's ID_VENDOR_ID.
quint16 UsbVendor(const std::string& sys, const std::string& devicePath) {
    const std::vector<std::string> parts = Components(devicePath);
    std::string device;
    for (const std::string& part : parts) {
        if (IsUsbInterface(part)) {
            const std::string text = ReadSmallFile(sys + device + "/idVendor");
            return quint16(std::strtoul(text.c_str(), nullptr, 16));
        }
        device += '/' + part;
    }
    return 0;
}

// Qt keeps a port of the legacy 8250 driver only when the port opens and says it has a UART:
// the kernel makes a node for every possible line, wired or not.
bool Has8250Uart(const std::string& device) {
    const int fd = ::open(device.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return false;
    serial_struct info{};
    const int result = ::ioctl(fd, TIOCGSERIAL, &info);
    ::close(fd);
    return result != -1 && info.type != PORT_UNKNOWN;
}

// Which 8250 lines the driver found no UART for, from its one table; only root may read it.
// A line it doesn't know is left to the port itself.
class Serial8250Table {
public:
    explicit Serial8250Table(std::string path) : mPath(std::move(path)) {}

    bool Unknown(const std::string& name) {
        if (!mRead) {
            mRead = true;
            Parse(ReadSmallFile(mPath));
        }
        if (!StartsWith(name, "ttyS") || name.size() == 4)
            return false;
        const auto line = mUnknown.find(std::strtol(name.c_str() + 4, nullptr, 10));
        return line != mUnknown.end() && line->second;
    }

private:
    void Parse(const std::string& text) {
        size_t at = 0;
        while (at < text.size()) {
            const size_t end = std::min(text.find('\n', at), text.size());
            const std::string line = text.substr(at, end - at);
            at = end + 1;
            const size_t uart = line.find(": uart:");
            if (uart == std::string::npos || line[0] < '0' || line[0] > '9')
                continue;
            mUnknown[std::strtol(line.c_str(), nullptr, 10)] = line.compare(uart + 7, 8, "unknown ") == 0;
        }
    }

    std::string mPath;
    bool mRead = false;
    std::map<long, bool> mUnknown;
};

struct Found {
    std::string devicePath;
    SerialPort port;
};

} // namespace

QList<SerialPort> ListSerialPorts(const PortListRoots& roots) {
    const std::string sys = roots.Sys.toStdString();
    const std::string dev = roots.Dev.toStdString();
    const std::string classDir = sys + "/class/tty/";

    // A tty without a parent device (consoles, ptmx) is never a port; the folder of such ttys
    // names them all at once, so their links need not be read one by one.
    std::vector<std::string> parentless = ListFolder(sys + "/devices/virtual/tty");
    std::sort(parentless.begin(), parentless.end());

    std::map<std::string, std::string> drivers; // parent device path -> driver
    Serial8250Table table(roots.Proc.toStdString() + "/tty/driver/serial");
    std::vector<Found> found;
    for (const std::string& name : ListFolder(sys + "/class/tty")) {
        const auto makePort = [&](std::string devicePath) {
            found.push_back({std::move(devicePath),
                             SerialPort{QString::fromStdString(name), QString::fromStdString(dev + '/' + name)}});
        };
        if (std::binary_search(parentless.begin(), parentless.end(), name)) {
            if (ListedWithoutParent(name))
                makePort("/devices/virtual/tty/" + name);
            continue;
        }
        std::string link;
        if (!ReadLink(classDir + name, &link))
            continue;
        std::string devicePath = DevicePathOf(link);
        if (StartsWith(devicePath, "/devices/virtual/")) {
            if (ListedWithoutParent(name))
                makePort(devicePath);
            continue;
        }

        // Ports on one controller share its driver: ask once per parent device.
        std::string parent = devicePath.substr(0, devicePath.rfind('/'));
        if (parent.size() > 4 && parent.compare(parent.size() - 4, 4, "/tty") == 0)
            parent.resize(parent.size() - 4);
        auto driver = drivers.find(parent);
        if (driver == drivers.end()) {
            std::string target;
            ReadLink(classDir + name + "/device/driver", &target);
            driver = drivers.emplace(parent, target.substr(target.rfind('/') + 1)).first;
        }
        if (driver->second == "serial8250" && (table.Unknown(name) || !Has8250Uart(dev + '/' + name)))
            continue;

        makePort(devicePath);
        found.back().port.VendorId = UsbVendor(sys, devicePath);
    }

    std::stable_sort(found.begin(), found.end(),
                     [](const Found& a, const Found& b) { return PathBefore(a.devicePath, b.devicePath); });
    QList<SerialPort> ports;
    ports.reserve(qsizetype(found.size()));
    for (Found& f : found)
        ports << std::move(f.port);
    return ports;
}

#endif
