#include "SerialSupport.h"
#include "TestSupport.h"

#include "platform/Serial.h"
#include "window/EspWin.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <stdexcept>

using namespace TestSupport;

namespace {

QList<SerialPort> PortsNamed(const QStringList& names) {
    QList<SerialPort> ports;
    for (const QString& name : names)
        ports << SerialPort{name, QStringLiteral("/dev/null")};
    return ports;
}

QStringList Rows(const PopupMenu& menu) {
    QStringList rows;
    for (int i = 0; i < menu.ListCount(); ++i)
        rows << menu.List(i);
    return rows;
}

// One preset whose command is just the port, so the flash command shows which row won.
void LoadPortOnlyPreset(EspWin* w) {
    auto rec = std::make_shared<FirmClass>();
    rec->mName = QStringLiteral("probe");
    rec->mCommand = QStringList{QStringLiteral("--port %port")};
    rec->mFirmFolder = FolderItem(AppFolder());
    w->mFirm = {rec};
    w->PrisetPM.DeleteAllRows();
    w->PrisetPM.AddRow(rec->mName);
    w->PrisetPM.SetListIndex(0);
}

} // namespace

class TstPorts : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisposeWindow(); }
    void defaultRow_data();
    void defaultRow();
    void changesOfARescan_data();
    void changesOfARescan();
    void failingListKeepsRowsSoFar_data();
    void failingListKeepsRowsSoFar();
    void rescanDuringSession();
};

void TstPorts::defaultRow_data() {
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("selected");

    QTest::newRow("no ports") << QStringList{} << -1;
    QTest::newRow("one plain port") << QStringList{"ttyS0"} << 0;
    QTest::newRow("fragment second") << QStringList{"ttyS0", "cu.SLAB_USBtoUART"} << 1;
    QTest::newRow("fragment twice") << QStringList{"ttyACM0", "SLAB_USBtoUART7", "SLAB_USBtoUART"} << 1;
    QTest::newRow("other case is no match") << QStringList{"ttyS0", "slab_usbtouart", "SLAB_USBTOUART"} << 0;
    QTest::newRow("fragment inside the name") << QStringList{"ttyS0", "tty.SLAB_USBtoUART-1"} << 1;
    QTest::newRow("fragment first") << QStringList{"SLAB_USBtoUART", "ttyUSB0"} << 0;
}

void TstPorts::defaultRow() {
    QFETCH(QStringList, names);
    QFETCH(int, selected);
    AppFolderLayout layout;
    SeamRecorder seams;
    seams.ports = PortsNamed(names);

    // At start-up, through PortPM_Open.
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(Rows(w->PortPM), names);
    QCOMPARE(w->PortPM.ListIndex(), selected);
    QCOMPARE(w->PortPM.Text(), selected < 0 ? QString() : names.at(selected));

    // A rescan forgets a choice made by hand and comes back to the default.
    if (names.size() > 1)
        w->PortPM.SetListIndex(selected == 0 ? 1 : 0);
    w->ScanBtn.Push();
    QCOMPARE(Rows(w->PortPM), names);
    QCOMPARE(w->PortPM.ListIndex(), selected);

    // Ports that came since are listed on the next scan, in the machine's order.
    seams.ports << SerialPort{QStringLiteral("ttyUSB9"), QStringLiteral("/dev/null")};
    QCOMPARE(w->PortPM.ListCount(), names.size());
    w->ScanBtn.Push();
    QCOMPARE(Rows(w->PortPM), names + QStringList{"ttyUSB9"});
    QCOMPARE(w->PortPM.ListIndex(), qMax(selected, 0));
    QCOMPARE(seams.beeps, 0);
}

void TstPorts::changesOfARescan_data() {
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("changes");

    QTest::newRow("fragment past row 0") << QStringList{"ttyS0", "ttyS1", "SLAB_USBtoUART"} << 2;
    QTest::newRow("fragment at row 0") << QStringList{"SLAB_USBtoUART", "ttyS1"} << 1;
    QTest::newRow("no fragment") << QStringList{"ttyS0", "ttyS1"} << 1;
    QTest::newRow("no ports") << QStringList{} << 0;
}

