#include "ProcessSupport.h"
#include "TestSupport.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace ProcessSupport;
using namespace TestSupport;

namespace {
// Generous: nothing here measures speed.
constexpr int kBound = 60000;
} // namespace

class TstQuit : public QObject {
    Q_OBJECT
private slots:
    void cleanup();
    void signalDuringRun_data();
    void signalDuringRun();

private:
    qint64 mGroup = 0;
};

void TstQuit::cleanup() {
    // A failed case leaves no tool behind for the next one.
    if (mGroup > 0)
        ::kill(-pid_t(mGroup), SIGKILL);
    mGroup = 0;
}

void TstQuit::signalDuringRun_data() {
    QTest::addColumn<int>("signo");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGKILL") << SIGKILL;
}

void TstQuit::signalDuringRun() {
    QFETCH(int, signo);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString groupFile = dir.filePath("group");
    // A line of tools: one in the background, one under a shell of its own, the line waiting.
    const QString command = "sleep 1000 & sh -c 'sleep 1000; :' & echo $$ > '" + groupFile + "'; wait";
    QProcess corvane;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    corvane.setProcessEnvironment(env);
    corvane.setProcessChannelMode(QProcess::ForwardedChannels);
    corvane.start(STARTED_RUN, {command});
    QVERIFY(corvane.waitForStarted(kBound));
    QTRY_VERIFY_WITH_TIMEOUT(ReadFile(groupFile).endsWith('\n'), kBound);
    mGroup = ReadFile(groupFile).trimmed().toLongLong();
    QVERIFY(mGroup > 0);
    QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(mGroup).size() >= 4, kBound);

    // The three quit as the menu does; even a kill that Corvane can't see takes the tools along.
    ::kill(pid_t(corvane.processId()), signo);
    QVERIFY(corvane.waitForFinished(kBound));
    if (signo == SIGKILL) {
        QCOMPARE(corvane.exitStatus(), QProcess::CrashExit);
    } else {
        QCOMPARE(corvane.exitStatus(), QProcess::NormalExit);
        QCOMPARE(corvane.exitCode(), 0);
    }
    QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(mGroup).isEmpty(), kBound);
}

QTEST_GUILESS_MAIN(TstQuit)
#include "tst_quit.moc"
