#include "platform/Timer.h"

#include <QTimer>

Timer::Timer() : mTimer(new QTimer(this)) {
    connect(mTimer, &QTimer::timeout, this, [this] {
        if (mMode == 1)
            mMode = 0;
        emit Action();
    });
}

void Timer::SetMode(int mode) {
    mMode = mode;
    mTimer->stop();
    if (mode == 0)
        return;
    mTimer->setSingleShot(mode == 1);
    mTimer->start(mPeriod);
}

void Timer::SetPeriod(int milliseconds) {
    mPeriod = milliseconds;
    if (mTimer->isActive())
        mTimer->start(mPeriod);
}
