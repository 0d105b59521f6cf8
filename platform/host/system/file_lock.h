#pragma once

#include <filesystem>

#include "system/file_descriptor.h"

namespace host {

// Opens the file or directory, `flags` as for open(), for this process alone among all that do the
// same; it is locked until the descriptor is closed. Waits for whoever has it. Throws
// std::system_error when it cannot be used.
FileDescriptor OpenLocked(const std::filesystem::path& file, int flags);

}  // namespace host
