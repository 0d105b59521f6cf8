#pragma once

// The platform's log (docs/logging.md).

enum log_id_t { LOG_ID_MAIN = 0 };

enum log_priority {
  DLOG_DEBUG = 3,
  DLOG_INFO = 4,
  DLOG_WARN = 5,
  DLOG_ERROR = 6,
};

extern "C" {

// Writes one log line to buffer `id` under `tag`; `format` as for printf, including the trailing
// newline. Any thread. Does not wait for the line to be written; returns the number of characters
// of the line, or a negative number when it was not accepted.
int __dlog_print(log_id_t id, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // extern "C"
