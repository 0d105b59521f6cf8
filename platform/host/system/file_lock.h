#pragma once

#include <filesystem>

#include "system/file_descriptor.h"

namespace host {

// Opens the file or directory, `flags` as for open(), and locks it against all others that do the
// same, until the descriptor is closed. Waits for the lock, and throws std::runtime_error, which
// names the process, when the same one has held it for five seconds. Throws std::system_error when
// the file cannot be used.
FileDescriptor OpenLocked(const std::filesystem::path& file, int flags);

}  // namespace host
