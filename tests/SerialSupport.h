#pragma once

// Helpers of the serial monitor tests: the virtual board as a child process, the line
// settings as the kernel holds them, and the CPU time of this process.

#include "TestSupport.h"
#include "app/App.h"
#include "window/EspWin.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QString>

#include <fcntl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

namespace SerialSupport {

inline double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The settings of the line as the session left them, read from a second opening of the device.
inline bool LineSettings(const QString& device, termios* settings) {
    const int fd = ::open(device.toLocal8Bit().constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return false;
    const bool ok = tcgetattr(fd, settings) == 0;
    ::close(fd);
    return ok;
}

// What the virtual board sends for "stream N": numbered log lines of 64 bytes, cut at N.
inline QByteArray StreamText(qint64 count) {
    QByteArray all;
    all.reserve(int(count) + 64);
    for (qint64 line = 0; all.size() < count; ++line)
        all += QString::asprintf("I (%010lld) stream: the quick brown fox jumps over it......\r\n", line).toLatin1();
    all.truncate(int(count));
    return all;
}

// The window, with an empty catalogue beside the program so that no question about a missing
// one (and its alert sound) comes between a test and the beeps it counts.
inline EspWin* NewWindow() {
    QDir().mkpath(TestSupport::AppFolder() + QStringLiteral("/firmwares"));
    return TheApp().Window();
}

// Writes all of bytes to the board's end, as fast as the line drains, letting events run.
inline bool SendAll(const TestSupport::Pty& pty, const QByteArray& bytes) {
    QElapsedTimer clock;
    clock.start();
    qsizetype done = 0;
    while (done < bytes.size()) {
        const auto n = ::write(pty.master, bytes.constData() + done, size_t(bytes.size() - done));
        if (n > 0)
            done += n;
        else
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        if (clock.elapsed() > 120000)
            return false;
    }
    return true;
}

// The first words of the board's boot banner and its last line.
inline const char* const kBannerStart = "ets Jun  8 2016";
inline const char* const kBannerEnd = "virtual board ready\r\n";

// The stand-in ESP32: owns a pseudo-terminal and tells its path on the first line.
class VirtualBoard {
public:
    bool Start() {
        mProcess.setProgram(QStringLiteral(CORVANE_VIRTUALBOARD));
        mProcess.start();
        if (!mProcess.waitForStarted(30000))
            return false;
        QByteArray line;
        while (!line.contains('\n')) {
            if (!mProcess.waitForReadyRead(30000))
                return false;
            line += mProcess.readAllStandardOutput();
        }
        mDevice = QString::fromLocal8Bit(line.left(line.indexOf('\n')));
        return mDevice.startsWith(QStringLiteral("/dev/"));
    }
    // The board is unplugged: its end of the line goes away at once.
    void Unplug() {
        mProcess.kill();
        mProcess.waitForFinished(30000);
    }
    ~VirtualBoard() { Unplug(); }

    QString Device() const { return mDevice; }
    QString Name() const { return mDevice.mid(5); }
    SerialPort Port() const { return SerialPort{Name(), mDevice}; }

private:
    QProcess mProcess;
    QString mDevice;
};

} // namespace SerialSupport
