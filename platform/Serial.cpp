#include "platform/Serial.h"

#include "platform/SerialPorts.h"

#include <QSerialPort>

Serial::Serial() = default;

Serial::~Serial() {
    Close();
}

bool Serial::Open() {
    Close();
    mLost = false;
    mPort = new QSerialPort(this);
    mPort->setPortName(SerialPort.Device.isEmpty() ? System::DevicePath(SerialPort.Name) : SerialPort.Device);
    mPort->setBaudRate(Baud);
    mPort->setDataBits(QSerialPort::Data8);
    mPort->setParity(QSerialPort::NoParity);
    mPort->setStopBits(QSerialPort::OneStop);
    mPort->setFlowControl(CTS ? QSerialPort::HardwareControl
                              : (XON ? QSerialPort::SoftwareControl : QSerialPort::NoFlowControl));
    if (!mPort->open(QIODevice::ReadWrite)) {
        delete mPort;
        mPort = nullptr;
        return false;
    }
    // Modem lines can only be set on an open port; a line without them (a pty) just says no.
    mPort->setRequestToSend(RequestToSend);
    mPort->setDataTerminalReady(DataTerminalReady);
    mPort->clearError();
    connect(mPort, &QSerialPort::readyRead, this, &Serial::DataAvailable);
    connect(mPort, &QSerialPort::errorOccurred, this, &Serial::Failed);
    return true;
}

void Serial::Failed() {
    if (!mPort)
        return;
    const QSerialPort::SerialPortError error = mPort->error();
    if (error != QSerialPort::ResourceError && error != QSerialPort::ReadError)
        return;
    // The other end is gone: stop listening to a dead line, or its notifier would spin.
    mLost = true;
    mPort->disconnect(this);
    mPort->deleteLater();
    mPort = nullptr;
}

void Serial::Close() {
    if (!mPort)
        return;
    mPort->disconnect(this);
    mPort->close();
    delete mPort;
    mPort = nullptr;
}

bool Serial::IsOpen() const {
    return mPort && mPort->isOpen();
}

QString Serial::ReadAll() {
    return mPort ? QString::fromLatin1(mPort->readAll()) : QString();
}

void Serial::Flush() {
    if (mPort)
        mPort->flush();
}

void Serial::Write(const QString& text) {
    if (mPort && mPort->isOpen())
        mPort->write(text.toUtf8());
}
