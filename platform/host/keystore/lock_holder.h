#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace host {

// For how long a writer waits for one and the same other.
inline constexpr int kHeldTooLongSeconds = 5;

// The process that holds the write lock of an SQLite file in write-ahead mode, by whichever
// program; 0 when there is none or it cannot be told.
pid_t HolderOfWriteLock(const std::filesystem::path& file);

// Says for a message that the process, 0 for one that is not known, keeps a file locked.
std::string HeldTooLong(pid_t holder);

}  // namespace host
