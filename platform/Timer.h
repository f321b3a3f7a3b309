#pragma once

#include <QObject>

class QTimer;

class Timer : public QObject {
    Q_OBJECT
public:
    // What SetMode takes and Mode gives.
    enum Modes {
        ModeOff = 0,
        // Fires once after Period milliseconds, then is off again.
        ModeSingle = 1,
        // Fires every Period milliseconds.
        ModeMultiple = 2,
    };

    Timer();
    int Mode() const { return mMode; }
    void SetMode(int mode);
    int Period() const { return mPeriod; }
    void SetPeriod(int milliseconds);

signals:
    void Action();

private:
    QTimer* mTimer;
    int mMode = ModeOff;
    int mPeriod = 1000;
};
