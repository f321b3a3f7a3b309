// The serial monitor against a board that talks as fast as the line takes it: the virtual board
// streams log text through a pseudo-terminal into an open session of Corvane's window, and then
// the same stream goes to pyserial's miniterm as the peer, for comparison.
// Run: QT_QPA_PLATFORM=offscreen build/bench/bench_serial/bench_serial [megabytes]
// Or on the flood the peer CuteCom takes (/work/shared/tools/ptyflood.py, or $PTYFLOOD):
//      build/bench/bench_serial/bench_serial ptyflood [bytes, default 10485760]

#include "SerialSupport.h"

#include "platform/LogView.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>

namespace {

struct Figures {
    qint64 sent = 0;
    qint64 received = 0;
    bool exact = false;
    double seconds = 0;
    double cpuSeconds = 0;
    double longestStallMs = -1;
};

// A 10 ms timer that notes the longest gap between two of its ticks: how long the loop was held.
class Heartbeat {
public:
    Heartbeat() {
        mTimer.setInterval(10);
        QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] {
            mLongest = std::max(mLongest, mBeat.nsecsElapsed());
            mBeat.restart();
        });
    }
    void start() {
        mBeat.start();
        mTimer.start();
    }
    void stop() { mTimer.stop(); }
    double LongestMs() const { return double(mLongest) / 1e6; }

private:
    QElapsedTimer mBeat;
    qint64 mLongest = 0;
    QTimer mTimer;
};

void Print(const char* who, const Figures& f) {
    std::printf("%-22s sent %lld  received %lld  %s  %.2f MB/s  %.2f s  CPU %.2f s", who, f.sent, f.received,
                f.exact ? "identical" : "DIFFERENT", double(f.received) / 1e6 / f.seconds, f.seconds, f.cpuSeconds);
    if (f.longestStallMs >= 0)
        std::printf("  longest event-loop stall %.1f ms", f.longestStallMs);
    std::printf("\n");
}

Figures ThroughCorvane(qint64 size) {
    Figures f;
    f.sent = size;
    SerialSupport::VirtualBoard board;
    if (!board.Start()) {
        std::fprintf(stderr, "the virtual board did not start\n");
        return f;
    }
    Seams::SetSerialPorts([port = board.Port()] { return QList<SerialPort>{port}; });
    EspWin* w = SerialSupport::NewWindow();
    w->Show();
    w->ConnectPB.Push();
    if (!w->mConnected) {
        std::fprintf(stderr, "no session on %s\n", qPrintable(board.Device()));
        return f;
    }
    while (!w->rEF.Text().endsWith(SerialSupport::kBannerEnd))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    w->ScanBtn2.Push();

    Heartbeat heartbeat;

    const double cpuBefore = SerialSupport::CpuSeconds();
    QElapsedTimer clock;
    clock.start();
    heartbeat.start();
    w->MySerial.Write(QStringLiteral("stream %1\r").arg(size));
    qint64 lastSize = 0;
    QElapsedTimer quiet;
    quiet.start();
    // The pane's length, not its text: a copy of the text on every pass would be the bench's own cost.
    const LogText& held = static_cast<LogView*>(w->rEF.Widget())->Content();
    while (held.Size() < size && quiet.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
        if (held.Size() != lastSize) {
            lastSize = held.Size();
            quiet.restart();
        }
    }
    f.seconds = double(clock.nsecsElapsed()) / 1e9;
    f.cpuSeconds = SerialSupport::CpuSeconds() - cpuBefore;
    heartbeat.stop();
    f.longestStallMs = heartbeat.LongestMs();
    f.received = w->rEF.Text().size();
    f.exact = w->rEF.Text() == QString::fromLatin1(SerialSupport::StreamText(size));
    w->ConnectPB.Push();
    w->Close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return f;
}

