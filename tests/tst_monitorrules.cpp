#include "platform/Seams.h"
#include "serial/Monitor.h"

#include <QTest>

// The serial monitor's window-free rules: the speed rows, which present port a name stands
// for, and the recent ports.
class TstMonitorRules : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { Seams::Reset(); }
    void speedRows();
    void rateOf_data();
    void rateOf();
    void findPresentPort_data();
    void findPresentPort();
    void rememberPort_data();
    void rememberPort();
};

void TstMonitorRules::speedRows() {
    // The popups start on the tool's and the monitor's usual speeds.
    QCOMPARE(Speeds::FlashRows().at(Speeds::kFlashStartRow), QString("921600"));
    QCOMPARE(Speeds::MonitorRows().at(Speeds::kMonitorStartRow), Speeds::kMonitorOpenSpeed);
    QCOMPARE(Speeds::RateOfRow(Speeds::kFlashStartRow), 921600);
    QCOMPARE(Speeds::RateOfRow(13), 750000);
    QCOMPARE(Speeds::RateOfRow(-1), 0);
    QCOMPARE(Speeds::RateOfRow(int(Speeds::FlashRows().size())), 0);
    // The monitor has every speed of the tool but 750000, in the same order.
    QStringList monitor = Speeds::FlashRows();
    monitor.removeOne("750000");
    QCOMPARE(Speeds::MonitorRows(), monitor);
    QCOMPARE(Speeds::MonitorRows().size(), 14);
}

void TstMonitorRules::rateOf_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("rate");
    QTest::newRow("a row") << "115200" << 115200;
    QTest::newRow("leading blanks") << "  9600" << 9600;
    QTest::newRow("cut toward zero") << "2400.9" << 2400;
    QTest::newRow("number at the head") << "460800 bps" << 460800;
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("no number") << "fast" << 0;
}

void TstMonitorRules::rateOf() {
    QFETCH(QString, text);
    QFETCH(int, rate);
    QCOMPARE(Speeds::RateOf(text), rate);
}

void TstMonitorRules::findPresentPort_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("device"); // "" for none
    QTest::newRow("exact") << "ttyUSB0"
                           << "/dev/ttyUSB0";
    QTest::newRow("letter case ignored") << "TTYusb0"
                                         << "/dev/ttyUSB0";
    QTest::newRow("first of two equal names") << "ttyACM0"
                                              << "/dev/first";
    QTest::newRow("gone") << "ttyUSB1"
                          << "";
    QTest::newRow("empty name") << ""
                                << "";
}

void TstMonitorRules::findPresentPort() {
    QFETCH(QString, name);
    QFETCH(QString, device);
    Seams::SetSerialPorts([] {
        return QList<SerialPort>{
            {"ttyS0", "/dev/ttyS0", 0},
            {"ttyUSB0", "/dev/ttyUSB0", 0x10C4},
            {"ttyACM0", "/dev/first", 0},
            {"ttyACM0", "/dev/second", 0},
        };
    });
    const std::optional<SerialPort> port = FindPresentPort(name);
    QCOMPARE(port ? port->Device : QString(), device);
}

void TstMonitorRules::rememberPort_data() {
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QStringList>("after");
    const QStringList none(6, QString());
    QTest::newRow("first") << none << "ttyUSB0" << QStringList{"ttyUSB0", "", "", "", "", ""};
    QTest::newRow("same again, other case") << QStringList{"ttyUSB0", "ttyS0", "", "", "", ""} << "TTYUSB0"
                                            << QStringList{"ttyUSB0", "ttyS0", "", "", "", ""};
    QTest::newRow("only the newest is compared") << QStringList{"ttyUSB0", "ttyS0", "", "", "", ""} << "ttyS0"
                                                 << QStringList{"ttyS0", "ttyUSB0", "ttyS0", "", "", ""};
    QTest::newRow("the oldest falls off")
        << QStringList{"a", "b", "c", "d", "e", "f"} << "g" << QStringList{"g", "a", "b", "c", "d", "e"};
}

void TstMonitorRules::rememberPort() {
    QFETCH(QStringList, before);
    QFETCH(QString, port);
    QFETCH(QStringList, after);
    RecentPorts recent;
    std::copy(before.begin(), before.end(), recent.begin());
    RememberPort(recent, port);
    QCOMPARE(QStringList(recent.begin(), recent.end()), after);
}

QTEST_GUILESS_MAIN(TstMonitorRules)
#include "tst_monitorrules.moc"
