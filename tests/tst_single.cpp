// One Corvane per user: a later launch hands its documents over a socket only this user reaches.
#include "TestSupport.h"
#include "platform/SingleInstance.h"
#include <QProcess>
#include <csignal>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>

using namespace TestSupport;
namespace {
constexpr int kBound = 60000; // generous: nothing here measures speed
// Another user (as root, folder modes stop nobody) at the socket: a squatter, bound first, tells what
// its first caller sent; a caller sends a whole hand-over. Perl is on every Debian system.
void OtherUser(QProcess& perl, const QString& socket, bool listen) {
    const char* script =
        listen ? "$s = IO::Socket::UNIX->new(Local => $ARGV[0]) or die; ($(, $)) = (65534, '65534 65534');"
                 "($<, $>) = (65534, 65534); $s->listen(5) or die; $| = 1; print qq(ready\\n);"
                 "$c = $s->accept; local $/; print length(<$c> // '')"
               : "($(, $)) = (65534, '65534 65534'); ($<, $>) = (65534, 65534);"
                 "print {IO::Socket::UNIX->new(Peer => $ARGV[0]) or die} qq(/tmp/not yours.json\\0\\0)";
    perl.start("perl", {"-MIO::Socket::UNIX", "-e", script, socket});
}

bool Mode(const QString& path, mode_t mode, bool other = false) {
    const QByteArray name = QFile::encodeName(path);
    return ::chmod(name.constData(), mode) == 0 && (!other || ::chown(name.constData(), 65534, 65534) == 0);
}

// A launch that finds a running Corvane hands over and ends at once; so does one on a quit signal.
bool Ends(QProcess& process, int quitSignal = 0) {
    if (quitSignal)
        ::kill(pid_t(process.processId()), quitSignal);
    return process.waitForFinished(kBound) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
} // namespace

class TstSingle : public QObject {
    Q_OBJECT
    QTemporaryDir mRuntime; // private, as a runtime folder is
    QString Socket() const { return mRuntime.filePath("corvane"); }
private slots:
    // The socket lies in a folder only this user can reach: the runtime folder when it is private,
    // else a private folder of the temporary folder, made on first use; someone else's is never used.
    void defaultPath_data() {
        QTest::addColumn<QString>("runtime");
        QTest::addColumn<bool>("used");
        QTest::newRow("private") << "private" << true;
        QTest::newRow("open to others") << "open" << false;
        QTest::newRow("of another user") << "other" << false;
        QTest::newRow("relative") << "relative" << false;
        QTest::newRow("none") << "" << false;
    }

    void defaultPath() {
        QFETCH(QString, runtime);
        QFETCH(bool, used);
        QTemporaryDir base;
        const QString folder = base.filePath("run"), temp = base.filePath("tmp");
        const QString own = QString("%1/corvane-%2").arg(temp).arg(::geteuid());
        const QByteArray oldRuntime = qgetenv("XDG_RUNTIME_DIR"), oldTemp = qgetenv("TMPDIR");
        const QString oldCurrent = QDir::currentPath();
        QVERIFY(QDir().mkpath(folder) && QDir().mkpath(temp) && QDir::setCurrent(base.path()));
        QVERIFY(Mode(folder, runtime == "open" ? 0755 : 0700, runtime == "other"));
        qputenv("TMPDIR", QFile::encodeName(temp));
        qputenv("XDG_RUNTIME_DIR", runtime == "relative" ? QByteArray("run") : QFile::encodeName(folder));
        if (runtime.isEmpty())
            qunsetenv("XDG_RUNTIME_DIR");

        const QString path = SingleInstance::DefaultPath();
        QCOMPARE(QFileInfo(path).absolutePath(), used ? folder : own);
        QCOMPARE(SingleInstance(path).Path(), path);
        struct stat made {};
        QCOMPARE(::lstat(QFile::encodeName(own).constData(), &made) == 0 && (made.st_mode & 07777) == 0700, !used);
        QVERIFY(QDir().mkpath(own) && Mode(own, 0700, true));
        QCOMPARE(SingleInstance(SingleInstance::DefaultPath()).Path().isEmpty(), !used);

        qputenv("XDG_RUNTIME_DIR", oldRuntime), qputenv("TMPDIR", oldTemp), QDir::setCurrent(oldCurrent);
        if (oldRuntime.isNull())
            qunsetenv("XDG_RUNTIME_DIR");
        if (oldTemp.isNull())
            qunsetenv("TMPDIR");
    }

