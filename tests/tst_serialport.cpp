#include "TestSupport.h"

#include "platform/Serial.h"
#include "platform/SerialPorts.h"

#include <QSignalSpy>
#include <QTest>

#include <sys/resource.h>

using namespace TestSupport;

namespace {

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool OpenOn(Serial& serial, const Pty& pty, int baud) {
    serial.SerialPort = pty.Port();
    serial.Baud = baud;
    serial.XON = serial.CTS = serial.DTR = false;
    return serial.Open();
}

} // namespace

class TstSerialPort : public QObject {
    Q_OBJECT
private slots:
    void portList();
    void speeds_data();
    void speeds();
    void bytesBothWays();
    void vanishedBoard();
    void noSuchDevice();
};

void TstSerialPort::portList() {
    SeamRecorder seams;
    Pty a, b;
    QVERIFY(a.Open() && b.Open());
    seams.ports = {a.Port(), b.Port()};
    QCOMPARE(System::SerialPortCount(), 2);
    QCOMPARE(System::SerialPortAt(1).Name, b.Name());
    QCOMPARE(System::SerialPortAt(5).Name, QString());
    QCOMPARE(System::DevicePath("ttyUSB0"), QString("/dev/ttyUSB0"));
    QCOMPARE(System::DevicePath(a.Name()), a.slavePath);
}

void TstSerialPort::speeds_data() {
    QTest::addColumn<int>("baud");
    for (int baud : {2400, 7200, 14400, 76800, 115200, 750000, 921600})
        QTest::newRow(qPrintable(QString::number(baud))) << baud;
}

void TstSerialPort::speeds() {
    QFETCH(int, baud);
    Pty pty;
    QVERIFY(pty.Open());
    Serial serial;
    QVERIFY(OpenOn(serial, pty, baud));
    QVERIFY(serial.IsOpen());
    serial.Close();
    QVERIFY(!serial.IsOpen());
}

void TstSerialPort::bytesBothWays() {
    Pty pty;
    QVERIFY(pty.Open());
    Serial serial;
    QVERIFY(OpenOn(serial, pty, 115200));
    QSignalSpy data(&serial, &Serial::DataAvailable);
    pty.Send(QByteArray("boot\r\n\xe9\xff", 8));
    QString got;
    QTRY_VERIFY_WITH_TIMEOUT((got += serial.ReadAll()).size() >= 8, 10000);
    // One byte, one character: nothing is decoded.
    QCOMPARE(got, QString::fromLatin1("boot\r\n\xe9\xff", 8));
    QVERIFY(data.count() >= 1);

    serial.Write("hi\r");
    serial.Flush();
    QByteArray sent;
    QTRY_VERIFY_WITH_TIMEOUT((sent += pty.Receive()).size() >= 3, 10000);
    QCOMPARE(sent, QByteArray("hi\r"));
}

void TstSerialPort::vanishedBoard() {
    Pty pty;
    QVERIFY(pty.Open());
    Serial serial;
    QVERIFY(OpenOn(serial, pty, 115200));
    pty.Close(); // the board is unplugged
    QTRY_VERIFY_WITH_TIMEOUT(serial.Lost() || !serial.IsOpen(), 10000);
    // The dead line must not keep the loop busy.
    const double before = CpuSeconds();
    QTest::qWait(500);
    QVERIFY2(CpuSeconds() - before < 0.4, "the event loop spins on a dead line");
    serial.Write("x");
    serial.Close();
}

void TstSerialPort::noSuchDevice() {
    Serial serial;
    serial.SerialPort = SerialPort{"nothing", "/dev/no-such-port"};
    QVERIFY(!serial.Open());
    QVERIFY(!serial.IsOpen());
    QCOMPARE(serial.ReadAll(), QString());
}

QTEST_GUILESS_MAIN(TstSerialPort)
#include "tst_serialport.moc"
