#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QSerialPort;

// A serial port as the machine lists it: a short name, the device behind it, and the USB
// vendor of the adapter (0 when the port is no USB device).
struct SerialPort {
    QString Name;
    QString Device;
    quint16 VendorId = 0;
};

namespace System {
int SerialPortCount();
SerialPort SerialPortAt(int index);
// The device path the flash tool is given for a port row.
QString DevicePath(const QString& name);
} // namespace System

class Serial : public QObject {
    Q_OBJECT
public:
    Serial();
    ~Serial() override;

    ::SerialPort SerialPort;
    // Bits per second.
    int Baud = 921600;
    int Bits = 3;
    int Parity = 0;
    int Stop = 0;
    bool XON = false;
    bool CTS = true;
    bool DTR = true;
    bool RequestToSend = false;
    bool DataTerminalReady = false;

    bool Open();
    void Close();
    bool IsOpen() const;
    // All bytes waiting; each byte is one character (Latin-1), nothing is decoded.
    QString ReadAll();
    void Flush();
    void Write(const QString& text);
    // The line went away under an open session (the other end closed).
    bool Lost() const { return mLost; }

signals:
    void DataAvailable();

private:
    void Failed();

    QSerialPort* mPort = nullptr;
    bool mLost = false;
};