    // Paths arrive whole and in order, a line break in one too; a launch without any asks for the window
    // with "". Another user who can reach the socket is not heard; a folder others may enter is not used.
    void handOver() {
        QStringList received;
        SingleInstance running(Socket());
        QProcess other;
        QVERIFY(!SingleInstance(Socket()).HandOver({"/tmp/x.json"}) &&
                running.Listen([&](const QString& path) { received << path; }));
        QVERIFY(Mode(mRuntime.path(), 0711) && Mode(Socket(), 0777) && SingleInstance(Socket()).Path().isEmpty());
        OtherUser(other, Socket(), false);
        const QStringList paths = {QString::fromUtf8("/home/me/My ファーム/ü.bin"), "/tmp/two\nlines.json",
                                   "/tmp/folder"};
        QVERIFY(Ends(other) && Mode(mRuntime.path(), 0700) && SingleInstance(Socket()).HandOver(paths) &&
                SingleInstance(Socket()).HandOver({}));
        QTRY_COMPARE(received, paths + QStringList{QString()});
    }

    // The real program serves in a squatter's place, sending it nothing; later launches hand over and
    // end; a quit signal ends it and its socket; a socket left by a killed run is taken over.
    void realProcesses() {
        const QString app = mRuntime.filePath("app"), drop = mRuntime.filePath("drop dir"), program = app + "/corvane";
        QVERIFY(QDir().mkpath(app + "/firmwares") && QFile::copy(CORVANE_EXE, program) &&
                QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner));
        QStringList images = {drop + "/image0.bin"};
        for (int i = 0; i < 100; ++i) {
            QVERIFY(WriteFile(QString("%1/firmwares/base%2.json").arg(app).arg(i),
                              "[\n{\n\"name\": \"M\",\n\"commands\": [\n\"x\"\n]\n}\n]\n"));
            QVERIFY(WriteFile(QString("%1/image%2.bin").arg(drop).arg(i), QByteArray(128, '\xe9')));
            images << QString("image%1.bin").arg(i + 1);
        }
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen"), env.insert("XDG_RUNTIME_DIR", mRuntime.path());
        QProcess run[7], squatter;
        const auto launch = [&](int i, const QStringList& arguments) {
            run[i].setProcessEnvironment(env), run[i].setWorkingDirectory(drop);
            run[i].setProcessChannelMode(QProcess::ForwardedErrorChannel), run[i].start(program, arguments);
        };
        // The window's start-up reads the catalogue: the window was made, and with it shown.
        OtherUser(squatter, Socket(), true);
        const int watch = ::inotify_init1(IN_CLOEXEC);
        QVERIFY(squatter.waitForReadyRead(kBound) && squatter.readAll() == "ready\n");
        QVERIFY(::inotify_add_watch(watch, QFile::encodeName(app + "/firmwares").constData(), IN_OPEN) >= 0);
        launch(0, {});
        pollfd opened{watch, POLLIN, 0};
        QVERIFY(::poll(&opened, 1, kBound) == 1 && ::close(watch) == 0 && Ends(squatter) && squatter.readAll() == "0");
        QTRY_VERIFY_WITH_TIMEOUT(SingleInstance(Socket()).HandOver({}), kBound);
        // Relative paths are the launch folder's: a package for each image.
        launch(1, images.mid(0, 50)), launch(2, images.mid(50, 50)), launch(3, {});
        QVERIFY(Ends(run[1]) && Ends(run[2]) && Ends(run[3]));
        for (int i = 0; i < 100; ++i)
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(QString("%1/firmwares/image%2.json").arg(app).arg(i)), kBound);
        QVERIFY(run[0].state() == QProcess::Running && Ends(run[0], SIGTERM) && !QFileInfo::exists(Socket()));
        launch(4, {});
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(Socket()), kBound);
        run[4].kill();
        QVERIFY(run[4].waitForFinished(kBound) && QFileInfo::exists(Socket()));
        launch(5, {});
        QTRY_VERIFY_WITH_TIMEOUT(SingleInstance(Socket()).HandOver({}), kBound);
        launch(6, {});
        QVERIFY(Ends(run[6]) && run[5].state() == QProcess::Running && Ends(run[5], SIGHUP));
    }
};

QTEST_GUILESS_MAIN(TstSingle)
#include "tst_single.moc"
