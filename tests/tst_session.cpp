#include "SerialSupport.h"
#include "TestSupport.h"

#include "platform/Serial.h"
#include "window/EspWin.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTest>

#include <memory>

#include <sys/ioctl.h>

using namespace TestSupport;
using namespace SerialSupport;

namespace {

// The kernel's own record of a line (termios2), which holds any speed, not only the named ones.
struct KernelTermios {
    tcflag_t c_iflag, c_oflag, c_cflag, c_lflag;
    cc_t c_line;
    cc_t c_cc[19];
    speed_t c_ispeed, c_ospeed;
};
const unsigned long kGetKernelTermios = _IOR('T', 0x2A, KernelTermios);

const QColor kWhite(0xFF, 0xFF, 0xFF);
const QColor kPink(0xFF, 0xE4, 0xFA);

bool LineSpeed(const QString& device, speed_t* speed) {
    const int fd = ::open(device.toLocal8Bit().constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return false;
    KernelTermios t{};
    const bool ok = ioctl(fd, kGetKernelTermios, &t) == 0;
    ::close(fd);
    *speed = t.c_ospeed;
    return ok;
}

void SelectRow(PopupMenu& menu, const QString& text) {
    for (int i = 0; i < menu.ListCount(); ++i)
        if (menu.List(i) == text)
            menu.SetListIndex(i);
    QCOMPARE(menu.Text(), text);
}

void VerifyClosed(EspWin* w) {
    QVERIFY(!w->mConnected);
    QVERIFY(!w->MySerial.IsOpen());
    QCOMPARE(w->ConnectPB.Caption(), QString("Connect"));
    QCOMPARE(w->rEF.BackColor(), kWhite);
}

void VerifyOpenOn(EspWin* w, const QString& device) {
    QVERIFY(w->mConnected);
    QVERIFY(w->MySerial.IsOpen());
    QCOMPARE(w->MySerial.SerialPort.Device, device);
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));
    QCOMPARE(w->rEF.BackColor(), kPink);
}

} // namespace

class TstSession : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisposeWindow(); }
    void speedPopups();
    void lineSettings_data();
    void lineSettings();
    void toggle();
    void failures_data();
    void failures();
    void nameIgnoresCase();
    void portChangeDuringSession();
    void speedChangeDuringSession();
    void disconnect();
    void recentPorts();
    void vanishedBoard();
};

void TstSession::speedPopups() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(w->BaudPM.Text(), QString("921600"));
    QCOMPARE(w->BaudPMs.Text(), QString("115200"));
    QCOMPARE(w->BaudPMs.ListIndex(), 10);

    // The flash speed of the last connect is what the popup comes back to.
    w->mLastBaudRate = QStringLiteral("460800");
    w->BaudPM.SetListIndex(0);
    w->BaudPM_Open();
    QCOMPARE(w->BaudPM.Text(), QString("460800"));
    w->BaudPMs.SetListIndex(0);
    w->BaudPMs_Open();
    QCOMPARE(w->BaudPMs.Text(), QString("115200"));

    // The flash speed feeds the command; the monitor's does not.
    auto rec = std::make_shared<FirmClass>();
    rec->mName = QStringLiteral("probe");
    rec->mCommand = QStringList{QStringLiteral("--baud %baud")};
    rec->mFirmFolder = FolderItem(AppFolder());
    w->mFirm = {rec};
    w->PrisetPM.AddRow(rec->mName);
    w->PrisetPM.SetListIndex(0);
    SelectRow(w->BaudPM, "750000");
    QVERIFY(w->InstallEF.Text().endsWith("--baud 750000"));
    SelectRow(w->BaudPMs, "9600");
    QVERIFY(w->InstallEF.Text().endsWith("--baud 750000"));
}

void TstSession::lineSettings_data() {
    QTest::addColumn<QString>("speed");
    for (const char* speed : {"2400", "4800", "7200", "9600", "14400", "19200", "28800", "38400", "57600", "76800",
                              "115200", "230400", "460800", "921600"})
        QTest::newRow(speed) << QString(speed);
}

