#pragma once

extern "C" {

// Announces that the event named by the absolute path `event` has happened; whoever waits for
// it goes on, and whoever asks later finds it done (docs/lifecycle.md). Returns 0, or a negative
// number when the event could not be announced. Any thread.
int LwipcEventDone(const char* event);

}  // extern "C"
