#pragma once

// Lets pending events run from inside a long loop, at most every few milliseconds so that
// the loop keeps its speed. Returns true when events were processed.
bool LetOtherEventsRun();
