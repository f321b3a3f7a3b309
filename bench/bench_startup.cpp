// Start-up to a shown window: the time from an empty process to Corvane's window on the
// screen with the demo catalogue loaded, first and repeated (close, then "Show Corvane Window").
// Run: QT_QPA_PLATFORM=offscreen build/bench/bench_startup/bench_startup [rounds]

#include "app/App.h"
#include "platform/Dialogs.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QProcess>
#include <QWindow>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double ShowWindowMs() {
    QElapsedTimer clock;
    clock.start();
    TheApp()._FileNewWin_Action(0);
    EspWin* w = EspWin::Existing();
    QWindow* handle = w->mWindow.Widget()->windowHandle();
    while (!handle || !handle->isExposed()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        handle = w->mWindow.Widget()->windowHandle();
    }
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char* argv[]) {
    QElapsedTimer fromStart;
    fromStart.start();
    QApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 20;

    // The demo catalogue beside the program, as a user's first run has it.
    const QString here = QCoreApplication::applicationDirPath();
    QDir(here + "/firmwares").removeRecursively();
    QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, here + "/firmwares"});
    Seams::SetSelectFolder([] { return FolderItem(); });
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetBeep([] {});

    const double first = ShowWindowMs();
    const double processToWindow = double(fromStart.nsecsElapsed()) / 1e6;
    std::vector<double> again;
    for (int i = 0; i < rounds; ++i) {
        EspWin::Existing()->Close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        again.push_back(ShowWindowMs());
    }
    std::sort(again.begin(), again.end());
    std::printf("presets loaded: %d\n", int(EspWin::Existing()->mFirm.size()));
    std::printf("process start to shown window: %.1f ms (first window alone %.1f ms)\n", processToWindow, first);
    std::printf("new window after close, %d rounds: median %.1f ms, worst %.1f ms\n", rounds, again[again.size() / 2],
                again.back());
    QDir(here + "/firmwares").removeRecursively();
    return 0;
}
