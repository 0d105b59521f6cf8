#pragma once

#include <chrono>
#include <filesystem>

#include "system/file_descriptor.h"

namespace host {

// A descriptor for poll and its like that becomes readable whenever somebody, in any process,
// closes a file that was open for writing. Failures throw std::runtime_error.
class WakeUp {
 public:
  explicit WakeUp(const std::filesystem::path& file);

  int Fd() const { return m_Either.Get(); }

  // Makes the descriptor not readable until the next close or the end of Again's delay.
  void Clear();

  // Makes the descriptor readable after `delay`, above 0, without a close.
  void Again(std::chrono::nanoseconds delay);

 private:
  FileDescriptor m_Closed;
  FileDescriptor m_Timer;
  FileDescriptor m_Either;
};

}  // namespace host
