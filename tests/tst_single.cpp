#include "TestSupport.h"

#include "platform/Application.h"
#include "platform/SingleInstance.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace TestSupport;

namespace {

// Generous: a start-up on a loaded machine may take long, and nothing here measures speed.
constexpr int kBound = 60000;
// Someone else on the machine. We run as root, so folder modes stop nobody: the program has
// to tell by owners and user ids.
constexpr uid_t kOtherUser = 65534;

bool Address(const QString& path, sockaddr_un& address) {
    const QByteArray name = QFile::encodeName(path);
    address = sockaddr_un{};
    if (name.size() >= qsizetype(sizeof address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), name.size());
    return true;
}

// A socket file at the path with nobody behind it, as a killed run leaves it.
bool MakeStaleSocket(const QString& path) {
    sockaddr_un address;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0 || !Address(path, address))
        return false;
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return bound;
}

bool MakePrivateFolder(const QString& path) {
    return QDir().mkpath(path) && QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

bool IsSocket(const QString& path) {
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISSOCK(info.st_mode);
}

// Another user who got to the socket's path first: bound there, then listening as that user,
// so that only the user id at the other end tells it apart. It reports what it was sent.
class Squatter {
public:
    Squatter() = default;
    Squatter(const Squatter&) = delete;
    Squatter& operator=(const Squatter&) = delete;
    ~Squatter() {
        if (mPid > 0) {
            ::kill(mPid, SIGKILL);
            ::waitpid(mPid, nullptr, 0);
        }
        if (mReport >= 0)
            ::close(mReport);
    }

    bool Start(const QString& path) {
        sockaddr_un address;
        int report[2];
        if (!Address(path, address) || ::pipe(report) != 0)
            return false;
        mPid = ::fork();
        if (mPid == 0) {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
                ::setgid(kOtherUser) != 0 || ::setuid(kOtherUser) != 0 || ::listen(fd, 8) != 0)
                ::_exit(1);
            [[maybe_unused]] auto ready = ::write(report[1], "R", 1);
            const int peer = ::accept(fd, nullptr, nullptr);
            qint64 total = 0;
            char buffer[4096];
            for (ssize_t got; peer >= 0 && (got = ::read(peer, buffer, sizeof buffer)) > 0;)
                total += got;
            [[maybe_unused]] auto told = ::write(report[1], &total, sizeof total);
            ::_exit(0);
        }
        ::close(report[1]);
        mReport = report[0];
        char ready = 0;
        return mPid > 0 && Readable() && ::read(mReport, &ready, 1) == 1 && ready == 'R';
    }

    // The bytes of the first connection once it has ended, or -1 when none came.
    qint64 Received() {
        qint64 total = -1;
        if (!Readable() || ::read(mReport, &total, sizeof total) != sizeof total)
            return -1;
        return total;
    }

private:
    bool Readable() const {
        pollfd report{mReport, POLLIN, 0};
        return ::poll(&report, 1, kBound) == 1;
    }

    pid_t mPid = -1;
    int mReport = -1;
};

// Each run of the real program gets a runtime folder of its own, so that no other Corvane
// of this user meets these ones.
void Launch(QProcess& process, const QString& program, const QStringList& arguments, const QString& runtime,
            const QString& workingFolder = QString()) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("XDG_RUNTIME_DIR", runtime);
    env.insert("TMPDIR", runtime);
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (!workingFolder.isEmpty())
        process.setWorkingDirectory(workingFolder);
    process.start(program, arguments);
}

// The program's socket in its runtime folder.
QString SocketIn(const QString& runtime) {
    return runtime + "/corvane";
}

// A launch that finds a running Corvane gives it its documents and ends at once, with success.
bool EndedHandingOver(QProcess& process) {
    QElapsedTimer clock;
    clock.start();
    while (process.state() != QProcess::NotRunning && clock.elapsed() < kBound)
        QTest::qWait(20);
    return process.state() == QProcess::NotRunning && process.error() == QProcess::UnknownError &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// A signal as the session's end or `kill` sends it: the program quits as from its menu.
bool EndedBySignal(QProcess& process, int signo) {
    ::kill(pid_t(process.processId()), signo);
    return process.waitForFinished(kBound) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// A copy of the program in a folder of its own, so that its firmware folder is the test's.
QString CopyProgram(const QString& app) {
    const QString program = app + "/corvane";
    if (!QDir().mkpath(app + "/firmwares") || !QFile::copy(CORVANE_EXE, program) ||
        !QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeOwner))
        return QString();
    return program;
}

QByteArray Manifest(const QString& name) {
    return "[\n{\n\"name\": \"" + name.toUtf8() + "\",\n\"commands\": [\n\"x\"\n]\n}\n]\n";
}

} // namespace

