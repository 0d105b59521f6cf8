#pragma once

namespace host {

// AppMain calls it when this process became the service and before the service's own start. An
// exception that leaves it is logged, and the start goes on. The program says what it does: the
// framework knows no set.
void PrepareSet();

}  // namespace host
