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

// How many times events have run from inside a handler so far: a loop that notes it can tell
// whether anything else may have run, and changed what it works on, since.
unsigned EventRounds();
