#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

namespace host {

// Lines of __dlog_print are queued and written by a thread of the log's own, so that a slow
// terminal or disk delays nobody (docs/logging.md). Until OpenLog they are kept in the queue.

// How long a log file may become unless said.
inline constexpr std::uint64_t kLogLimit = 16 * 1024 * 1024;

// Chooses where the lines go: `file` (appended to, made when missing), or when it is empty the
// journal if standard error is connected to it, otherwise standard error. A file has up to `limit`
// bytes, and there is up to one older of that size (system/log_file.h). Throws
// std::runtime_error that names the file when it cannot be opened. At most once.
void OpenLog(const std::filesystem::path& file, std::uint64_t limit = kLogLimit);

// Forgets the lines that wait in the queue: a program that only prints its help has no log.
void DiscardLog();

// Waits until every line printed so far is written, at most `limit`. Returns whether it is.
bool FlushLog(std::chrono::milliseconds limit);

// While one lives, lines printed by its thread wait in the queue without waking the writer: the
// way from a request to its reply pays for no wake-up. Its end wakes the writer if there is
// something to write.
class LogHold {
 public:
  LogHold();
  ~LogHold();
  LogHold(const LogHold&) = delete;
  LogHold& operator=(const LogHold&) = delete;
};

}  // namespace host
