#include "gamebar/ExceptionBorder.h"

#include <exception>

#include "Log.h"

namespace {

void LogText(const char* module, const char* function, int line, const char* text) {
  SETTINGS_LOG_AT(module, DLOG_ERROR, function, line, "[GameBarService] ended by an exception: %s",
                  text);
}

}  // namespace

void LogEscapedException(const char* module, const char* function, int line) {
  try {
    throw;
  } catch (const std::exception& exception) {
    LogText(module, function, line, exception.what());
  } catch (...) {
    LogText(module, function, line, "of an unknown type");
  }
}
