#include "ProcessSupport.h"

#include "platform/Shell.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

using namespace ProcessSupport;

// Output of a finished run, gathered the way the window does it.
QString RunToEnd(Shell& shell, const QString& command) {
    QString all;
    QObject::connect(&shell, &Shell::DataAvailable, &shell, [&] { all += shell.ReadAll(); });
    QSignalSpy done(&shell, &Shell::Completed);
    shell.Execute(command);
    if (!done.wait(20000))
        return "<timed out>";
    all += shell.ReadAll();
    return all;
}

} // namespace

class TstShell : public QObject {
    Q_OBJECT
private slots:
    void outputAndErrorTogether();
    void failuresStillComplete();
    void dashedCommands_data();
    void dashedCommands();
    void oneRunAtATime();
    void killEndsEveryTool();
    void leftoversEndWithTheRun();
    void watcherHoldsOnlyItsPipe();
};

void TstShell::outputAndErrorTogether() {
    Shell shell;
    const QString out = RunToEnd(shell, "printf 'one\\r'; printf 'two\\n' >&2; printf '\\303\\251'");
    QCOMPARE(out, QString::fromUtf8("one\rtwo\né"));
    QVERIFY(!shell.IsRunning());
}

void TstShell::failuresStillComplete() {
    Shell shell;
    QVERIFY(RunToEnd(shell, "exit 3").isEmpty());
    Shell missing;
    QVERIFY(RunToEnd(missing, "/no/such/tool --chip esp32").contains("/no/such/tool: not found"));
    Shell empty;
    QCOMPARE(RunToEnd(empty, ""), QString());
    Shell both;
    // ";" runs the second whatever the first did.
    QCOMPARE(RunToEnd(both, "false ; echo second"), QString("second\n"));
}

void TstShell::dashedCommands_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("first");
    // A line without its tool starts with the tool's first argument.
    QTest::newRow("--chip") << "--chip esp32 --port /dev/ttyUSB0 write_flash"
                            << "--chip";
    QTest::newRow("-c") << "-c 'echo smuggled'"
                        << "-c";
    QTest::newRow("--") << "-- --chip esp32"
                        << "--";
    QTest::newRow("-") << "- x"
                       << "-";
    QTest::newRow("+x") << "+x y"
                        << "+x";
}

void TstShell::dashedCommands() {
    QFETCH(QString, command);
    QFETCH(QString, first);
    // The shell takes the line as a command and says its first word isn't there.
    Shell shell;
    const QString out = RunToEnd(shell, command);
    QVERIFY2(out.contains(first + ": not found"), qPrintable(out));
    QVERIFY2(!out.contains("smuggled") && !out.contains("Illegal"), qPrintable(out));
}

void TstShell::oneRunAtATime() {
    Shell shell;
    QSignalSpy done(&shell, &Shell::Completed);
    QTemporaryDir dir;
    shell.Execute("read x; echo first");
    QVERIFY(shell.IsRunning());
    const qint64 pid = shell.ProcessId();
    shell.Execute("echo second");
    QCOMPARE(shell.ProcessId(), pid);
    shell.Kill();
    QVERIFY(!shell.IsRunning());
}

void TstShell::killEndsEveryTool() {
    QTemporaryDir dir;
    const QString pidFile = dir.filePath("pid");
    qint64 toolPid = 0;
    {
        auto shell = std::make_unique<Shell>();
        shell->Execute("sleep 1000 & echo $! > " + pidFile + "; wait");
        QTRY_VERIFY_WITH_TIMEOUT(QFile(pidFile).size() > 0, 20000);
        QFile f(pidFile);
        QVERIFY(f.open(QIODevice::ReadOnly));
        toolPid = f.readAll().trimmed().toLongLong();
        QVERIFY(Alive(toolPid));
    } // the shell goes, and with it the tools it started
    QTRY_VERIFY_WITH_TIMEOUT(!Alive(toolPid), 20000);
}

void TstShell::leftoversEndWithTheRun() {
    // A tool the line left behind would hold the port when the session comes back.
    Shell shell;
    const qint64 left = RunToEnd(shell, "sleep 1000 >/dev/null 2>&1 & echo $!").trimmed().toLongLong();
    QVERIFY(left > 0);
    QTRY_VERIFY_WITH_TIMEOUT(!Alive(left), 20000);
}

void TstShell::watcherHoldsOnlyItsPipe() {
    Shell shell;
    QSignalSpy done(&shell, &Shell::Completed);
    shell.Execute("exec sleep 1000");
    const qint64 group = shell.ProcessId();
    QVERIFY(group > 0);
    // Beside the tool, one watcher, with one descriptor: none of the run's pipes.
    const auto watchers = [group] {
        QList<qint64> found;
        for (qint64 pid : GroupMembers(group))
            if (pid != group)
                found << pid;
        return found;
    };
    const auto descriptors = [](qint64 pid) {
        return QDir(QString("/proc/%1/fd").arg(pid)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    };
    QTRY_COMPARE_WITH_TIMEOUT(watchers().size(), 1, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(descriptors(watchers().value(0)).size(), 1, 20000);
    QVERIFY(shell.IsRunning());
    shell.Kill();
    QTRY_VERIFY_WITH_TIMEOUT(GroupMembers(group).isEmpty(), 20000);
    QCOMPARE(done.count(), 0);
}

QTEST_GUILESS_MAIN(TstShell)
#include "tst_shell.moc"