void TstPorts::changesOfARescan() {
    QFETCH(QStringList, names);
    QFETCH(int, changes);
    AppFolderLayout layout;
    SeamRecorder seams;
    seams.ports = PortsNamed(names);
    EspWin* w = SerialSupport::NewWindow();
    LoadPortOnlyPreset(w);

    w->ConnectPB.SetCaption(QStringLiteral("stale"));
    QSignalSpy change(&w->PortPM, &PopupMenu::Change);
    w->ScanBtn.Push();
    QCOMPARE(change.count(), changes);
    if (changes == 0) {
        QCOMPARE(w->ConnectPB.Caption(), QString("stale"));
        return;
    }
    // Each change set the caption from the session state and recomposed the command,
    // the last one with the row the scan ended on.
    QCOMPARE(w->ConnectPB.Caption(), QString("Connect"));
    QCOMPARE(w->InstallEF.Text().section(' ', -1), System::DevicePath(w->PortPM.Text()));
}

void TstPorts::failingListKeepsRowsSoFar_data() {
    QTest::addColumn<int>("failingCall");
    QTest::addColumn<QStringList>("rows");

    // The first asking is the count, then one per port.
    QTest::newRow("count fails") << 1 << QStringList{};
    QTest::newRow("first port fails") << 2 << QStringList{};
    QTest::newRow("third port fails") << 4 << QStringList{"ttyS0", "ttyS1"};
}

void TstPorts::failingListKeepsRowsSoFar() {
    QFETCH(int, failingCall);
    QFETCH(QStringList, rows);
    AppFolderLayout layout;
    SeamRecorder seams;
    const QList<SerialPort> ports = PortsNamed({"ttyS0", "ttyS1", "SLAB_USBtoUART", "ttyS3"});
    Seams::SetSerialPorts([ports] { return ports; });
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(w->PortPM.ListCount(), 4);

    int calls = 0;
    Seams::SetSerialPorts([&calls, failingCall, ports]() -> QList<SerialPort> {
        if (++calls == failingCall)
            throw std::runtime_error("the driver went away");
        return ports;
    });
    w->ScanBtn.Push();
    QCOMPARE(Rows(w->PortPM), rows);
    QCOMPARE(w->PortPM.ListIndex(), -1);
    QCOMPARE(w->PortPM.Text(), QString());
    QCOMPARE(seams.beeps, 0);

    // The next scan, on a healthy list, is whole again.
    Seams::SetSerialPorts([ports] { return ports; });
    w->ScanBtn.Push();
    QCOMPARE(w->PortPM.ListCount(), 4);
    QCOMPARE(w->PortPM.Text(), QString("SLAB_USBtoUART"));
}

void TstPorts::rescanDuringSession() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board, bridge;
    QVERIFY(board.Open() && bridge.Open());
    seams.ports = {board.Port(), SerialPort{QStringLiteral("SLAB_USBtoUART"), bridge.slavePath}};
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(w->PortPM.Text(), QString("SLAB_USBtoUART"));

    w->PortPM.SetListIndex(0);
    w->ConnectPB.Push();
    QVERIFY(w->mConnected);
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));

    w->ScanBtn.Push();
    QCOMPARE(w->PortPM.Text(), QString("SLAB_USBtoUART"));
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));
    QVERIFY(w->mConnected);
    QVERIFY(w->MySerial.IsOpen());
    QCOMPARE(w->MySerial.SerialPort.Device, board.slavePath);

    // Still the first board that talks to the pane.
    board.Send("still here\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().contains("still here"), 10000);
    QCOMPARE(seams.beeps, 0);
}

QTEST_MAIN(TstPorts)
#include "tst_ports.moc"
