// A flash run with a flood of tool output: how fast it reaches the log pane, how much memory
// the program takes for it, and how long the event loop is ever held up meanwhile.
// Run: QT_QPA_PLATFORM=offscreen build/bench/bench_flash/bench_flash [megabytes, default 50] [flat]
// "flat" pours one endless line instead, to tell the cost of the pane's lines from that of the bytes.

#include "platform/LogView.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QMainWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

namespace {

long MaxRssKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// What esptool prints while it writes: progress steps ended by carriage returns, then a
// line of summary for every image.
QByteArray ToolOutput(qint64 bytes) {
    QByteArray out;
    out.reserve(bytes + 4096);
    int image = 0;
    while (out.size() < bytes) {
        const unsigned base = 0x10000u + unsigned(image) * 0x100000u;
        out += "Compressed 1048576 bytes to 613254...\n";
        for (int step = 0; step <= 100; ++step)
            out += QByteArray("Writing at 0x") +
                   QByteArray::number(base + unsigned(step) * 0x2000u, 16).rightJustified(8, '0') + "... (" +
                   QByteArray::number(step) + " %)\r";
        out += "\nWrote 1048576 bytes (613254 compressed) at 0x" + QByteArray::number(base, 16).rightJustified(8, '0') +
               " in 9.1 seconds (effective 921.6 kbit/s)...\nHash of data verified.\n";
        ++image;
    }
    out.truncate(bytes);
    return out;
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    const int megabytes = argc > 1 ? std::max(1, atoi(argv[1])) : 50;
    const qint64 bytes = qint64(megabytes) * 1024 * 1024;
    const bool flat = argc > 2 && QByteArray(argv[2]) == "flat";

    // An empty catalogue beside the program keeps the folder question away.
    QDir().mkpath(QCoreApplication::applicationDirPath() + "/firmwares");
    Seams::SetSelectFolder([] { return FolderItem(); });
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetBeep([] {});

    QTemporaryDir dir;
    const QString outputFile = dir.filePath("tool-output.txt");
    {
        QFile f(outputFile);
        if (!f.open(QIODevice::WriteOnly) || f.write(flat ? QByteArray(bytes, 'x') : ToolOutput(bytes)) != bytes) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(outputFile));
            return 1;
        }
    }

    EspWin* w = EspWin::Instance();
    w->Show();
    while (!w->mWindow.Widget()->windowHandle() || !w->mWindow.Widget()->windowHandle()->isExposed())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    const long rssBefore = MaxRssKb();

    // The tool's stand-in pours the prepared output into the pipe as fast as it is read.
    w->InstallEF.SetText("cat " + FolderItem(outputFile).ShellPath());

    QElapsedTimer sinceTick;
    qint64 longestGapNs = 0;
    int ticks = 0;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    QObject::connect(&heartbeat, &QTimer::timeout, &app, [&] {
        longestGapNs = std::max(longestGapNs, sinceTick.nsecsElapsed());
        sinceTick.restart();
        ++ticks;
    });
    int chunks = 0;
    QObject::connect(&w->esptool, &Shell::DataAvailable, &app, [&] { ++chunks; });
    // Taken at the end of the run: the window goes when the application quits.
    qint64 logged = 0;
    int lines = 0;
    double seconds = 0;
    QElapsedTimer clock;
    QObject::connect(&w->esptool, &Shell::Completed, &app, [&] {
        seconds = double(clock.nsecsElapsed()) / 1e9;
        // The pane's length, not a copy of its text: the copy would be the bench's own stall.
        logged = static_cast<LogView*>(w->rEF.Widget())->Content().Size() - 8;
        lines = w->rEF.LineCount();
        QTimer::singleShot(0, &app, &QCoreApplication::quit);
    });

    clock.start();
    sinceTick.start();
    heartbeat.start(10);
    w->StartPB.Push();
    app.exec();
    heartbeat.stop();

    // The same output through a bare Shell that only reads it: what the pipe and the
    // decoding cost without the log pane.
    {
        QEventLoop loop;
        Shell bare;
        qint64 read = 0;
        QObject::connect(&bare, &Shell::DataAvailable, &loop, [&] { read += bare.ReadAll().size(); });
        QObject::connect(&bare, &Shell::Completed, &loop, [&] {
            read += bare.ReadAll().size();
            loop.quit();
        });
        QElapsedTimer bareClock;
        bareClock.start();
        bare.Execute("cat " + FolderItem(outputFile).ShellPath());
        loop.exec();
        std::printf("bare Shell read:    %.1f MB/s (%lld characters, no log pane)\n",
                    megabytes / (double(bareClock.nsecsElapsed()) / 1e9), static_cast<long long>(read));
    }
    std::printf("tool output:        %d MB in %d chunks\n", megabytes, chunks);
    std::printf("log holds:          %lld characters (%s)\n", static_cast<long long>(logged),
                logged == bytes ? "all of it" : "MISSING OUTPUT");
    std::printf("run time:           %.2f s\n", seconds);
    std::printf("into rEF:           %.1f MB/s\n", megabytes / seconds);
    std::printf("peak memory:        %.0f MB (%.0f MB before the run)\n", MaxRssKb() / 1024.0, rssBefore / 1024.0);
    std::printf("longest stall:      %.1f ms (%d heartbeats of 10 ms)\n", double(longestGapNs) / 1e6, ticks);
    std::printf("log lines:          %d\n", lines);
    return logged == bytes ? 0 : 1;
}
