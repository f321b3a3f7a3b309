#pragma once

#include <QObject>

class QTimer;

// Mode 0 off, 1 fires once after Period milliseconds, 2 fires every Period.
class Timer : public QObject {
    Q_OBJECT
public:
    Timer();
    int Mode() const { return mMode; }
    void SetMode(int mode);
    int Period() const { return mPeriod; }
    void SetPeriod(int milliseconds);

signals:
    void Action();

private:
    QTimer* mTimer;
    int mMode = 0;
    int mPeriod = 1000;
};
