#include "platform/Application.h"

#include <QApplication>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

Application::Application(int& argc, char** argv) : mApp(std::make_unique<QApplication>(argc, argv)) {
    QApplication::setApplicationName(QStringLiteral("Corvane"));
#ifdef Q_OS_MACOS
    // The menu bar outlives the window there; "Show Corvane Window" brings a new one.
    QApplication::setQuitOnLastWindowClosed(false);
#endif
}

Application::~Application() = default;

QStringList Application::Documents() const {
    QStringList documents;
    for (const QString& argument : QApplication::arguments().mid(1))
        documents << QDir::current().absoluteFilePath(argument);
    return documents;
}

int Application::Run() {
    return QApplication::exec();
}

SingleInstance::SingleInstance(QString name) : mName(std::move(name)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::DefaultName() {
    return QStringLiteral("corvane-%1").arg(::getuid());
}

bool SingleInstance::HandOver(const QStringList& documents, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(mName);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    // One path a line; an empty hand-over still brings the running window forward.
    QByteArray message;
    for (const QString& path : documents)
        message += path.toUtf8() + '\n';
    message += '\n';
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(timeoutMs);
    return true;
}

bool SingleInstance::Listen(std::function<void(const QString&)> open) {
    mOpen = std::move(open);
    mServer = new QLocalServer(this);
    mServer->setSocketOptions(QLocalServer::UserAccessOption);
    if (!mServer->listen(mName)) {
        // Nobody answered HandOver, so whatever holds the name is left from a crash.
        QLocalServer::removeServer(mName);
        if (!mServer->listen(mName))
            return false;
    }
    connect(mServer, &QLocalServer::newConnection, this, &SingleInstance::Accept);
    return true;
}

void SingleInstance::Accept() {
    while (QLocalSocket* socket = mServer->nextPendingConnection()) {
        // A hand-over is its paths, one a line, closed by an empty line; one without paths
        // only asks for the window.
        auto buffer = std::make_shared<QByteArray>();
        auto paths = std::make_shared<int>(0);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, buffer, paths] {
            buffer->append(socket->readAll());
            qsizetype end;
            while ((end = buffer->indexOf('\n')) >= 0) {
                const QString path = QString::fromUtf8(buffer->left(end));
                buffer->remove(0, end + 1);
                if (!path.isEmpty()) {
                    ++*paths;
                    if (mOpen)
                        mOpen(path);
                    continue;
                }
                const bool windowOnly = *paths == 0;
                *paths = 0;
                if (windowOnly && mOpen)
                    mOpen(QString());
            }
        });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    }
}
