#pragma once

extern "C" {

// Announces that the event named by the absolute path `event` has happened: it wakes those who wait
// for it, and those who ask later find it done (docs/lifecycle.md). Returns 0, or a negative number
// when the event could not be announced. Any thread.
int LwipcEventDone(const char* event);

}  // extern "C"
