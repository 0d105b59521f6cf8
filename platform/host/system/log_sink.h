#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "system/log_text.h"

namespace host {

// The destination of log lines. One thread at a time.
class LogSink {
 public:
  virtual ~LogSink() = default;

  // Takes a line; may block. `weight` is the number of lines that are lost when this one cannot be
  // written.
  virtual void Add(const LogLine& line, uint64_t weight) = 0;

  // Writes what was added and is not yet written.
  virtual void Commit() = 0;

  // Announces whether there are lines still to be added or written. Called by any thread, but never
  // while the writer adds or commits.
  virtual void SetUnwritten(bool) {}

  // The number of lines lost since the last call.
  uint64_t TakeLost() { return std::exchange(m_Lost, 0); }

 protected:
  uint64_t m_Lost = 0;
};

// Opens `file`, or what OpenLog says for an empty one. Throws as OpenLog.
std::unique_ptr<LogSink> OpenLogSink(const std::filesystem::path& file, uint64_t limit);

}  // namespace host
