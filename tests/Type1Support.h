#pragma once

// A time bound for the type 1 tests: the readers' loops let other events run, so a loop that
// never ends is stopped by closing the window, and the case fails instead of hanging.

#include "window/EspWin.h"

#include <QObject>
#include <QTimer>

namespace Type1Support {

class Watchdog {
public:
    explicit Watchdog(int milliseconds = 60000) {
        mTimer.setSingleShot(true);
        QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] {
            mFired = true;
            if (EspWin* w = EspWin::Existing())
                w->Close();
        });
        mTimer.start(milliseconds);
    }
    bool Fired() const { return mFired; }

private:
    QTimer mTimer;
    bool mFired = false;
};

} // namespace Type1Support