class TstSingle : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void handOver();
    void staleSocket();
    void untrusted_data();
    void untrusted();
    void defaultPath_data();
    void defaultPath();
    void otherUserIsNotHeard();
    void secondLaunchHandsOver();
    void twoRealProcesses();
    void squattedSocket();

private:
    QString Socket() const { return SocketIn(mRuntime->path()); }

    std::unique_ptr<QTemporaryDir> mRuntime;
    QByteArray mOldRuntime;
    QByteArray mOldTemp;
    QString mOldCurrent;
};

void TstSingle::init() {
    // A temporary folder is made private, as a runtime folder is.
    mRuntime = std::make_unique<QTemporaryDir>();
    QVERIFY(mRuntime->isValid());
    mOldRuntime = qgetenv("XDG_RUNTIME_DIR");
    mOldTemp = qgetenv("TMPDIR");
    mOldCurrent = QDir::currentPath();
}

void TstSingle::cleanup() {
    for (const auto& [name, value] : {std::pair{"XDG_RUNTIME_DIR", mOldRuntime}, std::pair{"TMPDIR", mOldTemp}}) {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    QDir::setCurrent(mOldCurrent);
    mRuntime.reset();
}

void TstSingle::handOver() {
    QStringList received;
    int calls = 0;

    SingleInstance nobody(Socket());
    QVERIFY(!nobody.HandOver({"/tmp/x.json"}));

    SingleInstance running(Socket());
    QVERIFY(running.Listen([&](const QString& path) {
        received << path;
        ++calls;
    }));

    // Paths arrive whole and in order: blanks, non-ASCII letters, a line break, several at once.
    const QStringList paths = {"/home/me/firmware/a.json", "/home/me/My Firmware/b c.crvj",
                               QString::fromUtf8("/home/me/ファーム/ü.bin"), "/tmp/two\nlines.json", "/tmp/folder"};
    SingleInstance second(Socket());
    QVERIFY(second.HandOver(paths));
    QTRY_COMPARE(received, paths);

    // No documents: one empty request, which brings the window forward.
    received.clear();
    calls = 0;
    QVERIFY(second.HandOver({}));
    QTRY_COMPARE(calls, 1);
    QCOMPARE(received, QStringList{QString()});

    // Many launches one after the other, many paths in each: every path once, in order.
    received.clear();
    QStringList all;
    for (int i = 0; i < 5; ++i) {
        QStringList batch;
        for (int j = 0; j < 400; ++j)
            batch << QStringLiteral("/tmp/launch%1/f%2.json").arg(i).arg(j);
        QVERIFY(SingleInstance(Socket()).HandOver(batch));
        all << batch;
    }
    QTRY_COMPARE(received.size(), all.size());
    QCOMPARE(received, all);
}

void TstSingle::staleSocket() {
    QVERIFY(MakeStaleSocket(Socket()));
    QVERIFY(QFileInfo::exists(Socket()));

    // Nobody answers behind the old socket: the launch doesn't hand over, and it takes the name.
    SingleInstance launch(Socket());
    QVERIFY(!launch.HandOver({"/tmp/a.json"}));
    QStringList received;
    QVERIFY(launch.Listen([&](const QString& p) { received << p; }));
    QVERIFY(SingleInstance(Socket()).HandOver({"/tmp/b.json"}));
    QTRY_COMPARE(received, QStringList{"/tmp/b.json"});
}

void TstSingle::untrusted_data() {
    QTest::addColumn<QString>("place");
    QTest::newRow("folder of another user") << "chown";
    QTest::newRow("folder open to all") << "0777";
    QTest::newRow("link in place of the folder") << "link";
    QTest::newRow("listener of another user") << "squat";
}

void TstSingle::untrusted() {
    QFETCH(QString, place);
    // A live listener of our own stands behind each untrusted folder, so that only the checks
    // keep the paths from it.
    const QString target = mRuntime->filePath("target");
    QString folder = mRuntime->filePath("folder");
    QVERIFY(MakePrivateFolder(place == "link" ? target : folder));
    if (place == "chown")
        QVERIFY(::chown(QFile::encodeName(folder).constData(), kOtherUser, kOtherUser) == 0);
    if (place == "0777")
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0777) == 0);
    if (place == "link")
        QVERIFY(QFile::link(target, folder));
    if (place == "squat")
        folder = mRuntime->path();
    const QString socket = folder + "/corvane";
    QLocalServer ours;
    Squatter squatter;
    QVERIFY(place == "squat" ? squatter.Start(socket) : ours.listen(socket));

    // The launch hands nothing over: it starts on its own.
    SingleInstance launch(socket);
    QVERIFY(!launch.HandOver({"/home/me/secret plans.json"}));
    QVERIFY(!ours.waitForNewConnection(0));
    if (place != "squat") {
        QVERIFY(launch.Path().isEmpty());
        QVERIFY(!launch.Listen([](const QString&) {}));
        return;
    }
    // The other user's listener heard not one byte, and the name is ours again.
    QCOMPARE(squatter.Received(), 0);
    QStringList received;
    QVERIFY(launch.Listen([&](const QString& path) { received << path; }));
    QVERIFY(SingleInstance(socket).HandOver({"/tmp/c.json"}));
    QTRY_COMPARE(received, QStringList{"/tmp/c.json"});
}

