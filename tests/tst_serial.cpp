#include "PortTreeSupport.h"
#include "SerialSupport.h"

#include "platform/PortList.h"
#include "platform/SerialPorts.h"
#include "serial/Monitor.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QMainWindow>
#include <QScrollBar>
#include <QSignalSpy>

#include <stdexcept>

using namespace TestSupport;
using namespace SerialSupport;

namespace {

// "ttyS0 ttyUSB0@10c4": ports in the machine's order, each with the USB vendor of its adapter.
QList<SerialPort> Ports(const QString& text) {
    QList<SerialPort> ports;
    for (const QString& s : text.split(' ', Qt::SkipEmptyParts))
        ports << SerialPort{s.section('@', 0, 0), "/dev/null", quint16(s.section('@', 1).toUInt(nullptr, 16))};
    return ports;
}

QString Describe(const QList<SerialPort>& ports, bool vendors = true) {
    QStringList names;
    for (const SerialPort& p : ports)
        names << p.Name + (p.VendorId && vendors ? '@' + QString::number(p.VendorId, 16).rightJustified(4, '0') : "");
    return names.join(' ');
}

QString Rows(const PopupMenu& menu) {
    QStringList rows;
    for (int i = 0; i < menu.ListCount(); ++i)
        rows << menu.List(i);
    return rows.join(' ');
}

void SelectRow(PopupMenu& menu, const QString& text) {
    menu.SetListIndex(Rows(menu).split(' ').indexOf(text));
}

} // namespace

class TstSerial : public QObject {
    Q_OBJECT
    std::optional<SeamRecorder> mSeams;
    EspWin* w = nullptr;
    Pty mBoard; // the board of most tests
    QString mClosedCaption;
    QColor mClosedBack;

    // The window on these ports; what it shows at first is the look of a closed session.
    void Start(const QList<SerialPort>& ports) {
        mSeams->ports = ports;
        w = NewWindow();
        w->Show();
        mClosedCaption = w->ConnectPB.Caption();
        mClosedBack = w->rEF.BackColor();
    }

    // The session as the window shows it: open on `device`, or closed when that is empty.
    void Expect(const QString& device) {
        const bool open = !device.isEmpty();
        QCOMPARE(w->mConnected, open);
        QCOMPARE(w->MySerial.IsOpen(), open);
        QCOMPARE(open ? w->MySerial.SerialPort.Device : device, device);
        QCOMPARE(w->ConnectPB.Caption() == mClosedCaption, !open);
        QCOMPARE(w->rEF.BackColor() == mClosedBack, !open);
    }

    // What went to the board up to a marker sent after it: nothing else went out with the keys.
    QByteArray SentToBoard() {
        w->rEF_KeyDown("|");
        QByteArray got;
        (void)QTest::qWaitFor([&] { return (got += mBoard.Receive()).endsWith('|'); }, 10000);
        return got;
    }

private slots:
    void init() { mSeams.emplace(); }
    void cleanup() {
        DisposeWindow();
        mBoard.Close();
        QCOMPARE(mSeams->beeps, 0); // a test that expects beeps takes them off
    }

    // Ports listed from machines laid out as sysfs, as Qt lists them; this machine's, as Qt and the popup do.
    void listing() {
        for (const PortTree::Layout& layout : PortTree::Layouts()) {
            QTemporaryDir dir;
            PortTree::Machine m(dir.path());
            layout.build(m);
            QCOMPARE(Describe(ListSerialPorts({m.Sys().toUtf8(), m.Proc().toUtf8(), m.Dev().toUtf8()})), layout.ports);
        }
        // Which present port a name stands for: the machine's list now, not the popup's.
        mSeams->ports = {{"ttyS0", "/dev/S0"}, {"ttyUSB0", "/dev/USB0"}, {"ttyACM0", "/dev/1"}, {"ttyACM0", "/dev/2"}};
        for (const QString& c : {"ttyUSB0=/dev/USB0", "TTYusb0=/dev/USB0", "ttyACM0=/dev/1", "ttyUSB1=none", "=none"}) {
            const std::optional<SerialPort> port = FindPresentPort(c.section('=', 0, 0));
            QCOMPARE(port ? port->Device : "none", c.section('=', 1));
        }
        QCOMPARE(System::SerialPortAt(4).Name, QString());
        QCOMPARE(Describe(ListSerialPorts(), false), Describe(ListSerialPortsByQt(), false));
        Seams::SetSerialPorts({});
        QList<SerialPort> popup;
        for (int i = 0, count = System::SerialPortCount(); i < count; ++i)
            popup << System::SerialPortAt(i);
        QCOMPARE(Describe(popup), Describe(ListSerialPorts()));
    }

