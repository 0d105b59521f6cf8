#pragma once

#include <chrono>
#include <filesystem>

namespace host {

// Lines of __dlog_print are queued and written by a thread of the log's own, so that a slow
// terminal or disk delays nobody (docs/logging.md). Until OpenLog they are kept in the queue.

// Chooses where the lines go: `file` (appended to, made when missing), or when it is empty the
// journal if standard error is connected to it, otherwise standard error. Throws
// std::runtime_error that names the file when it cannot be opened. At most once.
void OpenLog(const std::filesystem::path& file);

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
