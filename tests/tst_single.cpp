#include "TestSupport.h"

#include "platform/Application.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

using namespace TestSupport;

namespace {

// Generous: a start-up on a loaded machine may take long, and nothing here measures speed.
constexpr int kBound = 60000;

// A socket file at the path with nobody behind it, as a killed run leaves it.
bool MakeStaleSocket(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    if (name.size() >= qsizetype(sizeof address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), name.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return bound;
}

// The local socket names live in the temporary folder; each run of the real program gets a
// folder of its own there, so that no other Corvane of this user meets these ones.
QProcessEnvironment ProgramEnvironment(const QString& tempFolder) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("TMPDIR", tempFolder);
    return env;
}

void Launch(QProcess& process, const QString& program, const QStringList& arguments, const QString& tempFolder,
            const QString& workingFolder = QString()) {
    process.setProcessEnvironment(ProgramEnvironment(tempFolder));
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (!workingFolder.isEmpty())
        process.setWorkingDirectory(workingFolder);
    process.start(program, arguments);
}

// A launch that finds a running Corvane gives it its documents and ends at once, with success.
bool EndedHandingOver(QProcess& process) {
    if (!process.waitForStarted(kBound))
        return false;
    QElapsedTimer clock;
    clock.start();
    while (process.state() != QProcess::NotRunning && clock.elapsed() < kBound)
        QTest::qWait(20);
    return process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

} // namespace

class TstSingle : public QObject {
    Q_OBJECT
private slots:
    void handOver();
    void staleSocket();
    void secondLaunchHandsOver();
    void twoRealProcesses();
    void smoke();

private:
    static int sCount;
};

int TstSingle::sCount = 0;

void TstSingle::handOver() {
    const QString name = QStringLiteral("corvane-single-%1-%2").arg(QCoreApplication::applicationPid()).arg(++sCount);
    QStringList received;
    int calls = 0;

    SingleInstance nobody(name);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!nobody.HandOver({"/tmp/x.json"}));
    QVERIFY(clock.elapsed() < kBound);

    SingleInstance running(name);
    QVERIFY(running.Listen([&](const QString& path) {
        received << path;
        ++calls;
    }));

    // Paths arrive whole and in order: blanks, non-ASCII letters and several at once.
    const QStringList paths = {"/home/me/firmware/a.json", "/home/me/My Firmware/b c.crvj",
                               QString::fromUtf8("/home/me/ファーム/ü.bin"), "/tmp/folder"};
    SingleInstance second(name);
    QVERIFY(second.HandOver(paths));
    QTRY_COMPARE(received, paths);

    // No documents: one empty request, which brings the window forward.
    received.clear();
    calls = 0;
    QVERIFY(second.HandOver({}));
    QTRY_COMPARE(calls, 1);
    QCOMPARE(received, QStringList{QString()});

    // Several launches one after the other, each heard in full.
    received.clear();
    for (int i = 0; i < 5; ++i)
        QVERIFY(SingleInstance(name).HandOver({QStringLiteral("/tmp/f%1.json").arg(i)}));
    QTRY_COMPARE(received.size(), 5);
    QCOMPARE(received, QStringList({"/tmp/f0.json", "/tmp/f1.json", "/tmp/f2.json", "/tmp/f3.json", "/tmp/f4.json"}));
}

void TstSingle::staleSocket() {
    const QString name = QStringLiteral("corvane-stale-%1-%2").arg(QCoreApplication::applicationPid()).arg(++sCount);
    const QString path = QDir::tempPath() + QLatin1Char('/') + name;
    QVERIFY(MakeStaleSocket(path));
    QVERIFY(QFileInfo::exists(path));

    // Nobody answers behind the old socket: the launch doesn't hand over, and it takes the name.
    SingleInstance launch(name);
    QVERIFY(!launch.HandOver({"/tmp/a.json"}));
    QStringList received;
    QVERIFY(launch.Listen([&](const QString& p) { received << p; }));
    QVERIFY(SingleInstance(name).HandOver({"/tmp/b.json"}));
    QTRY_COMPARE(received, QStringList{"/tmp/b.json"});
}

