#include "PortTreeSupport.h"
#include "SerialSupport.h"
#include "TestSupport.h"

#include "platform/PortList.h"
#include "platform/SerialPorts.h"
#include "serial/Monitor.h"
#include "window/EspWin.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <stdexcept>

using namespace TestSupport;

namespace {

// "ttyUSB0@10c4": a port and the USB vendor of its adapter.
QList<SerialPort> PortsNamed(const QStringList& rows) {
    QList<SerialPort> ports;
    for (const QString& row : rows)
        ports << SerialPort{row.section('@', 0, 0), QStringLiteral("/dev/null"),
                            quint16(row.section('@', 1).toUInt(nullptr, 16))};
    return ports;
}

QStringList Specs(const QList<SerialPort>& ports) {
    QStringList specs;
    for (const SerialPort& p : ports)
        specs << (p.VendorId ? p.Name + '@' + QString::number(p.VendorId, 16).rightJustified(4, '0') : p.Name);
    return specs;
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
    void listing_data();
    void listing();
    void listingAsQtOnThisMachine();
    void changesOfARescan_data();
    void changesOfARescan();
    void failingListKeepsRowsSoFar_data();
    void failingListKeepsRowsSoFar();
    void rescanDuringSession();
};

void TstPorts::defaultRow_data() {
    QTest::addColumn<QStringList>("ports");
    QTest::addColumn<int>("selected");
    QTest::addColumn<int>("byName");

    QTest::newRow("no ports") << QStringList{} << -1 << 0;
    QTest::newRow("one built-in port") << QStringList{"ttyS0"} << 0 << 0;
    QTest::newRow("only built-in ports") << QStringList{"ttyS0", "ttyS1"} << 0 << 0;
    QTest::newRow("CP210x behind built-in ports") << QStringList{"ttyS0", "ttyS1", "ttyUSB0@10c4"} << 2 << 0;
    QTest::newRow("CP210x beats an earlier CH340") << QStringList{"ttyS0", "ttyUSB0@1a86", "ttyUSB1@10c4"} << 2 << 0;
    QTest::newRow("first of two CP210x") << QStringList{"ttyS0", "ttyUSB3@10c4", "ttyUSB0@10c4"} << 1 << 0;
    QTest::newRow("no CP210x: an FTDI") << QStringList{"ttyS0", "ttyUSB0@0403"} << 1 << 0;
    QTest::newRow("no CP210x: the ESP32-S3's own USB") << QStringList{"ttyS0", "ttyACM0@303a"} << 1 << 0;
    QTest::newRow("ttyACM without a vendor") << QStringList{"ttyS0", "ttyS1", "ttyACM0"} << 2 << 0;
    QTest::newRow("ttyUSB without a vendor") << QStringList{"ttyS4", "ttyUSB3"} << 1 << 0;
    QTest::newRow("USB by vendor alone") << QStringList{"ttyS0", "rfcomm0", "ttyXRUSB0@04e2"} << 2 << 0;
    QTest::newRow("CP210x first") << QStringList{"ttyUSB0@10c4", "ttyACM0@303a"} << 0 << 0;
    // macOS's names: the name rule takes the fragment byte-exact; on Linux it means nothing.
    QTest::newRow("macOS bridge second") << QStringList{"ttyS0", "cu.SLAB_USBtoUART"} << 0 << 1;
    QTest::newRow("macOS bridge twice") << QStringList{"ttyS0", "SLAB_USBtoUART7", "SLAB_USBtoUART"} << 0 << 1;
    QTest::newRow("macOS bridge in other case") << QStringList{"ttyS0", "slab_usbtouart", "SLAB_USBTOUART"} << 0 << 0;
    QTest::newRow("macOS bridge inside the name") << QStringList{"Bluetooth", "tty.SLAB_USBtoUART-1"} << 0 << 1;
}

void TstPorts::defaultRow() {
    QFETCH(QStringList, ports);
    QFETCH(int, selected);
    QFETCH(int, byName);
    QCOMPARE(DefaultPortRowByName(PortsNamed(ports)), byName);
#ifdef Q_OS_MACOS
    selected = ports.isEmpty() ? -1 : byName;
#endif
    QStringList names;
    for (const SerialPort& port : PortsNamed(ports))
        names << port.Name;
    AppFolderLayout layout;
    SeamRecorder seams;
    seams.ports = PortsNamed(ports);

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
    seams.ports << SerialPort{QStringLiteral("ttyS9"), QStringLiteral("/dev/null")};
    QCOMPARE(w->PortPM.ListCount(), names.size());
    w->ScanBtn.Push();
    QCOMPARE(Rows(w->PortPM), names + QStringList{"ttyS9"});
    QCOMPARE(w->PortPM.ListIndex(), qMax(selected, 0));
    QCOMPARE(seams.beeps, 0);
}

void TstPorts::changesOfARescan_data() {
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("changes");

    QTest::newRow("bridge past row 0") << QStringList{"ttyS0", "ttyS1", "ttyUSB0@10c4"} << 2;
    QTest::newRow("bridge at row 0") << QStringList{"ttyUSB0@10c4", "ttyS1"} << 1;
    QTest::newRow("no bridge") << QStringList{"ttyS0", "ttyS1"} << 1;
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
    const QList<SerialPort> ports = PortsNamed({"ttyS0", "ttyS1", "ttyUSB0@10c4", "ttyS3"});
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
    QCOMPARE(w->PortPM.ListIndex(), DefaultPortRow(ports));
}

void TstPorts::rescanDuringSession() {
    AppFolderLayout layout;
    SeamRecorder seams;
    Pty board, bridge;
    QVERIFY(board.Open() && bridge.Open());
    seams.ports = {board.Port(), SerialPort{QStringLiteral("ttyUSB0"), bridge.slavePath, 0x10C4}};
    EspWin* w = SerialSupport::NewWindow();
    QCOMPARE(w->PortPM.Text(), QString("ttyUSB0"));

    w->PortPM.SetListIndex(0);
    w->ConnectPB.Push();
    QVERIFY(w->mConnected);
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));

    w->ScanBtn.Push();
    QCOMPARE(w->PortPM.Text(), QString("ttyUSB0"));
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));
    QVERIFY(w->mConnected);
    QVERIFY(w->MySerial.IsOpen());
    QCOMPARE(w->MySerial.SerialPort.Device, board.slavePath);

    // Still the first board that talks to the pane.
    board.Send("still here\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().contains("still here"), 10000);
    QCOMPARE(seams.beeps, 0);
}

