#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

#include "system/file_descriptor.h"

namespace host {

// A descriptor for poll and the like that becomes readable whenever somebody, in any process,
// closes a file that was open for writing. Failures throw std::runtime_error.
class WakeUp {
 public:
  explicit WakeUp(std::filesystem::path file);

  int Fd() const { return m_Either.Get(); }

  // From now on it also becomes readable when `file` is removed, renamed or replaced.
  void Keep(const std::filesystem::path& file);

  // Makes the descriptor unreadable until the next close or the end of Again's delay. Returns
  // whether something happened to the file itself, or to one that is being kept.
  bool Clear();

  // Makes sure that the file of this name is the one whose closing wakes: creates it if missing,
  // and returns whether it is a different one than before.
  bool FindAgain();

  // Makes the descriptor readable after `delay`, above 0, without a close.
  void Again(std::chrono::nanoseconds delay);

 private:
  int Watch(const std::filesystem::path& file, std::uint32_t events);

  const std::filesystem::path m_File;
  FileDescriptor m_Closed;
  FileDescriptor m_Timer;
  FileDescriptor m_Either;
  int m_Watched = -1;  // inotify's number of the file
};

}  // namespace host
