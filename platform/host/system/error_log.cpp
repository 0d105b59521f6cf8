#include "system/error_log.h"

#include "dlog.h"

namespace host {

void LogError(const char* tag, const std::string& line) {
  __dlog_print(LOG_ID_MAIN, DLOG_ERROR, tag, "%s\n", line.c_str());
}

}  // namespace host