    // The ports in the machine's order, the row offered first at start and on a rescan, its changes.
    void portRows() {
        for (const auto& [ports, row, changes] : {std::tuple{"", -1, 0},
                                                  {"ttyS0", 0, 1},
                                                  {"ttyS0 ttyS1 ttyUSB0@10c4", 2, 2},
                                                  {"ttyUSB0@10c4 ttyS1", 0, 1},
                                                  {"ttyS0 ttyACM0@303a", 1, 2}}) {
            Start(Ports(ports));
            QCOMPARE(Rows(w->PortPM), Describe(Ports(ports), false));
            QCOMPARE(w->PortPM.ListIndex(), row);
            w->PortPM.SetListIndex(row == 0 ? 1 : 0);
            w->ConnectPB.SetCaption("stale");
            QSignalSpy change(&w->PortPM, &PopupMenu::Change);
            w->ScanBtn.Push();
            QCOMPARE(change.count(), changes);
            QCOMPARE(w->PortPM.ListIndex(), row);
            QCOMPARE(w->ConnectPB.Caption(), changes ? mClosedCaption : "stale");
            DisposeWindow();
        }
    }

    // A list that fails part way keeps the rows so far, with none selected.
    void failingList() {
        const QList<SerialPort> ports = Ports("ttyS0 ttyS1 ttyUSB0@10c4 ttyS3");
        Start(ports);
        // The count is the first asking, then one for each port.
        for (const QString& c : {"1:", "2:", "4:ttyS0 ttyS1"}) {
            Seams::SetSerialPorts([calls = 0, failingCall = c.section(':', 0, 0).toInt(), ports]() mutable {
                if (++calls == failingCall)
                    throw std::runtime_error("the driver went away");
                return ports;
            });
            w->ScanBtn.Push();
            QCOMPARE(Rows(w->PortPM), c.section(':', 1));
            QCOMPARE(w->PortPM.ListIndex(), -1);
        }
    }

    // Connect toggles, on a name in any case, at the monitor's speed of the moment; a session stays
    // on its port whatever the list does; the flash speed comes back to the last connect's.
    void session() {
        Pty bridge;
        QVERIFY(mBoard.Open() && bridge.Open());
        Start({mBoard.Port(), SerialPort{"ttyUSB0", bridge.slavePath, 0x10C4}});
        w->PortPM.SetListIndex(0);
        SelectRow(w->BaudPM, "57600");
        w->ConnectPB.Push();
        Expect(mBoard.slavePath);
        w->ScanBtn.Push(); // back on the bridge's row
        QCOMPARE(w->PortPM.ListIndex(), 1);
        QVERIFY(w->RbPortOpen("ttyUSB0"));
        SelectRow(w->BaudPM, "750000");
        SelectRow(w->BaudPMs, "921600");
        Expect(mBoard.slavePath);
        QCOMPARE(LineSettingsOf(mBoard.slavePath).ospeed, speed_t(115200));
        w->BaudPM_Open();
        w->BaudPMs_Open();
        QCOMPARE(w->BaudPM.Text() + ' ' + w->BaudPMs.Text(), "57600 " + Speeds::kMonitorOpenSpeed);
        w->DoDisconnect();
        Expect({});
        w->ConnectPB.Push();
        Expect(bridge.slavePath);
        w->DoConnect("ttyNOWHERE"); // while open, any name is the toggle
        Expect({});
        w->DoConnect(mBoard.Name().toUpper());
        Expect(mBoard.slavePath);
        const QStringList recent(w->mPortName.begin(), w->mPortName.begin() + 3);
        QCOMPARE(recent.join(' '), mBoard.Name().toUpper() + " ttyUSB0 " + mBoard.Name());
        w->DoDisconnect();
        w->DoDisconnect();
        Expect({});
        // Each speed reaches the line, with 8 data bits, no parity, one stop bit, no flow control.
        for (const QString& speed : Speeds::MonitorRows()) {
            SelectRow(w->BaudPMs, speed);
            w->ConnectPB.Push();
            const LineSettings line = LineSettingsOf(bridge.slavePath);
            QCOMPARE(int(line.ospeed), speed.toInt());
            QCOMPARE(line.cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t(CS8));
            QCOMPARE(line.iflag & (IXON | IXOFF), tcflag_t(0));
            w->ConnectPB.Push();
        }
    }

    // A port that can't be had beeps, each time, and the window stays as it was.
    void failures() {
        QTemporaryDir dir;
        QVERIFY(WriteFile(dir.filePath("ttyFILE"), "not a line"));
        for (const QString& why : {"no ports at all", "stale row", "device missing", "not a terminal"}) {
            const QString device = dir.filePath(why.startsWith("not") ? "ttyFILE" : "ttyGHOST");
            Start(why.startsWith("no") ? QList<SerialPort>() : QList<SerialPort>{{"ttyX", device}});
            if (why == "stale row")
                mSeams->ports.clear();
            const QString lastBaudRate = w->mLastBaudRate;
            SelectRow(w->BaudPM, "115200");
            w->ConnectPB.Push();
            w->ConnectPB.Push();
            w->DoConnect("ttyNOWHERE"); // a name the popup never showed
            QVERIFY2(mSeams->beeps == 3, qPrintable(why));
            Expect({});
            QCOMPARE(w->mPortName[0] + w->mLastBaudRate, lastBaudRate);
            mSeams->beeps = 0;
            DisposeWindow();
        }
    }