double ProcessCpuSeconds(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // Fields after the command name, which is in parentheses and may hold blanks.
    const auto close = text.rfind(')');
    if (close == std::string::npos)
        return 0;
    std::istringstream rest(text.substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && rest >> field; ++i) {
        if (i == 14)
            utime = std::stoull(field);
        if (i == 15)
            stime = std::stoull(field);
    }
    return double(utime + stime) / double(sysconf(_SC_CLK_TCK));
}

// Reads the console until it has count bytes or falls quiet; returns what came.
QByteArray ReadConsole(int console, qint64 count, int quietMs) {
    QByteArray got;
    char buf[65536];
    while (got.size() < count) {
        pollfd p{console, POLLIN, 0};
        if (poll(&p, 1, quietMs) <= 0)
            break;
        const ssize_t n = read(console, buf, sizeof buf);
        if (n <= 0)
            break;
        got.append(buf, int(n));
    }
    return got;
}

Figures ThroughMiniterm(qint64 size) {
    Figures f;
    f.sent = size;
    SerialSupport::VirtualBoard board;
    if (!board.Start())
        return f;

    // miniterm wants a terminal for its console: it gets a raw one, so the bytes pass unchanged.
    termios raw{};
    cfmakeraw(&raw);
    int console = -1;
    const pid_t pid = forkpty(&console, nullptr, &raw, nullptr);
    if (pid < 0)
        return f;
    if (pid == 0) {
        const std::string device = board.Device().toStdString();
        execl("/usr/bin/python3", "python3", "-m", "serial.tools.miniterm", "--raw", "-q", "--eol", "CR",
              device.c_str(), "115200", static_cast<char*>(nullptr));
        _exit(127);
    }

    // The board's banner comes as soon as miniterm opens the port.
    const QByteArray banner = ReadConsole(console, qstrlen(SerialSupport::kBannerStart), 20000);
    ReadConsole(console, 1 << 20, 300);
    if (!banner.startsWith(SerialSupport::kBannerStart)) {
        std::fprintf(stderr, "miniterm did not come up: %s\n", banner.constData());
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        return f;
    }

    const double cpuBefore = ProcessCpuSeconds(pid);
    QElapsedTimer clock;
    clock.start();
    const QByteArray command = "stream " + QByteArray::number(size) + "\r";
    [[maybe_unused]] auto n = write(console, command.constData(), size_t(command.size()));
    const QByteArray got = ReadConsole(console, size, 10000);
    f.seconds = double(clock.nsecsElapsed()) / 1e9;
    f.cpuSeconds = ProcessCpuSeconds(pid) - cpuBefore;
    f.received = got.size();
    f.exact = got == SerialSupport::StreamText(size);

    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(console);
    return f;
}

long ResidentKb() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long kb = 0;
    while (status >> word)
        if (word == "VmRSS:" && status >> kb)
            break;
    return kb;
}

