// A log pane that grows to 200 MB: text arrives in 64 KB pieces through the event loop while a
// 10 ms heartbeat records the longest stall; then the full pane is scrolled, typed into and cleared.
// Run: QT_QPA_PLATFORM=offscreen build/bench/bench_logpane/bench_logpane [megabytes]

#include "platform/LogView.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Resident now, in megabytes.
double RssMegabytes() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(f);
    }
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

long PeakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

double TimedMs(const std::function<void()>& step) {
    QElapsedTimer clock;
    clock.start();
    step();
    QCoreApplication::processEvents();
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    const qint64 megabytes = argc > 1 ? atoll(argv[1]) : 200;
    QDir().mkpath(QCoreApplication::applicationDirPath() + "/firmwares");
    Seams::SetBeep([] {});
    EspWin* w = EspWin::Instance();
    w->Show();

    QByteArray line = "I (1234) wifi: station: 24:0a:c4:00:00:00 join, AID=1, bgn, 40U progress 42 %\r\n";
    QString piece;
    while (piece.size() < 64 * 1024)
        piece += QString::fromLatin1(line);
    const qint64 total = megabytes << 20;

    QEventLoop loop; // not the application's quit: that would close the window
    qint64 appended = 0;
    qint64 worstGap = 0;
    QElapsedTimer beat;
    beat.start();
    QTimer heartbeat;
    QObject::connect(&heartbeat, &QTimer::timeout, &heartbeat, [&] { worstGap = std::max(worstGap, beat.restart()); });
    heartbeat.start(10);
    QTimer feeder;
    qint64 slowestAppendNs = 0;
    const double rssBefore = RssMegabytes();
    double rssAtHundred = 0;
    QObject::connect(&feeder, &QTimer::timeout, &feeder, [&] {
        QElapsedTimer one;
        one.start();
        w->rEF.AppendText(piece);
        w->rEF.SetScrollPosition(10000);
        slowestAppendNs = std::max(slowestAppendNs, one.nsecsElapsed());
        appended += piece.size();
        if (rssAtHundred == 0 && appended >= (qint64(100) << 20))
            rssAtHundred = RssMegabytes();
        if (appended >= total)
            loop.quit();
    });
    QElapsedTimer clock;
    clock.start();
    feeder.start(0);
    loop.exec();
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    feeder.stop();

    std::printf("pane: %lld MB appended in %.1f s (%.1f MB/s), %d lines on screen\n", appended >> 20, seconds,
                double(appended >> 20) / seconds, w->rEF.LineCount());
    std::printf("longest event-loop stall while it grew: %lld ms (slowest append and scroll: %.1f ms)\n", worstGap,
                double(slowestAppendNs) / 1e6);
    std::printf("scroll to the top: %.1f ms, to line 10000: %.1f ms\n", TimedMs([&] { w->rEF.SetScrollPosition(0); }),
                TimedMs([&] { w->rEF.SetScrollPosition(10000); }));
    std::printf("a key typed at the end of the full pane: %.1f ms\n", TimedMs([&] {
                    QKeyEvent press(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a");
                    QApplication::sendEvent(w->rEF.Widget(), &press);
                }));
    // The worst place for a hand edit: the very first line, with everything behind it.
    auto* log = static_cast<LogView*>(w->rEF.Widget());
    std::printf("a key typed at the top of the full pane: %.1f ms\n", TimedMs([&] {
                    log->SetCaret(0);
                    QKeyEvent press(QEvent::KeyPress, Qt::Key_B, Qt::NoModifier, "b");
                    QApplication::sendEvent(log, &press);
                }));
    log->SetCaret(log->Content().Size());
    std::printf("Clear: %.1f ms\n", TimedMs([&] { w->ScanBtn2_Action(); }));
    if (rssAtHundred > 0)
        std::printf("memory at 100 MB held: %.0f MB resident, %.0f MB before the first byte: %.2f MB per MB held\n",
                    rssAtHundred, rssBefore, (rssAtHundred - rssBefore) / 100);
    std::printf("peak memory: %ld MB\n", PeakMegabytes());
    QElapsedTimer settle;
    settle.start();
    while (settle.elapsed() < 1000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    std::printf("resident a second after Clear: %.0f MB\n", RssMegabytes());
    return 0;
}
