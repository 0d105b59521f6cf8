#include "framework/efl_log.h"

#include <Eina.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/utf8.h"
#include "dlog.h"
#include "system/exception_border.h"
#include "system/host.h"

namespace host {
namespace {

int Priority(Eina_Log_Level level) {
  switch (level) {
    case EINA_LOG_LEVEL_CRITICAL:
    case EINA_LOG_LEVEL_ERR:
      return DLOG_ERROR;
    case EINA_LOG_LEVEL_WARN:
      return DLOG_WARN;
    case EINA_LOG_LEVEL_INFO:
      return DLOG_INFO;
    default:
      return DLOG_DEBUG;
  }
}

void Print(const Eina_Log_Domain* domain, Eina_Log_Level level, const char*, const char* function,
           int, const char* format, void*, va_list arguments) {
  // Ecore's signal handler reports here too, and may have interrupted the log.
  if (std::strcmp(function, "_ecore_signal_callback") == 0) {
    g_Host.hasLostSignal = 1;
    return;
  }
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  Guarded("efl", "a line is lost", [&] {
    __dlog_print(LOG_ID_MAIN, Priority(level), "efl", "%s: %s: %s\n", domain->domain_str, function,
                 base::OneLine(text, sizeof text).c_str());
  });
}

}  // namespace

void TakeEflLog() { eina_log_print_cb_set(Print, nullptr); }

bool TakeLostSignal() {
  const bool lost = g_Host.hasLostSignal != 0;
  g_Host.hasLostSignal = 0;
  return lost;
}

}  // namespace host