void TstSingle::secondLaunchHandsOver() {
    // The real program as the second launch, against a running side in this test.
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString temp = scratch.filePath("tmp");
    const QString work = scratch.filePath("work dir");
    QVERIFY(QDir().mkpath(temp));
    QVERIFY(QDir().mkpath(work));

    const bool hadTemp = qEnvironmentVariableIsSet("TMPDIR");
    const QByteArray oldTemp = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(temp));
    QStringList received;
    int calls = 0;
    {
        SingleInstance running(SingleInstance::DefaultName());
        QVERIFY(running.Listen([&](const QString& path) {
            received << path;
            ++calls;
        }));
        QVERIFY(QFileInfo::exists(temp + "/" + SingleInstance::DefaultName()));

        // Paths relative to the launch's own folder arrive absolute; absolute ones as they are.
        QProcess second;
        Launch(second, CORVANE_EXE, {"a.json", "sub/b c.crvj", "/abs/d.bin"}, temp, work);
        QVERIFY(EndedHandingOver(second));
        QTRY_COMPARE(received, QStringList({work + "/a.json", work + "/sub/b c.crvj", "/abs/d.bin"}));

        received.clear();
        calls = 0;
        QProcess bare;
        Launch(bare, CORVANE_EXE, {}, temp, work);
        QVERIFY(EndedHandingOver(bare));
        QTRY_COMPARE(calls, 1);
        QCOMPARE(received, QStringList{QString()});
    }
    if (hadTemp)
        qputenv("TMPDIR", oldTemp);
    else
        qunsetenv("TMPDIR");
}

void TstSingle::twoRealProcesses() {
    // A copy of the program in a folder of its own, so that its firmware folder is this test's.
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString app = scratch.filePath("app");
    const QString temp = scratch.filePath("tmp");
    const QString drop = scratch.filePath("drop");
    for (const QString& folder : {app + "/firmwares", temp, drop})
        QVERIFY(QDir().mkpath(folder));
    const QString program = app + "/corvane";
    QVERIFY(QFile::copy(CORVANE_EXE, program));
    QVERIFY(QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeOwner));
    QVERIFY(WriteFile(drop + "/first.bin", QByteArray(128, '\xe9')));
    QVERIFY(WriteFile(drop + "/second.bin", QByteArray(128, '\xe9')));
    QVERIFY(WriteFile(drop + "/c.json", "[\n{\n\"name\": \"C\",\n\"commands\": [\n\"x\"\n]\n}\n]\n"));
    const QString socket = temp + "/" + SingleInstance::DefaultName();

    QProcess first;
    Launch(first, program, {}, temp);
    QVERIFY(first.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), kBound);

    // The second launch ends; the first one takes the image in: a package appears in its folder.
    QProcess second;
    Launch(second, program, {"first.bin", "c.json"}, temp, drop);
    QVERIFY(EndedHandingOver(second));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(app + "/firmwares/first.json"), kBound);
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(app + "/firmwares/first/first.bin"), kBound);
    QCOMPARE(first.state(), QProcess::Running);

    // Killed, it leaves its socket behind; the next start takes the name over and serves.
    first.terminate();
    QVERIFY(first.waitForFinished(kBound));
    QVERIFY(QFileInfo::exists(socket));
    QProcess again;
    Launch(again, program, {drop + "/second.bin"}, temp);
    QVERIFY(again.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(app + "/firmwares/second.json"), kBound);
    QProcess third;
    Launch(third, program, {}, temp);
    QVERIFY(EndedHandingOver(third));
    QCOMPARE(again.state(), QProcess::Running);
    again.terminate();
    QVERIFY(again.waitForFinished(kBound));
}

void TstSingle::smoke() {
    // The program as built, beside its demo catalogue: it comes up, serves and ends on SIGTERM.
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString socket = scratch.filePath(SingleInstance::DefaultName());
    QProcess corvane;
    Launch(corvane, CORVANE_EXE, {}, scratch.path());
    QVERIFY(corvane.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), kBound);
    QProcess bare;
    Launch(bare, CORVANE_EXE, {}, scratch.path());
    QVERIFY(EndedHandingOver(bare));
    QCOMPARE(corvane.state(), QProcess::Running);
    corvane.terminate();
    QVERIFY(corvane.waitForFinished(kBound));
}

QTEST_GUILESS_MAIN(TstSingle)
#include "tst_single.moc"
