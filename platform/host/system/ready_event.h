#pragma once

namespace host {

// LwipcEventDone creates the event's file at the event's path below the root of the set; it
// contains this process's ID and a newline. The first event also tells the service manager that the
// service is ready, even if its file cannot be created: a waiting manager would kill a working
// service. Such an event remains to be announced: AnnounceRemainingEvents is called repeatedly for
// those of the service's creation. One that fails later is retried only as long as any of these is
// left.

// Tries again to create the files of the remaining events, because the disk may have room again.
// Returns whether none is left. A failure is logged if its reason is new. Any thread.
bool AnnounceRemainingEvents();

// Withdraws the events announced in this set, including those of a run that was killed, and forgets
// those that remain: clients from now on wait for the next announcement. Only what still looks like
// an event's file is removed. Called before the service starts and after it has ended, and only by
// the process that owns the service's name. A failure is logged.
void WithdrawReadyEvents();

}  // namespace host
