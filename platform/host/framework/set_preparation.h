#pragma once

namespace host {

// AppMain calls it when this process has become the service and before the service's own start. An
// exception that leaves it is logged, and the start goes on; it is called again every 10 seconds,
// on the main-loop thread, until it returns. The program provides it: the framework knows nothing
// of a set.
void PrepareSet();

}  // namespace host
