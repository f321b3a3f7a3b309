#include "platform/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

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