void TstPorts::listing_data() {
    QTest::addColumn<int>("layout");
    const auto layouts = PortTree::Layouts();
    for (int i = 0; i < layouts.size(); ++i)
        QTest::newRow(layouts.at(i).name) << i;
}

// The machine's sysfs as a tree of its own: the ports, order, names and vendors that Qt's
// listing gives for it (bench_ports holds the two side by side under udev).
void TstPorts::listing() {
    QFETCH(int, layout);
    QTemporaryDir dir;
    PortTree::Machine machine(dir.path());
    PortTree::Layouts().at(layout).build(machine);
    const QList<SerialPort> ports =
        ListSerialPorts({machine.Sys().toUtf8(), machine.Proc().toUtf8(), machine.Dev().toUtf8()});
    QCOMPARE(Specs(ports), PortTree::Layouts().at(layout).ports);
    for (const SerialPort& port : ports)
        QCOMPARE(port.Device, machine.Dev() + '/' + port.Name);
}

void TstPorts::listingAsQtOnThisMachine() {
    QStringList ours, qt;
    for (const SerialPort& port : ListSerialPorts())
        ours << port.Name + ' ' + port.Device;
    for (const SerialPort& port : ListSerialPortsByQt())
        qt << port.Name + ' ' + port.Device;
    QCOMPARE(ours, qt);
}

QTEST_MAIN(TstPorts)
#include "tst_ports.moc"