void TstSingle::defaultPath_data() {
    QTest::addColumn<QString>("runtime");
    QTest::addColumn<bool>("used");
    QTest::newRow("private runtime folder") << "private" << true;
    QTest::newRow("runtime folder open to others") << "open" << false;
    QTest::newRow("runtime folder of another user") << "other" << false;
    QTest::newRow("relative runtime folder") << "relative" << false;
    QTest::newRow("no runtime folder") << "" << false;
}

void TstSingle::defaultPath() {
    QFETCH(QString, runtime);
    QFETCH(bool, used);
    const QString folder = mRuntime->filePath("run");
    const QString temp = mRuntime->filePath("tmp");
    QVERIFY(QDir().mkpath(temp));
    QVERIFY(MakePrivateFolder(folder));
    if (runtime == "open")
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0755) == 0);
    if (runtime == "other")
        QVERIFY(::chown(QFile::encodeName(folder).constData(), kOtherUser, kOtherUser) == 0);
    qputenv("TMPDIR", QFile::encodeName(temp));
    if (runtime.isEmpty())
        qunsetenv("XDG_RUNTIME_DIR");
    else
        qputenv("XDG_RUNTIME_DIR", runtime == "relative" ? QByteArray("run") : QFile::encodeName(folder));
    QVERIFY(QDir::setCurrent(mRuntime->path()));

    // Else a private folder of the temporary folder, made for it.
    const QString own = QStringLiteral("%1/corvane-%2").arg(temp).arg(::geteuid());
    const QString path = SingleInstance::DefaultPath();
    QCOMPARE(QFileInfo(path).absolutePath(), used ? folder : own);
    QCOMPARE(SingleInstance(path).Path(), path);
    struct stat made {};
    QCOMPARE(::lstat(QFile::encodeName(own).constData(), &made) == 0 && (made.st_mode & 07777) == 0700, !used);

    // Someone else's folder in its place is not used.
    QVERIFY(QDir().mkpath(own));
    QVERIFY(::chown(QFile::encodeName(own).constData(), kOtherUser, kOtherUser) == 0);
    QCOMPARE(SingleInstance(SingleInstance::DefaultPath()).Path().isEmpty(), !used);
}

void TstSingle::otherUserIsNotHeard() {
    QStringList received;
    SingleInstance running(Socket());
    QVERIFY(running.Listen([&](const QString& path) { received << path; }));
    // Open the way to the socket, as it would be with a careless folder.
    QVERIFY(::chmod(QFile::encodeName(mRuntime->path()).constData(), 0711) == 0);
    QVERIFY(::chmod(QFile::encodeName(Socket()).constData(), 0777) == 0);

    sockaddr_un address;
    QVERIFY(Address(Socket(), address));
    const pid_t other = ::fork();
    if (other == 0) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        const char message[] = "/tmp/not yours.json\0";
        if (::setgid(kOtherUser) != 0 || ::setuid(kOtherUser) != 0 || fd < 0 ||
            ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::write(fd, message, sizeof message) != qsizetype(sizeof message))
            ::_exit(1);
        ::_exit(0);
    }
    int status = -1;
    QCOMPARE(::waitpid(other, &status, 0), other);
    QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    QVERIFY(::chmod(QFile::encodeName(mRuntime->path()).constData(), 0700) == 0);

    // Paths arrive in order, so once ours is in, the other one would have been before it.
    QVERIFY(SingleInstance(Socket()).HandOver({"/tmp/mine.json"}));
    QTRY_COMPARE(received, QStringList{"/tmp/mine.json"});
}

