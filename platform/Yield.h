#pragma once

// Lets pending events run from inside a long loop, at most every few milliseconds so that
// the loop keeps its speed. Returns true when events were processed.
bool LetOtherEventsRun();

// Marks code that runs events from inside a handler (a yield, a modal dialog), so that
// nothing tears down a window while one of its handlers waits further up the stack.
class NestedEventScope {
public:
    NestedEventScope();
    ~NestedEventScope();
    NestedEventScope(const NestedEventScope&) = delete;
    NestedEventScope& operator=(const NestedEventScope&) = delete;
};

bool InNestedEvents();
