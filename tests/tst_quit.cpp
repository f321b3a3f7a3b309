#include "ProcessSupport.h"
#include "TestSupport.h"

#include <QProcess>
#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <cstring>

constexpr int kBound = 60000; // generous: nothing here measures speed

// Quitting on a signal during a run: the quit signals take the menu's road, and even a kill that
// Corvane can't see takes every tool of the run along.
class TstQuit : public QObject {
    Q_OBJECT
private slots:
    void signalDuringRun_data() {
        QTest::addColumn<int>("signo");
        for (const int signo : {SIGTERM, SIGHUP, SIGINT, SIGKILL})
            QTest::newRow(strsignal(signo)) << signo;
    }
    void signalDuringRun() {
        QFETCH(int, signo);
        QTemporaryDir dir;
        const QString groupFile = dir.filePath("group");
        QProcess corvane;
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // A tool in the background, one under a shell of its own, the line waiting: with the watcher, 5.
        corvane.start(STARTED_RUN, {"sleep 1000 & sh -c 'sleep 1000; :' & echo $$ > '" + groupFile + "'; wait"});
        QTRY_VERIFY_WITH_TIMEOUT(TestSupport::ReadFile(groupFile).endsWith('\n'), kBound);
        const qint64 group = TestSupport::ReadFile(groupFile).toLongLong();
        const auto leftovers = qScopeGuard([group] { ::kill(-pid_t(group), SIGKILL); }); // should a check fail
        QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(group).size() == 5, kBound);
        ::kill(pid_t(corvane.processId()), signo);
        QVERIFY(corvane.waitForFinished(kBound));
        QCOMPARE(corvane.exitStatus(), signo == SIGKILL ? QProcess::CrashExit : QProcess::NormalExit);
        QVERIFY(signo == SIGKILL || corvane.exitCode() == 0);
        QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(group).isEmpty(), kBound);
    }
};

QTEST_GUILESS_MAIN(TstQuit)
#include "tst_quit.moc"
