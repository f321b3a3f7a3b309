#include "FlashSupport.h"
#include "TestSupport.h"

#include <QAbstractScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>

using namespace TestSupport;
using namespace FlashSupport;

namespace {

constexpr int kLong = 120000;

QString Progress() {
    return "Writing at 0x00010000... (0 %)\rWriting at 0x00010025... (25 %)\rWriting at 0x00010050... (50 %)\r"
           "Writing at 0x00010075... (75 %)\rWriting at 0x00010100... (100 %)\r\n";
}

// What the stand-in prints for one run on port dev that ends with status.
QString ToolOutput(const QString& dev, int status) {
    return "esptool.py v4.7.0\nSerial port " + dev + "\nConnecting....\n" + Progress() +
           "warning: this is a stand-in tool\nLeaving... status " + QString::number(status) + "\n";
}

} // namespace

class TstRun : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void wholeRun();
    void runOfChosenPreset();
    void toolPathWithBlanks();
    void templatesRunInTurn();
    void secondStartLeavesRunAlone();
    void windowClosedDuringRun();
    void logFollowsTheEnd();
    void emptyCommand();
    void missingTool();
    void toolKilledFromOutside();
    void bytesThatAreNotUtf8();
    void splitCharacterStaysSplit();
    void floodKeepsWindowLive();

private:
    EspWin* StartUp();
    void UseCommand(const QString& command);

    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QTemporaryDir> mDir;
    QString mToolDir;
};

void TstRun::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    mToolDir = mLayout->Path("Corvane.app/Contents/Resources");
    QVERIFY(InstallFakeTool(mToolDir + "/esptool"));
    mSeams = std::make_unique<SeamRecorder>();
    mDir = std::make_unique<QTemporaryDir>();
}

void TstRun::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
    mDir.reset();
}

// The window as a user finds it, with one preset of the stand-in tool on port ttyUSB0.
EspWin* TstRun::StartUp() {
    EspWin* w = EspWin::Instance();
    ShowOnePort(w, "ttyUSB0");
    return w;
}

// Start runs InstallEF as it stands, so a test can hand it any command line.
void TstRun::UseCommand(const QString& command) {
    EspWin::Existing()->InstallEF.SetText(command);
}

// From start-up to the log: the tool found beside the program, a manifest in the firmware
// folder, a preset, Start. The reader keeps a blank at each end of a sole command.
void TstRun::wholeRun() {
    const QString pkg = mLayout->Path("firmwares/blink");
    QVERIFY(WriteFile(pkg + "/blink.json", R"([
    {
        "name": "Blink",
        "version": "1.0",
        "path": "images\\v1",
        "commands": [
            "--chip esp32 --port %port --baud %baud write_flash 0x1000 %PATH\\boot.bin 0x10000 %PATH\\blink.bin"
        ]
    }
]
)"));
    EspWin* w = StartUp();
    QCOMPARE(w->PrisetPM.ListCount(), 1);
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    const FolderItem tool(mToolDir + "/esptool");
    QCOMPARE(w->InstallEF.Text(), tool.ShellPath() +
                                      "  --chip esp32 --port /dev/ttyUSB0 --baud 921600 write_flash 0x1000 " +
                                      FolderItem(pkg).ShellPath() + "/images/v1/boot.bin 0x10000 " +
                                      FolderItem(pkg).ShellPath() + "/images/v1/blink.bin");

    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(RecordedRuns(mToolDir),
             (QList<QStringList>{{"--chip", "esp32", "--port", "/dev/ttyUSB0", "--baud", "921600", "write_flash",
                                  "0x1000", pkg + "/images/v1/boot.bin", "0x10000", pkg + "/images/v1/blink.bin"}}));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
}

// The row chosen is the record run; the end of the run enables what it finds disabled.
void TstRun::runOfChosenPreset() {
    EspWin* w = StartUp();
    QCOMPARE(w->mEspToolApp, FolderItem(mToolDir + "/esptool"));
    const FolderItem folder(mDir->filePath("pkg"));
    LoadPresets(w,
                {Record("Other", folder, "", {"--other"}), Separator(),
                 Record("Sample", folder, "sub\\\\dir",
                        {"--port %port --baud %baud write_flash 0x1000 %PATH\\\\boot.bin 0x10000 %PATH\\\\app.bin"})},
                2);

    w->rEF.SetText("monitor text from before");
    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    // The end of a run enables what it finds disabled.
    w->StartPB.SetEnabled(false);
    w->PortPM.SetEnabled(false);
    w->SelectPB.SetEnabled(false);
    QVERIFY(done.wait(kLong));
    const QString files = folder.NativePath() + "/sub/dir/";
    const QList<QStringList> runs = RecordedRuns(mToolDir);
    QCOMPARE(runs.size(), 1);
    QCOMPARE(runs.at(0), (QStringList{"--port", "/dev/ttyUSB0", "--baud", "921600", "write_flash", "0x1000",
                                      files + "boot.bin", "0x10000", files + "app.bin"}));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
    QVERIFY(w->StartPB.Enabled());
    QVERIFY(w->PortPM.Enabled());
    QVERIFY(w->SelectPB.Enabled());

    // A second run starts from a fresh log.
    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
    QCOMPARE(RecordedRuns(mToolDir).size(), 2);
}

