#pragma once

namespace host {

// LwipcEventDone makes the event's file below the root of the set: the path of the event, with
// this process's number and a line end in it. The first event also tells the service manager
// that the service is ready, even when its file cannot be made: a manager that waited for it
// would kill a service that serves. Such an event remains to be announced: AnnounceRemainingEvents
// is called again and again for those of the service's creation. One that fails later is tried
// again only as long as any of these is left.

// Tries again to make the files of the events that remain, for the disk may have room again.
// Returns whether none is left. A failure is logged when its reason is a new one. Any thread.
bool AnnounceRemainingEvents();

// Takes back the events that were announced in this set, those of a run that was killed
// included, and forgets those that remain: a client that comes from now on waits for the next
// announcement. Only what still looks like an event's file is removed. Called before the service
// serves and after it has ended, and only by the process that owns the service's name. A failure
// is logged.
void WithdrawReadyEvents();

}  // namespace host
