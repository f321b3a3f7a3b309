#include "platform/Yield.h"

#include <QCoreApplication>
#include <QElapsedTimer>

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

bool LetOtherEventsRun() {
    static QElapsedTimer since;
    if (since.isValid() && since.elapsed() < 8)
        return false;
    {
        const NestedEventScope scope;
        QCoreApplication::processEvents();
    }
    since.start();
    return true;
}
