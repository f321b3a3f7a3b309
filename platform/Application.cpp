#include "platform/Application.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
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

// A folder that no one but this user can put a name into: owned by the user, no access for
// group or others, and itself no link that could lead elsewhere.
bool IsPrivateFolder(const QString& path) {
    struct stat info {};
    if (path.isEmpty() || ::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return false;
    return S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() && (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// The user at the other end of a connected local socket is this one.
bool PeerIsUser(qintptr descriptor) {
    if (descriptor < 0)
        return false;
#if defined(SO_PEERCRED)
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(int(descriptor), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
#else
    uid_t uid = 0;
    gid_t gid = 0;
    return ::getpeereid(int(descriptor), &uid, &gid) == 0 && uid == ::geteuid();
#endif
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

struct SingleInstance::Arrival {
    QByteArray buffer;
    int paths = 0;
};

SingleInstance::SingleInstance(QString path) : mPath(std::move(path)) {
    if (!IsPrivateFolder(QFileInfo(mPath).absolutePath()))
        mPath.clear();
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::DefaultPath() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtime) && IsPrivateFolder(runtime))
        return runtime + QStringLiteral("/corvane");
    // Made here if missing; if someone else's stands in its place, the constructor finds out.
    const QString folder = QDir::tempPath() + QStringLiteral("/corvane-%1").arg(::geteuid());
    ::mkdir(QFile::encodeName(folder).constData(), 0700);
    return folder + QStringLiteral("/corvane");
}

bool SingleInstance::HandOver(const QStringList& documents, int timeoutMs) {
    if (mPath.isEmpty())
        return false;
    QLocalSocket socket;
    socket.connectToServer(mPath);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    // Whoever listens there must be this user: the paths go to no one else.
    if (!PeerIsUser(socket.socketDescriptor())) {
        socket.abort();
        return false;
    }
    // Each path closed by a NUL, which no path holds; an empty one ends the hand-over. One
    // without paths only asks for the window.
    QByteArray message;
    for (const QString& path : documents)
        message += QFile::encodeName(path) + '\0';
    message += '\0';
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(timeoutMs);
    return true;
}

bool SingleInstance::Listen(std::function<void(const QString&)> open) {
    if (mPath.isEmpty())
        return false;
    mOpen = std::move(open);
    mServer = new QLocalServer(this);
    mServer->setSocketOptions(QLocalServer::UserAccessOption);
    if (!mServer->listen(mPath)) {
        // Nobody of ours answered HandOver, so whatever holds the name is left from a crash.
        QLocalServer::removeServer(mPath);
        if (!mServer->listen(mPath))
            return false;
    }
    connect(mServer, &QLocalServer::newConnection, this, &SingleInstance::Accept);
    return true;
}

void SingleInstance::Accept() {
    while (QLocalSocket* socket = mServer->nextPendingConnection()) {
        if (!PeerIsUser(socket->socketDescriptor())) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        auto arrival = std::make_shared<Arrival>();
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, arrival] { Take(socket, *arrival); });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    }
}

// Only gathers: opening a document lets events run, and the socket could go under a handler
// of its own that waits further up the stack.
void SingleInstance::Take(QLocalSocket* socket, Arrival& arrival) {
    arrival.buffer.append(socket->readAll());
    qsizetype start = 0;
    qsizetype end;
    while ((end = arrival.buffer.indexOf('\0', start)) >= 0) {
        const QString path = QFile::decodeName(arrival.buffer.mid(start, end - start));
        start = end + 1;
        if (!path.isEmpty()) {
            ++arrival.paths;
            mArrived << path;
        } else {
            if (arrival.paths == 0)
                mArrived << QString();
            arrival.paths = 0;
        }
    }
    arrival.buffer.remove(0, start);
    if (!mArrived.isEmpty() && !mDeliveryQueued) {
        mDeliveryQueued = true;
        QMetaObject::invokeMethod(this, &SingleInstance::Deliver, Qt::QueuedConnection);
    }
}

void SingleInstance::Deliver() {
    mDeliveryQueued = false;
    // A delivery that lets events run may meet the next one's call: the first goes on with
    // the queue.
    if (mDelivering)
        return;
    mDelivering = true;
    while (!mArrived.isEmpty()) {
        const QString path = mArrived.takeFirst();
        if (mOpen)
            mOpen(path);
    }
    mDelivering = false;
}
