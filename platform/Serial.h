#pragma once

#include "platform/SerialPort.h"

#include <QObject>
#include <QString>

class QSerialPort;

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
