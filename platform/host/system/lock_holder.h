#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace host {

// How long others wait for a lock that the same process holds.
inline constexpr int kHeldTooLongSeconds = 5;

// The process that has a file locked for itself, as by flock(), or one byte of it, as by fcntl(); 0
// when none does or it cannot be found.
pid_t HolderOfFile(const std::filesystem::path& file);
pid_t HolderOfByte(const std::filesystem::path& file, off_t byte);

// Says for a message that the process, 0 for an unknown one, keeps a file locked.
std::string HeldTooLong(pid_t holder);

}  // namespace host
