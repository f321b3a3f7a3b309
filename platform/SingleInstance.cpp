#include "platform/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0; // SO_NOSIGPIPE on the socket instead
#endif

// A folder that no one but this user can put a name into: owned by the user, no access for
// group or others, and itself no link that could lead elsewhere.
bool IsPrivateFolder(const QString& path) {
    struct stat info {};
    if (path.isEmpty() || ::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return false;
    return S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() && (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// The user at the other end of a connected local socket is this one.
bool PeerIsUser(int descriptor) {
#if defined(SO_PEERCRED)
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
#else
    uid_t uid = 0;
    gid_t gid = 0;
    return ::getpeereid(descriptor, &uid, &gid) == 0 && uid == ::geteuid();
#endif
}

bool Address(const QString& path, sockaddr_un& address) {
    const QByteArray name = QFile::encodeName(path);
    address = {};
    if (name.isEmpty() || size_t(name.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    return true;
}

// A descriptor that no program the tool starts inherits; a non-blocking one for the event loop.
int Prepared(int fd, bool nonBlocking) {
    if (fd >= 0) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        if (nonBlocking)
            ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
#ifdef SO_NOSIGPIPE
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
    }
    return fd;
}

int Socket(bool nonBlocking) {
    return Prepared(::socket(AF_UNIX, SOCK_STREAM, 0), nonBlocking);
}

bool Interrupted() {
    return errno == EINTR;
}

} // namespace

// One connection of a later launch: the bytes so far, and the descriptor it closes on going.
struct SingleInstance::Arrival {
    explicit Arrival(int descriptor) : fd(descriptor) {}
    ~Arrival() { ::close(fd); }
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;

    int fd;
    QByteArray buffer;
    int paths = 0;
};

SingleInstance::SingleInstance(QString path) : mPath(std::move(path)) {
    if (!IsPrivateFolder(QFileInfo(mPath).absolutePath()))
        mPath.clear();
}

SingleInstance::~SingleInstance() {
    if (mListener < 0)
        return;
    delete mListening;
    ::close(mListener);
    ::unlink(QFile::encodeName(mPath).constData());
}

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
    sockaddr_un address;
    if (mPath.isEmpty() || !Address(mPath, address))
        return false;
    const int fd = Socket(false);
    if (fd < 0)
        return false;
    // Bounds the connect, should the running one's queue be full, and each send.
    const timeval bound{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    // Whoever listens there must be this user: the paths go to no one else.
    bool handed = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && PeerIsUser(fd);
    // Each path closed by a NUL, which no path holds; an empty one ends the hand-over. One
    // without paths only asks for the window.
    QByteArray message;
    for (const QString& path : documents)
        message += QFile::encodeName(path) + '\0';
    message += '\0';
    for (qsizetype sent = 0; handed && sent < message.size();) {
        const auto n = ::send(fd, message.constData() + sent, size_t(message.size() - sent), kNoSignal);
        if (n > 0)
            sent += n;
        else
            handed = n < 0 && Interrupted();
    }
    ::close(fd);
    return handed;
}

bool SingleInstance::Listen(std::function<void(const QString&)> open) {
    sockaddr_un address;
    if (mPath.isEmpty() || mListener >= 0 || !Address(mPath, address))
        return false;
    const int fd = Socket(true);
    if (fd < 0)
        return false;
    const auto bind = [&] { return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0; };
    // Nobody of ours answered HandOver, so whatever holds the name is left from a crash.
    const bool bound = bind() || (errno == EADDRINUSE && ::unlink(address.sun_path) == 0 && bind());
    if (!bound || ::chmod(address.sun_path, S_IRUSR | S_IWUSR) != 0 || ::listen(fd, 50) != 0) {
        ::close(fd);
        return false;
    }
    mListener = fd;
    mOpen = std::move(open);
    mListening = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(mListening, &QSocketNotifier::activated, this, &SingleInstance::Accept);
    return true;
}

void SingleInstance::Accept() {
    for (;;) {
        const int fd = Prepared(::accept(mListener, nullptr, nullptr), true);
        if (fd < 0) {
            if (Interrupted())
                continue;
            return;
        }
        auto arrival = std::make_shared<Arrival>(fd);
        if (!PeerIsUser(fd))
            continue;
        // The notifier holds the arrival: the descriptor closes when the notifier goes.
        auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, [this, notifier, arrival] { Take(notifier, *arrival); });
    }
}

// Only gathers: opening a document lets events run, and the connection could go under a
// handler of its own that waits further up the stack.
void SingleInstance::Take(QSocketNotifier* notifier, Arrival& arrival) {
    char chunk[4096];
    qsizetype n = 0;
    // Bounded, so one talkative launch can't hold the event loop; the notifier fires again.
    for (int i = 0; i < 64 && (n = ::read(arrival.fd, chunk, sizeof chunk)) > 0; ++i)
        arrival.buffer.append(chunk, n);
    const bool ended = n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && !Interrupted());
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
    if (ended) {
        notifier->setEnabled(false);
        notifier->deleteLater();
    }
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
