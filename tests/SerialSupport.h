#pragma once

// For the serial monitor's tests and benchmark: the virtual board, the line as the kernel holds it.

#include "TestSupport.h"
#include "app/App.h"

#include <QProcess>

#include <sys/ioctl.h>
#include <sys/resource.h>

namespace SerialSupport {

inline double CpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// The kernel's record of a line (termios2): unlike termios it holds any speed, not only named ones.
struct LineSettings {
    tcflag_t iflag, oflag, cflag, lflag;
    cc_t line, cc[19];
    speed_t ispeed, ospeed;
};

// The line as a session left it, read through an opening of its own (all zero when it can't be).
inline LineSettings LineSettingsOf(const QString& device) {
    LineSettings s{};
    const int fd = ::open(device.toLocal8Bit().constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    ioctl(fd, _IOR('T', 0x2A, LineSettings), &s);
    ::close(fd);
    return s;
}

// What the virtual board sends for "stream N": numbered log lines of 64 bytes, cut at N.
inline QByteArray StreamText(qint64 count) {
    QByteArray all;
    for (qint64 line = 0; all.size() < count; ++line)
        all += QString::asprintf("I (%010lld) stream: the quick brown fox jumps over it......\r\n", line).toLatin1();
    return all.left(count);
}

// The window, with an empty catalogue: no question about a missing one comes between a test and its beeps.
inline EspWin* NewWindow() {
    QDir().mkpath(TestSupport::AppFolder() + "/firmwares");
    return TheApp().Window();
}

// The first words of the board's boot banner, and its last line.
inline const char* const kBannerStart = "ets Jun  8 2016";
inline const char* const kBannerEnd = "virtual board ready\r\n";

// The stand-in ESP32 (virtualboard.cpp): a child process that serves a pseudo-terminal.
class VirtualBoard {
public:
    bool Start() {
        mProcess.start(CORVANE_VIRTUALBOARD, {});
        mProcess.waitForReadyRead(30000); // the path comes in one write
        mDevice = QString::fromLocal8Bit(mProcess.readLine()).trimmed();
        return mDevice.startsWith("/dev/");
    }
    // Unplugged: the board's end of the line goes away at once.
    void Unplug() {
        mProcess.kill();
        mProcess.waitForFinished(30000);
    }
    ~VirtualBoard() { Unplug(); }

    QString Device() const { return mDevice; }
    SerialPort Port() const { return SerialPort{mDevice.mid(5), mDevice}; }

private:
    QProcess mProcess;
    QString mDevice;
};

} // namespace SerialSupport
