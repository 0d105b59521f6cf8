#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

namespace host {

// Lines of __dlog_print are queued and written by a separate thread, so that a slow terminal or
// disk delays nobody (docs/logging.md). Until OpenLog they stay in the queue.

// The default limit of a log file.
inline constexpr std::uint64_t kLogLimit = 16 * 1024 * 1024;

// Chooses where the lines go: `file` (appended to, made when missing), or when it is empty the
// journal if standard error is connected to it, otherwise standard error. A file has up to `limit`
// bytes, and there is up to one older of that size (system/log_file.h). Throws
// std::runtime_error that names the file when it cannot be opened. At most once.
void OpenLog(const std::filesystem::path& file, std::uint64_t limit = kLogLimit);

// Discards the queued lines: a program that only prints its help has no log.
void DiscardLog();

// Waits, at most `limit`, until every line printed so far is written. Returns whether it is.
bool FlushLog(std::chrono::milliseconds limit);

// While one exists, lines printed by its thread wait in the queue without waking the writer, so
// that answering a request costs no wake-up. Its end wakes the writer if there is something to
// write.
class LogHold {
 public:
  LogHold();
  ~LogHold();
  LogHold(const LogHold&) = delete;
  LogHold& operator=(const LogHold&) = delete;
};

}  // namespace host
