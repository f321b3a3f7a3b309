#include "platform/Timer.h"

#include <QTimer>

Timer::Timer() : mTimer(new QTimer(this)) {
    connect(mTimer, &QTimer::timeout, this, [this] {
        if (mMode == ModeSingle)
            mMode = ModeOff;
        emit Action();
    });
}

void Timer::SetMode(int mode) {
    mMode = mode;
    mTimer->stop();
    if (mode == ModeOff)
        return;
    mTimer->setSingleShot(mode == ModeSingle);
    mTimer->start(mPeriod);
}

void Timer::SetPeriod(int milliseconds) {
    mPeriod = milliseconds;
    if (mTimer->isActive())
        mTimer->start(mPeriod);
}
