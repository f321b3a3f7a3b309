#include "platform/Yield.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <ctime>

namespace {
int gNesting = 0;
unsigned gRounds = 0;
} // namespace

NestedEventScope::NestedEventScope() {
    ++gNesting;
    ++gRounds;
}

NestedEventScope::~NestedEventScope() {
    --gNesting;
}

bool InNestedEvents() {
    return gNesting > 0;
}

unsigned EventRounds() {
    return gRounds;
}

namespace {

// Milliseconds from a clock that is cheap to read: loops ask on every pass, and a few
// milliseconds of coarseness don't matter for how often events run.
long long CoarseMs() {
#ifdef CLOCK_MONOTONIC_COARSE
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
#else
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    return clock.elapsed();
#endif
}

} // namespace

bool LetOtherEventsRun() {
    static long long last = -1;
    const long long now = CoarseMs();
    if (last >= 0 && now - last < 8)
        return false;
    {
        const NestedEventScope scope;
        QCoreApplication::processEvents();
    }
    last = CoarseMs();
    return true;
}