void TstSession::lineSettings() {
    QFETCH(QString, speed);
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board;
    QVERIFY(board.Open());
    seams.ports = {board.Port()};
    EspWin* w = SerialSupport::NewWindow();
    SelectRow(w->BaudPMs, speed);

    w->ConnectPB.Push();
    VerifyOpenOn(w, board.slavePath);
    QCOMPARE(w->MySerial.Baud, speed.toInt());

    speed_t lineSpeed = 0;
    QVERIFY(LineSpeed(board.slavePath, &lineSpeed));
    QCOMPARE(int(lineSpeed), speed.toInt());

    // 8 data bits, no parity, one stop bit, and no flow control of either kind.
    termios t{};
    QVERIFY(LineSettings(board.slavePath, &t));
    QCOMPARE(t.c_cflag & CSIZE, tcflag_t(CS8));
    QCOMPARE(t.c_cflag & (PARENB | CSTOPB | CRTSCTS), tcflag_t(0));
    QCOMPARE(t.c_iflag & (IXON | IXOFF), tcflag_t(0));
    // The window's design-time line settings never reach a session.
    QVERIFY(!w->MySerial.CTS && !w->MySerial.DTR && !w->MySerial.XON);
    QVERIFY(!w->MySerial.RequestToSend && !w->MySerial.DataTerminalReady);
    QCOMPARE(seams.beeps, 0);
}

void TstSession::toggle() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board;
    QVERIFY(board.Open());
    seams.ports = {board.Port()};
    EspWin* w = SerialSupport::NewWindow();
    VerifyClosed(w);

    for (int round = 0; round < 2; ++round) {
        w->ConnectPB.Push();
        VerifyOpenOn(w, board.slavePath);
        QCOMPARE(w->mPortName[0], board.Name());
        QCOMPARE(w->mPortName[1], QString());
        QCOMPARE(w->mLastBaudRate, QString("921600"));

        w->ConnectPB.Push();
        VerifyClosed(w);
    }
    // The line is free again: another program can have it.
    Serial other;
    other.SerialPort = board.Port();
    other.CTS = false;
    QVERIFY(other.Open());
    QCOMPARE(seams.beeps, 0);
}

void TstSession::failures_data() {
    QTest::addColumn<QString>("why");
    QTest::newRow("no ports at all") << "none";
    QTest::newRow("stale row") << "stale";
    QTest::newRow("device missing") << "missing";
    QTest::newRow("not a terminal") << "file";
}

void TstSession::failures() {
    QFETCH(QString, why);
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString plainFile = dir.filePath("ttyFILE");
    QVERIFY(WriteFile(plainFile, "not a line"));

    if (why == "stale" || why == "missing")
        seams.ports = {SerialPort{"ttyGHOST", dir.filePath("ttyGHOST")}};
    else if (why == "file")
        seams.ports = {SerialPort{"ttyFILE", plainFile}};
    EspWin* w = SerialSupport::NewWindow();
    if (why == "stale")
        seams.ports.clear();
    SelectRow(w->BaudPM, "115200");

    for (int press = 1; press <= 2; ++press) {
        w->ConnectPB.Push();
        QCOMPARE(seams.beeps, press);
        VerifyClosed(w);
        QCOMPARE(w->mPortName[0], QString());
        QCOMPARE(w->mLastBaudRate, QString("921600"));
    }
    // The same for a name that PortPM never showed.
    w->DoConnect(QStringLiteral("ttyNOWHERE"));
    QCOMPARE(seams.beeps, 3);
    VerifyClosed(w);
}

void TstSession::nameIgnoresCase() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board;
    QVERIFY(board.Open());
    seams.ports = {SerialPort{"ttyUSB0", board.slavePath}};
    EspWin* w = SerialSupport::NewWindow();

    w->DoConnect(QStringLiteral("TTYusb0"));
    VerifyOpenOn(w, board.slavePath);
    QCOMPARE(w->mPortName[0], QString("TTYusb0"));
    // Asking again while open is the toggle, whatever the name.
    w->DoConnect(QStringLiteral("ttyUSB0"));
    VerifyClosed(w);
    QCOMPARE(seams.beeps, 0);
}

void TstSession::portChangeDuringSession() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty first, second;
    QVERIFY(first.Open() && second.Open());
    seams.ports = {first.Port(), second.Port()};
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(w->PortPM.ListIndex(), 0);

    w->ConnectPB.Push();
    VerifyOpenOn(w, first.slavePath);
    w->PortPM.SetListIndex(1);
    VerifyOpenOn(w, first.slavePath);
    QVERIFY(w->RbPortOpen(second.Name()));
    QCOMPARE(w->MySerial.SerialPort.Device, first.slavePath);

    w->ConnectPB.Push();
    VerifyClosed(w);
    w->ConnectPB.Push();
    VerifyOpenOn(w, second.slavePath);
    QCOMPARE(w->mPortName[0], second.Name());
    QCOMPARE(w->mPortName[1], first.Name());
    QCOMPARE(seams.beeps, 0);
}

