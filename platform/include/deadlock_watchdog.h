#pragma once

// The platform's watchdog for hung processes (docs/lifecycle.md).

extern "C" {

// Makes the watchdog watch the calling process. `level` tells the platform how to treat a process
// that stops feeding it. Returns 0, or a negative number when the process is not watched. May be
// called again.
int smart_deadlock_register_watchdog_service(int level);

// Feeds the watchdog. Cheap; any thread, but only a call from the main loop proves that the main
// loop runs. Returns 0, or a negative number when the process is not watched.
int smart_deadlock_watchdog_notify();

}  // extern "C"
