#pragma once

#include "dlog.h"

// The log lines of the service (docs/logging.md). A source file that logs defines the name under
// which it does as `kLogModule`. The message is a format literal; its line end is added here.

#define SETTINGS_LOG_AT(module, priority, function, line, message, ...)                         \
  __dlog_print(LOG_ID_MAIN, priority, "settings-service", "%s: %s(%d) > [%s:%d] " message "\n", \
               module, function, line, function, line __VA_OPT__(, ) __VA_ARGS__)

#define SETTINGS_LOG_AS(priority, function, ...) \
  SETTINGS_LOG_AT(kLogModule, priority, function, __LINE__, __VA_ARGS__)

#define SETTINGS_DEBUG(...) SETTINGS_LOG_AS(DLOG_DEBUG, __func__, __VA_ARGS__)
#define SETTINGS_INFO(...) SETTINGS_LOG_AS(DLOG_INFO, __func__, __VA_ARGS__)
#define SETTINGS_WARN(...) SETTINGS_LOG_AS(DLOG_WARN, __func__, __VA_ARGS__)
#define SETTINGS_ERROR(...) SETTINGS_LOG_AS(DLOG_ERROR, __func__, __VA_ARGS__)