// The same flood CuteCom is measured on: ptyflood.py owns the line and pours its boot log as soon
// as it is told to go.
int ThroughCorvaneOnPtyflood(qint64 size) {
    const QByteArray script =
        qEnvironmentVariableIsSet("PTYFLOOD") ? qgetenv("PTYFLOOD") : QByteArray("/work/shared/tools/ptyflood.py");
    QTemporaryDir work;
    const QString go = work.filePath("go");
    const QString stop = work.filePath("stop");
    QProcess flood;
    flood.start("/usr/bin/python3", {QString::fromLocal8Bit(script), QString::number(size), go, stop});
    if (!flood.waitForReadyRead(10000)) {
        std::fprintf(stderr, "ptyflood did not start\n");
        return 1;
    }
    const QString device = QString::fromLocal8Bit(flood.readLine()).trimmed();
    Seams::SetSerialPorts([device] { return QList<SerialPort>{{device.section('/', -1), device}}; });
    EspWin* w = SerialSupport::NewWindow();
    w->Show();
    w->ConnectPB.Push();
    if (!w->mConnected) {
        std::fprintf(stderr, "no session on %s\n", qPrintable(device));
        return 1;
    }
    const LogText& held = static_cast<LogView*>(w->rEF.Widget())->Content();
    // Each arrival timed on its own: the part of a stall that is the pane's, not the machine's.
    qint64 slowestArrivalNs = 0;
    QObject::disconnect(&w->MySerial, &Serial::DataAvailable, w, &EspWin::MySerial_DataAvailable);
    QObject::connect(&w->MySerial, &Serial::DataAvailable, w, [w, &slowestArrivalNs] {
        QElapsedTimer one;
        one.start();
        w->MySerial_DataAvailable();
        slowestArrivalNs = std::max(slowestArrivalNs, one.nsecsElapsed());
    });
    Heartbeat heartbeat;
    const long rssBefore = ResidentKb();
    const double cpuBefore = SerialSupport::CpuSeconds();
    QElapsedTimer clock;
    clock.start();
    heartbeat.start();
    QFile(go).open(QIODevice::WriteOnly);
    QElapsedTimer quiet;
    quiet.start();
    qint64 lastSize = 0;
    while (held.Size() < size && quiet.elapsed() < 5000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
        if (held.Size() != lastSize) {
            lastSize = held.Size();
            quiet.restart();
        }
    }
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    const double cpu = SerialSupport::CpuSeconds() - cpuBefore;
    heartbeat.stop();
    const long rssAfter = ResidentKb();
    const QByteArray line = "I (123456) corvane-flood: 0123456789 abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOP\r\n";
    QByteArray expected;
    expected.reserve(size + line.size());
    while (expected.size() < size)
        expected += line;
    expected.truncate(size);
    // Piece by piece: a copy of the whole as one string would swell the figures.
    bool exact = held.Size() == size;
    for (qint64 at = 0; exact && at < size; at += 1 << 20)
        exact = held.Mid(at, 1 << 20) == QLatin1String(expected.mid(at, 1 << 20));
    std::printf("corvane on ptyflood: %lld of %lld bytes (%lld lost, %s)  %.2f MB/s  %.2f s  CPU %.2f s  "
                "longest event-loop stall %.1f ms (slowest arrival %.1f ms)  RSS %ld KB -> %ld KB\n",
                static_cast<long long>(held.Size()), static_cast<long long>(size),
                static_cast<long long>(size - held.Size()), exact ? "identical" : "DIFFERENT",
                double(held.Size()) / 1e6 / seconds, seconds, cpu, heartbeat.LongestMs(),
                double(slowestArrivalNs) / 1e6, rssBefore, rssAfter);
    QFile(stop).open(QIODevice::WriteOnly);
    flood.waitForFinished(10000);
    w->ConnectPB.Push();
    w->Close();
    return exact ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc > 1 && QByteArray(argv[1]) == "ptyflood") {
        Seams::SetMsgBox([](const QString&) {});
        Seams::SetBeep([] { std::fprintf(stderr, "beep\n"); });
        QDir(QCoreApplication::applicationDirPath() + "/firmwares").removeRecursively();
        const int result = ThroughCorvaneOnPtyflood(argc > 2 ? std::max(1LL, atoll(argv[2])) : 10485760);
        QDir(QCoreApplication::applicationDirPath() + "/firmwares").removeRecursively();
        return result;
    }
    const qint64 megabytes = argc > 1 ? std::max(1, atoi(argv[1])) : 10;
    const qint64 size = megabytes * 1024 * 1024;

    QDir(QCoreApplication::applicationDirPath() + "/firmwares").removeRecursively();
    Seams::SetSelectFolder([] { return FolderItem(); });
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetBeep([] { std::fprintf(stderr, "beep\n"); });

    std::printf("%lld bytes of log text through a pseudo-terminal, as fast as the reader takes them\n", size);
    Print("corvane (monitor pane)", ThroughCorvane(size));
    Print("pyserial miniterm", ThroughMiniterm(size));
    std::printf("for scale: a line at 921600 baud carries 0.09 MB/s\n");
    QDir(QCoreApplication::applicationDirPath() + "/firmwares").removeRecursively();
    return 0;
}