void TstRun::toolPathWithBlanks() {
    const QString toolDir = mDir->filePath("my tools/it's here");
    QVERIFY(InstallFakeTool(toolDir + "/esptool"));
    EspWin* w = StartUp();
    mSeams->openAnswer = FolderItem(toolDir + "/esptool");
    w->SelectESPPB.Push();
    LoadPresets(w, {Record("Sample", FolderItem(mDir->filePath("fw")), "", {"--port %port --exit 0"})}, 0);

    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(RecordedRuns(toolDir), (QList<QStringList>{{"--port", "/dev/ttyUSB0", "--exit", "0"}}));
    QVERIFY(RecordedRuns(mToolDir).isEmpty());
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
}

// Two templates joined with " ; " run one after the other, the second also when the first failed.
void TstRun::templatesRunInTurn() {
    EspWin* w = StartUp();
    LoadPresets(w, {Record("Two", FolderItem(mDir->path()), "", {"--port %port --exit 2", "--port %port --exit 0"})},
                0);
    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(RecordedRuns(mToolDir), (QList<QStringList>{{"--port", "/dev/ttyUSB0", "--exit", "2"},
                                                         {"--port", "/dev/ttyUSB0", "--exit", "0"}}));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 2) + ToolOutput("/dev/ttyUSB0", 0));
}

void TstRun::secondStartLeavesRunAlone() {
    EspWin* w = StartUp();
    LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
    QVERIFY(WriteFile(mToolDir + "/hold", ""));
    QSignalSpy done(&w->esptool, &Shell::Completed);

    w->StartPB.Push();
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("Connecting....\n"), kLong);
    const qint64 shellPid = w->esptool.ProcessId();
    const QString logSoFar = w->rEF.Text();

    w->InstallEF.SetText("echo second");
    w->StartPB.Push();
    QCOMPARE(w->rEF.Text(), logSoFar);
    QCOMPARE(w->esptool.ProcessId(), shellPid);
    QVERIFY(w->esptool.IsRunning());

    QVERIFY(WriteFile(mToolDir + "/go", ""));
    QVERIFY(done.wait(kLong));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
    QCOMPARE(RecordedRuns(mToolDir).size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(done.count(), 1);
}