    // The board's banner, a typed line and its echo, a clear, a stream at full speed; then unplugged,
    // the dead line costs no CPU and takes no keys, and the window says open until closed.
    void virtualBoard() {
        VirtualBoard board;
        QVERIFY(board.Start());
        Start({board.Port()});
        w->ConnectPB.Push();
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith(kBannerEnd), 20000);
        QTest::keyClicks(w->rEF.Widget(), "hello\r");
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith(QString(kBannerEnd) + "hello\nhello\r\n"), 20000);
        w->ScanBtn2.Push();
        QCOMPARE(w->rEF.Text(), QString());
        Expect(board.Device());
        const int size = 256 * 1024 + 5;
        w->MySerial.Write(QString("stream %1\r").arg(size));
        QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() >= size, 60000);
        QCOMPARE(w->rEF.Text(), QString::fromLatin1(StreamText(size)));
        QVERIFY(!w->MySerial.Lost());
        board.Unplug();
        QTRY_VERIFY_WITH_TIMEOUT(w->MySerial.Lost() && !w->MySerial.IsOpen(), 20000);
        const double cpu = CpuSeconds();
        QTest::qWait(1000); // a second of running events, which a spinning notifier would fill
        QVERIFY2(CpuSeconds() - cpu < 0.5, qPrintable(QString::number(CpuSeconds() - cpu)));
        QVERIFY(!w->rEF_KeyDown("x"));
        QVERIFY(w->mConnected && w->ConnectPB.Caption() != mClosedCaption);
        w->ConnectPB.Push();
        Expect({});
    }

    // Shown as it comes: half a line at once, one character for each byte; the view follows the end.
    void bytesAsTheyCome() {
        QVERIFY(mBoard.Open());
        Start({mBoard.Port()});
        w->ConnectPB.Push();
        mBoard.Send("boot:");
        QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString("boot:"), 10000);
        QByteArray rest = "0x1\r\n\xc3\xa9 ";
        for (int b = 0x80; b <= 0xFF; ++b)
            rest += char(b);
        for (int i = 0; i < 100; ++i)
            rest += "\r\nline " + QByteArray::number(i);
        mBoard.Send(rest);
        QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString::fromLatin1("boot:" + rest), 10000);
        const QScrollBar* bar = static_cast<QAbstractScrollArea*>(w->rEF.Widget())->verticalScrollBar();
        QVERIFY(bar->maximum() > 0);
        QCOMPARE(w->rEF.ScrollPosition(), bar->maximum());
    }

    // Keys to the board only in a session, Ctrl+letter as its control character, else the menu's.
    void keys() {
        QVERIFY(mBoard.Open());
        Start({mBoard.Port()});
        // Shortcuts work only in the active window, and the pane gets keys only with the focus.
        QWidget* pane = w->rEF.Widget();
        w->mWindow.Widget()->activateWindow();
        pane->setFocus();
        QVERIFY(QTest::qWaitForWindowActive(w->mWindow.Widget()) &&
                QTest::qWaitFor([pane] { return pane->hasFocus(); }));
        QVERIFY(!w->rEF_KeyDown("q"));
        QTest::keyClicks(pane, "typed\ron");
        QCOMPARE(w->rEF.Text(), QString("typed\non"));

        w->ConnectPB.Push();
        QTest::keyClicks(pane, "aA7 \r\b\x1b");
        QTest::keyClick(pane, Qt::Key_Left); // no text
        QCOMPARE(SentToBoard(), QByteArray("aA7 \r\b\x1b|"));
        w->ScanBtn2.Push();
        mBoard.Send(">>> boot ok\r\n");
        QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString(">>> boot ok\r\n"), 10000);
        w->mWindow.Widget()->findChild<QAction*>("EditSelectAll")->trigger();
        QTest::keyClick(pane, Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
        QTest::keyClick(pane, Qt::Key_End, Qt::ControlModifier);
        QTest::keyClick(pane, Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
        QTest::keyClick(pane, Qt::Key_C, Qt::ControlModifier);
        QTest::keyClick(pane, Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(SentToBoard(), QByteArray("\x03\x04|"));
        QCOMPARE(w->rEF.Text(), QString(">>> boot ok\r\n>>> boot ok\n"));
        // With the session closed, the Edit menu's keys are the menu's again.
        w->ConnectPB.Push();
        for (const QString& c : {"AEditSelectAll", "CEditCopy", "XEditCut", "VEditPaste", "ZEditUndo"}) {
            QSignalSpy triggered(w->mWindow.Widget()->findChild<QAction*>(c.mid(1)), &QAction::triggered);
            QTest::keyClick(pane, Qt::Key(c.at(0).unicode()), Qt::ControlModifier);
            QVERIFY2(triggered.count() == 1, qPrintable(c));
        }
    }
};

QTEST_MAIN(TstSerial)
#include "tst_serial.moc"
