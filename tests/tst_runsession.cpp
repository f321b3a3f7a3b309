#include "FlashSupport.h"
#include "TestSupport.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace FlashSupport;

namespace {
constexpr int kLong = 120000;
}

// A flash run and the serial session: the tool needs the port for itself, and the session
// comes back afterwards by the rule of termConnected and AutoConnectCB. The board is a
// pseudo-terminal.
class TstRunSession : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void sessionAcrossRun_data();
    void sessionAcrossRun();
    void completionTogglesUsersSession();

private:
    EspWin* StartUp(const Pty& board);

    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QTemporaryDir> mDir;
    QString mToolDir;
};

void TstRunSession::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    mToolDir = mLayout->Path("Corvane.app/Contents/Resources");
    QVERIFY(InstallFakeTool(mToolDir + "/esptool"));
    // The tool waits for the test's word, so that the session can be looked at mid-run.
    QVERIFY(WriteFile(mToolDir + "/hold", ""));
    mSeams = std::make_unique<SeamRecorder>();
    mDir = std::make_unique<QTemporaryDir>();
}

void TstRunSession::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
    mDir.reset();
}

EspWin* TstRunSession::StartUp(const Pty& board) {
    mSeams->ports = {board.Port()};
    EspWin* w = EspWin::Instance();
    ShowOnePort(w, board.Name());
    return w;
}

void TstRunSession::sessionAcrossRun_data() {
    QTest::addColumn<bool>("openAtStart");
    QTest::addColumn<bool>("autoTicked");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("openAfter");

    QTest::newRow("open, unticked") << true << false << 0 << true;
    QTest::newRow("open, ticked") << true << true << 0 << true;
    QTest::newRow("closed, ticked") << false << true << 0 << true;
    QTest::newRow("closed, ticked, failed run") << false << true << 3 << true;
    QTest::newRow("closed, unticked") << false << false << 0 << false;
}

void TstRunSession::sessionAcrossRun() {
    QFETCH(bool, openAtStart);
    QFETCH(bool, autoTicked);
    QFETCH(int, status);
    QFETCH(bool, openAfter);

    Pty board;
    QVERIFY(board.Open());
    EspWin* w = StartUp(board);
    LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port --exit " + QString::number(status)})},
                0);
    if (openAtStart) {
        w->ConnectPB.Push();
        QVERIFY(w->mConnected);
    }
    w->AutoConnectCB.SetValue(autoTicked);

    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    QCOMPARE(w->termConnected, openAtStart);
    QVERIFY(!w->mConnected);
    QCOMPARE(w->ConnectPB.Caption(), QString("Connect"));
    QCOMPARE(w->rEF.BackColor(), QColor(0xFF, 0xFF, 0xFF));
    QVERIFY(!w->MySerial.IsOpen());

    // The session comes back at the monitor speed shown at the end of the run.
    w->BaudPMs.SetListIndex(3);
    QCOMPARE(w->BaudPMs.Text(), QString("9600"));
    QVERIFY(WriteFile(mToolDir + "/go", ""));
    QVERIFY(done.wait(kLong));
    QCOMPARE(w->rEF.Text().left(8), QString("Wait...."));
    QVERIFY(w->rEF.Text().contains("Serial port " + board.slavePath + "\n"));
    QCOMPARE(w->mConnected, openAfter);
    QCOMPARE(w->MySerial.IsOpen(), openAfter);
    QCOMPARE(w->ConnectPB.Caption(), QString(openAfter ? "Disconnect" : "Connect"));
    QCOMPARE(w->rEF.BackColor(), openAfter ? QColor(0xFF, 0xE4, 0xFA) : QColor(0xFF, 0xFF, 0xFF));
    QCOMPARE(mSeams->beeps, 0);
    if (openAfter) {
        QCOMPARE(w->MySerial.SerialPort.Name, board.Name());
        QCOMPARE(w->MySerial.Baud, 9600);
    }
}

// A session the user opened by hand during the run: a second Start leaves it be, and the
// completion's toggle closes it when the box is ticked.
void TstRunSession::completionTogglesUsersSession() {
    Pty board;
    QVERIFY(board.Open());
    EspWin* w = StartUp(board);
    LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
    w->AutoConnectCB.SetValue(true);

    QSignalSpy done(&w->esptool, &Shell::Completed);
    w->StartPB.Push();
    QVERIFY(!w->termConnected);
    w->ConnectPB.Push();
    QVERIFY(w->mConnected);
    w->StartPB.Push();
    QVERIFY(w->mConnected);
    QVERIFY(!w->termConnected);

    QVERIFY(WriteFile(mToolDir + "/go", ""));
    QVERIFY(done.wait(kLong));
    QVERIFY(!w->mConnected);
    QVERIFY(!w->MySerial.IsOpen());
    QCOMPARE(w->ConnectPB.Caption(), QString("Connect"));
}

QTEST_MAIN(TstRunSession)
#include "tst_runsession.moc"
