#pragma once

namespace host {

// Has AppMain call `prepare` when this process became the service and before the service's own
// start. An exception that leaves it is logged, and the start goes on. One at most, named before
// main begins. Returns true.
bool PrepareSetWith(void (*prepare)());

}  // namespace host
