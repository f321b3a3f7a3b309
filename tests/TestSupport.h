#pragma once

// Shared helpers for the test programs: the folder beside the program, files on disk,
// the seams, pseudo-terminals and a fresh window.

#include "platform/FolderItem.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace TestSupport {

// The application folder of a test program is the folder that holds it.
inline QString AppFolder() {
    return QCoreApplication::applicationDirPath();
}

inline bool WriteFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(bytes) == bytes.size();
}

inline QByteArray ReadFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Clears what a test may lay beside the program, on entry and on leaving.
class AppFolderLayout {
public:
    AppFolderLayout() { Clear(); }
    ~AppFolderLayout() { Clear(); }
    AppFolderLayout(const AppFolderLayout&) = delete;
    AppFolderLayout& operator=(const AppFolderLayout&) = delete;

    QString Path(const QString& relative) const { return AppFolder() + QLatin1Char('/') + relative; }

    static void Clear() {
        for (const char* name : {"firmwares", "tools", "esptool", "Corvane.app", "Other.app"}) {
            const QString p = AppFolder() + QLatin1Char('/') + QLatin1String(name);
            QFileInfo info(p);
            if (info.isSymLink() || info.isFile())
                QFile::remove(p);
            else if (info.isDir())
                QDir(p).removeRecursively();
        }
    }
};

// Answers every question with cancel and counts what was asked, until it goes.
class SeamRecorder {
public:
    SeamRecorder() {
        Seams::SetBeep([this] { ++beeps; });
        Seams::SetMsgBox([this](const QString& text) { messages << text; });
        Seams::SetSelectFolder([this] {
            ++folderQuestions;
            return folderAnswer;
        });
        Seams::SetOpenDialog([this](const OpenDialog& dialog) {
            lastDialog.Title = dialog.Title;
            lastDialog.PromptText = dialog.PromptText;
            lastDialog.Filter = dialog.Filter;
            lastDialog.InitialDirectory = dialog.InitialDirectory;
            ++openQuestions;
            return openAnswer;
        });
        Seams::SetSerialPorts([this] { return ports; });
    }
    ~SeamRecorder() { Seams::Reset(); }
    SeamRecorder(const SeamRecorder&) = delete;
    SeamRecorder& operator=(const SeamRecorder&) = delete;

    int beeps = 0;
    QStringList messages;
    int folderQuestions = 0;
    FolderItem folderAnswer;
    int openQuestions = 0;
    FolderItem openAnswer;
    OpenDialog lastDialog;
    QList<SerialPort> ports;
};

// A pseudo-terminal: the slave stands for the board's USB serial port, the master is the board.
struct Pty {
    int master = -1;
    QString slavePath;

    bool Open() {
        int slave = -1;
        char name[256] = {};
        if (openpty(&master, &slave, name, nullptr, nullptr) != 0)
            return false;
        termios t{};
        tcgetattr(slave, &t);
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
        ::close(slave);
        slavePath = QString::fromLocal8Bit(name);
        fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
        return true;
    }
    // The short name the port list shows, e.g. "pts/3".
    QString Name() const { return slavePath.mid(5); }
    SerialPort Port() const { return SerialPort{Name(), slavePath}; }
    // Writes all of it, waiting for the line to take what the pty's buffer can't hold yet;
    // gives up when nobody has read anything for ten seconds. True when all of it went.
    bool Send(const QByteArray& bytes) const {
        qsizetype sent = 0;
        QElapsedTimer stuck;
        stuck.start();
        while (sent < bytes.size()) {
            const auto n = ::write(master, bytes.constData() + sent, size_t(bytes.size() - sent));
            if (n > 0) {
                sent += n;
                stuck.restart();
            } else if ((n < 0 && errno != EAGAIN && errno != EINTR) || stuck.elapsed() > 10000) {
                return false;
            } else {
                QTest::qWait(1);
            }
        }
        return true;
    }
    QByteArray Receive() const {
        QByteArray all;
        char buf[4096];
        for (;;) {
            const auto n = ::read(master, buf, sizeof buf);
            if (n <= 0)
                break;
            all.append(buf, n);
        }
        return all;
    }
    void Close() {
        if (master >= 0)
            ::close(master);
        master = -1;
    }
    ~Pty() { Close(); }
};

// Closes and disposes of any window, so that the next Instance() makes a fresh one.
inline void DisposeWindow() {
    if (EspWin* w = EspWin::Existing())
        w->Close();
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }
}

} // namespace TestSupport
