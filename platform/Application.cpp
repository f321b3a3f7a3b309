#include "platform/Application.h"

#include <QApplication>
#include <QDir>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kQuitSignals[] = {SIGTERM, SIGHUP, SIGINT};

// The self-pipe: the handler only writes the signal's number, the event loop reads it.
int gQuitPipe[2] = {-1, -1};

void OnQuitSignal(int signo) {
    const int saved = errno;
    const char byte = char(signo);
    [[maybe_unused]] const auto written = ::write(gQuitPipe[1], &byte, 1);
    errno = saved;
}

bool MakeQuitPipe() {
    if (::pipe(gQuitPipe) != 0)
        return false;
    for (const int fd : gQuitPipe) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    return true;
}

void SetQuitHandler(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signo : kQuitSignals)
        ::sigaction(signo, &action, nullptr);
}

} // namespace

Application::Application(int& argc, char** argv) : mApp(std::make_unique<QApplication>(argc, argv)) {
    QApplication::setApplicationName(QStringLiteral("Corvane"));
#ifdef Q_OS_MACOS
    // The menu bar outlives the window there; "Show Corvane Window" brings a new one.
    QApplication::setQuitOnLastWindowClosed(false);
#endif
    if (MakeQuitPipe()) {
        mQuitSignals = new QSocketNotifier(gQuitPipe[0], QSocketNotifier::Read, mApp.get());
        QObject::connect(mQuitSignals, &QSocketNotifier::activated, mApp.get(), [this] { TakeQuitSignal(); });
        SetQuitHandler(OnQuitSignal);
    }
}

Application::~Application() {
    if (!mQuitSignals)
        return;
    SetQuitHandler(SIG_DFL);
    delete mQuitSignals;
    for (int& fd : gQuitPipe) {
        ::close(fd);
        fd = -1;
    }
}

void Application::TakeQuitSignal() {
    char bytes[16];
    while (::read(gQuitPipe[0], bytes, sizeof bytes) > 0) {
    }
    mQuitAsked = true;
    // The menu's quit: the windows close, and with them the tool and the line.
    QCoreApplication::quit();
}

QStringList Application::Documents() const {
    QStringList documents;
    for (const QString& argument : QApplication::arguments().mid(1))
        documents << QDir::current().absoluteFilePath(argument);
    return documents;
}

int Application::Run() {
    // A signal taken during the start-up, before the loop ran, finds no loop to end.
    if (mQuitAsked) {
        QApplication::closeAllWindows();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return 0;
    }
    return QApplication::exec();
}