void TstRun::windowClosedDuringRun() {
    EspWin* w = StartUp();
    LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
    QVERIFY(WriteFile(mToolDir + "/hold", ""));
    w->Show();
    w->StartPB.Push();
    QTRY_VERIFY_WITH_TIMEOUT(RecordedPid(mToolDir) > 0, kLong);
    const qint64 shellPid = w->esptool.ProcessId();
    const qint64 toolPid = RecordedPid(mToolDir);
    QVERIFY(Alive(shellPid));
    QVERIFY(Alive(toolPid));

    DisposeWindow();
    QVERIFY(!EspWin::Existing());
    QTRY_VERIFY_WITH_TIMEOUT(!Alive(shellPid), kLong);
    QTRY_VERIFY_WITH_TIMEOUT(!Alive(toolPid), kLong);

    // A fresh window starts idle and can run again.
    QFile::remove(mToolDir + "/hold");
    EspWin* again = StartUp();
    LoadPresets(again, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
    QVERIFY(RunToEnd(again, kLong));
    QCOMPARE(again->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
}

// The log scrolls to its end as output comes in.
void TstRun::logFollowsTheEnd() {
    EspWin* w = StartUp();
    w->Show();
    UseCommand("i=0; while [ $i -lt 300 ]; do i=$((i+1)); echo \"line $i\"; done");
    QVERIFY(RunToEnd(w, kLong));
    QVERIFY(w->rEF.Text().endsWith("line 299\nline 300\n"));
    const QScrollBar* bar = static_cast<QAbstractScrollArea*>(w->rEF.Widget())->verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());

    // The scroll number is fixed at 10000: a longer log stops following its end there.
    UseCommand("i=0; while [ $i -lt 12000 ]; do i=$((i+1)); echo \"line $i\"; done");
    QVERIFY(RunToEnd(w, kLong));
    QVERIFY(w->rEF.Text().endsWith("line 12000\n"));
    QVERIFY(bar->maximum() > 10000);
    QCOMPARE(w->rEF.ScrollPosition(), 10000);
}

// Start doesn't judge InstallEF: an empty line runs like any other.
void TstRun::emptyCommand() {
    EspWin* w = StartUp();
    QCOMPARE(w->InstallEF.Text(), QString());
    w->rEF.SetText("old");
    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(w->rEF.Text(), QString("Wait...."));
}

void TstRun::missingTool() {
    EspWin* w = StartUp();
    UseCommand(mDir->filePath("nowhere/esptool") + " --port /dev/ttyUSB0");
    QVERIFY(RunToEnd(w, kLong));
    QVERIFY2(w->rEF.Text().startsWith("Wait...."), qPrintable(w->rEF.Text()));
    QVERIFY2(w->rEF.Text().contains("nowhere/esptool") && w->rEF.Text().contains("not found"),
             qPrintable(w->rEF.Text()));
    QVERIFY(w->StartPB.Enabled());
}

// A tool that would never end, ended by someone else: the run completes like any other.
void TstRun::toolKilledFromOutside() {
    EspWin* w = StartUp();
    LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
    QVERIFY(WriteFile(mToolDir + "/hold", ""));
    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    QTRY_VERIFY_WITH_TIMEOUT(RecordedPid(mToolDir) > 0, kLong);
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("Connecting....\n"), kLong);
    QCOMPARE(::kill(pid_t(RecordedPid(mToolDir)), SIGKILL), 0);
    QVERIFY(done.count() > 0 || done.wait(kLong));
    QVERIFY(w->rEF.Text().startsWith("Wait....esptool.py v4.7.0\nSerial port /dev/ttyUSB0\nConnecting....\n"));
    QVERIFY(!w->rEF.Text().contains("Writing"));
    QVERIFY(!w->esptool.IsRunning());

    QFile::remove(mToolDir + "/hold");
    QVERIFY(RunToEnd(w, kLong));
    QCOMPARE(w->rEF.Text(), "Wait...." + ToolOutput("/dev/ttyUSB0", 0));
}

void TstRun::bytesThatAreNotUtf8() {
    EspWin* w = StartUp();
    UseCommand("printf 'ok \\377\\376 end\\n'");
    QVERIFY(RunToEnd(w, kLong));
    const QString log = w->rEF.Text();
    QVERIFY2(log.startsWith("Wait....ok ") && log.endsWith(" end\n"), qPrintable(log));
    QVERIFY(log.contains(QChar(0xFFFD)));
}

// The two bytes of "é" in two pieces of output stay two broken pieces.
void TstRun::splitCharacterStaysSplit() {
    EspWin* w = StartUp();
    const QString go = mDir->filePath("go");
    UseCommand("printf '\\303'; while [ ! -e '" + go + "' ]; do sleep 0.02; done; printf '\\251'");
    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() > 8, kLong);
    QVERIFY(WriteFile(go, ""));
    QVERIFY(done.wait(kLong));
    QCOMPARE(w->rEF.Text(), QString("Wait....") + QChar(0xFFFD) + QChar(0xFFFD));
}

// Megabytes without a line end, for as long as the test lets it: output keeps coming in,
// other events keep being served, and the log holds every byte.
void TstRun::floodKeepsWindowLive() {
    EspWin* w = StartUp();
    w->Show();
    const QString go = mDir->filePath("go");
    UseCommand("n=0; while [ ! -e '" + go +
               "' ]; do head -c 262144 /dev/zero | tr '\\0' x; n=$((n+1)); done; "
               "echo; echo \"$n\"");
    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();

    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() > 4 * 1024 * 1024, kLong);
    QVERIFY(w->esptool.IsRunning());
    // The user's clicks are served mid-run.
    int clicks = 0;
    connect(&w->SelectPB, &PushButton::Action, this, [&] { ++clicks; });
    QTimer::singleShot(0, &w->SelectPB, [&] { w->SelectPB.Push(); });
    QTRY_COMPARE_WITH_TIMEOUT(clicks, 1, kLong);
    QVERIFY(w->esptool.IsRunning());

    QVERIFY(WriteFile(go, ""));
    QVERIFY(done.count() > 0 || done.wait(kLong));
    const QString log = w->rEF.Text();
    const QStringList tail = log.mid(8).split('\n');
    QCOMPARE(tail.size(), 3);
    const int rounds = tail.at(1).toInt();
    QVERIFY(rounds >= 16);
    QCOMPARE(tail.at(0).size(), rounds * 262144);
    QCOMPARE(tail.at(0).count('x'), rounds * 262144);
}

QTEST_MAIN(TstRun)
#include "tst_run.moc"
