#include "items/error_log.h"

#include "dlog.h"

namespace host {

void LogError(const std::string& line) {
  __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "settings-items", "%s\n", line.c_str());
}

}  // namespace host