void TstSession::speedChangeDuringSession() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board;
    QVERIFY(board.Open());
    seams.ports = {board.Port()};
    EspWin* w = SerialSupport::NewWindow();

    w->ConnectPB.Push();
    SelectRow(w->BaudPMs, "921600");
    speed_t lineSpeed = 0;
    QVERIFY(LineSpeed(board.slavePath, &lineSpeed));
    QCOMPARE(int(lineSpeed), 115200);
    QCOMPARE(w->MySerial.Baud, 115200);

    w->ConnectPB.Push();
    w->ConnectPB.Push();
    VerifyOpenOn(w, board.slavePath);
    QVERIFY(LineSpeed(board.slavePath, &lineSpeed));
    QCOMPARE(int(lineSpeed), 921600);
}

void TstSession::disconnect() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board;
    QVERIFY(board.Open());
    seams.ports = {board.Port()};
    EspWin* w = SerialSupport::NewWindow();

    // With nothing open, neither touches the window.
    w->ConnectPB.SetCaption(QStringLiteral("untouched"));
    w->rEF.SetBackColor(Qt::yellow);
    w->DoDisconnect();
    w->RbPortClose();
    QCOMPARE(w->ConnectPB.Caption(), QString("untouched"));
    QCOMPARE(w->rEF.BackColor(), QColor(Qt::yellow));
    QVERIFY(!w->mConnected);

    w->ConnectPB.Push();
    VerifyOpenOn(w, board.slavePath);
    w->DoDisconnect();
    VerifyClosed(w);
    w->DoDisconnect();
    VerifyClosed(w);
}

void TstSession::recentPorts() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = SerialSupport::NewWindow();

    const QStringList connects = {"a", "b", "B", "c", "d", "e", "f", "g"};
    for (const QString& name : connects)
        w->MemoPortInfo(name);
    // Newest first, a repeat of the newest (in any case) kept once, the oldest fallen off.
    const QStringList expected = {"g", "f", "e", "d", "c", "b"};
    for (int i = 0; i < 6; ++i)
        QCOMPARE(w->mPortName[i], expected.at(i));

    SelectRow(w->BaudPM, "57600");
    w->MemoPortInfo(QStringLiteral("G"));
    QCOMPARE(w->mPortName[0], QString("g"));
    QCOMPARE(w->mLastBaudRate, QString("57600"));
}

void TstSession::vanishedBoard() {
    AppFolderLayout layout;
    SeamRecorder seams;
    VirtualBoard board;
    QVERIFY(board.Start());
    seams.ports = {board.Port()};
    EspWin* w = SerialSupport::NewWindow();

    w->ConnectPB.Push();
    VerifyOpenOn(w, board.Device());
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().contains("virtual board ready"), 20000);

    // An idle opening of our own keeps the terminal's number from being handed to another
    // program beside this one once the board is gone, so the device stays missing.
    const int holder = ::open(board.Device().toLocal8Bit().constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    QVERIFY(holder >= 0);
    const auto release = qScopeGuard([holder] { ::close(holder); });
    board.Unplug();
    QTRY_VERIFY_WITH_TIMEOUT(w->MySerial.Lost() || !w->MySerial.IsOpen(), 20000);

    // A dead line must not keep the loop busy: measured over a second of running events.
    QElapsedTimer wall;
    wall.start();
    const double cpuBefore = CpuSeconds();
    QTRY_VERIFY_WITH_TIMEOUT(wall.elapsed() >= 1000, 20000);
    const double cpu = CpuSeconds() - cpuBefore;
    QVERIFY2(cpu < 0.5 * double(wall.elapsed()) / 1000.0, qPrintable(QString("CPU %1 s").arg(cpu)));

    // Not noticed: the window says open until the user closes it.
    QVERIFY(w->mConnected);
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));
    QCOMPARE(w->rEF.BackColor(), kPink);
    QVERIFY(!w->rEF_KeyDown(QStringLiteral("x")));

    w->ConnectPB.Push();
    VerifyClosed(w);
    QCOMPARE(seams.beeps, 0);
    // The list still names it, but the line is gone.
    QVERIFY(!QFileInfo::exists(board.Device()));
    w->ConnectPB.Push();
    QCOMPARE(seams.beeps, 1);
    VerifyClosed(w);
}

QTEST_MAIN(TstSession)
#include "tst_session.moc"
