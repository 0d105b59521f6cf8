#pragma once

// The platform's watchdog over processes that no longer answer (docs/lifecycle.md).

extern "C" {

// Puts the calling process under the watchdog's care. `level` tells the platform how to treat
// a process that stopped feeding it. Returns 0, or a negative number when the process is not
// watched. May be called again.
int smart_deadlock_register_watchdog_service(int level);

// Feeds the watchdog. Cheap; any thread, but only a call from the main loop proves that the
// main loop runs. Returns 0, or a negative number when nobody watches.
int smart_deadlock_watchdog_notify();

}  // extern "C"