void TstSingle::secondLaunchHandsOver() {
    // The real program as the second launch, against a running side in this test.
    const QString work = mRuntime->filePath("work dir");
    QVERIFY(QDir().mkpath(work));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(mRuntime->path()));
    QStringList received;
    int calls = 0;
    SingleInstance running(SingleInstance::DefaultPath());
    QCOMPARE(running.Path(), Socket());
    QVERIFY(running.Listen([&](const QString& path) {
        received << path;
        ++calls;
    }));

    // Paths relative to the launch's own folder arrive absolute; absolute ones as they are.
    QProcess second;
    Launch(second, CORVANE_EXE, {"a.json", "sub/b c.crvj", "/abs/d.bin"}, mRuntime->path(), work);
    QVERIFY(EndedHandingOver(second));
    QTRY_COMPARE(received, QStringList({work + "/a.json", work + "/sub/b c.crvj", "/abs/d.bin"}));

    received.clear();
    calls = 0;
    QProcess bare;
    Launch(bare, CORVANE_EXE, {}, mRuntime->path(), work);
    QVERIFY(EndedHandingOver(bare));
    QTRY_COMPARE(calls, 1);
    QCOMPARE(received, QStringList{QString()});
}

void TstSingle::twoRealProcesses() {
    const QString app = mRuntime->filePath("app");
    const QString runtime = mRuntime->filePath("run");
    const QString drop = mRuntime->filePath("drop");
    QVERIFY(MakePrivateFolder(runtime));
    const QString program = CopyProgram(app);
    QVERIFY(!program.isEmpty());
    // A catalogue to walk at start-up, and more to hand over while it and its followers walk.
    for (int i = 0; i < 200; ++i)
        QVERIFY(WriteFile(QStringLiteral("%1/firmwares/base%2.json").arg(app).arg(i), Manifest("Base")));
    for (int i = 0; i < 500; ++i)
        QVERIFY(WriteFile(QStringLiteral("%1/many/m%2.json").arg(drop).arg(i), Manifest("M")));
    QStringList images;
    for (int i = 0; i < 50; ++i) {
        images << QStringLiteral("%1/image%2.bin").arg(drop).arg(i);
        QVERIFY(WriteFile(images.last(), QByteArray(128, '\xe9')));
    }
    const QString socket = SocketIn(runtime);

    QProcess first;
    Launch(first, program, {}, runtime);
    QVERIFY(first.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), kBound);

    // The launches end at once; the first one takes it all in: a package for every image.
    QProcess folder;
    Launch(folder, program, {"many"}, runtime, drop);
    QProcess loose;
    Launch(loose, program, images, runtime, drop);
    QVERIFY(EndedHandingOver(folder));
    QVERIFY(EndedHandingOver(loose));
    for (int i = 0; i < 50; ++i)
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(QStringLiteral("%1/firmwares/image%2.json").arg(app).arg(i)),
                                 kBound);
    QCOMPARE(first.state(), QProcess::Running);

    // SIGTERM is a quit: a normal end, and the socket goes with the program.
    QVERIFY(EndedBySignal(first, SIGTERM));
    QVERIFY(!QFileInfo::exists(socket));

    // Killed outright, it leaves its socket behind; the next start takes the name over and serves.
    QProcess again;
    Launch(again, program, {images.first()}, runtime);
    QVERIFY(again.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), kBound);
    again.kill();
    QVERIFY(again.waitForFinished(kBound));
    QVERIFY(IsSocket(socket));
    QProcess last;
    Launch(last, program, {}, runtime);
    QVERIFY(last.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(SingleInstance(socket).HandOver({}), kBound);
    QProcess third;
    Launch(third, program, {}, runtime);
    QVERIFY(EndedHandingOver(third));
    QCOMPARE(last.state(), QProcess::Running);
    QVERIFY(EndedBySignal(last, SIGHUP));
}

void TstSingle::squattedSocket() {
    // The program as built, beside its demo catalogue, finds another user on its socket: it
    // sends that one nothing and comes up on its own, serving later launches.
    Squatter squatter;
    QVERIFY(squatter.Start(Socket()));
    QProcess corvane;
    Launch(corvane, CORVANE_EXE, {"/home/me/secret plans.json"}, mRuntime->path());
    QVERIFY(corvane.waitForStarted(kBound));
    QCOMPARE(squatter.Received(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(SingleInstance(Socket()).HandOver({}), kBound);
    QProcess bare;
    Launch(bare, CORVANE_EXE, {}, mRuntime->path());
    QVERIFY(EndedHandingOver(bare));
    QCOMPARE(corvane.state(), QProcess::Running);
    QVERIFY(EndedBySignal(corvane, SIGINT));
    QVERIFY(!QFileInfo::exists(Socket()));
}

QTEST_GUILESS_MAIN(TstSingle)
#include "tst_single.moc"
