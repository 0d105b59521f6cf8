#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace host {

// How long a writer waits for the same other writer.
inline constexpr int kHeldTooLongSeconds = 5;

// The process that holds the write lock of an SQLite file in write-ahead mode, in any program; 0
// when none does or it cannot be found.
pid_t HolderOfWriteLock(const std::filesystem::path& file);

// Says for a message that the process, 0 for an unknown one, keeps a file locked.
std::string HeldTooLong(pid_t holder);

}  // namespace host
