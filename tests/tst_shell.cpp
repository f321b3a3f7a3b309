#include "platform/Shell.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

// A killed process may linger as a zombie until its new parent reaps it: that counts as gone.
bool Alive(qint64 pid) {
    QFile stat(QString("/proc/%1/stat").arg(pid));
    if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && line.mid(close + 2, 1) != "Z";
}

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
    void oneRunAtATime();
    void killEndsEveryTool();
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
    QVERIFY(RunToEnd(missing, "/no/such/tool --chip esp32").contains("not found"));
    Shell both;
    // ";" runs the second whatever the first did.
    QCOMPARE(RunToEnd(both, "false ; echo second"), QString("second\n"));
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

QTEST_GUILESS_MAIN(TstShell)
#include "tst_shell.moc"
