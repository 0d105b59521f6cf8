#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_file.h"

// What becomes of a key file that is damaged. Only for a process that has the store for itself: all
// of this reads and moves files beside SQLite.

namespace host {

// The good copy of a key file, which store_copy.h makes.
std::filesystem::path CopyOf(const std::filesystem::path& file);

// The files that were set aside for this one, oldest first; each may have its log beside it, under
// its name and "-wal".
std::vector<std::filesystem::path> SetAsideFiles(const std::filesystem::path& file);

// Whether some process, of whatever version of this program, has the file open.
bool IsOpenSomewhere(const std::filesystem::path& file);

// What is wrong with a key file: what follows "key file …". Nothing when it is whole, and when it
// is missing or empty but nothing says that there was one. Throws StoreError when that cannot be
// found out now.
std::optional<std::string> DamageOf(const std::filesystem::path& file);

// Whether changes that were made are missing in the log of a key file, which is whole as far as it
// goes. `isSameBoot` says that the machine has not been started since the store was used last: what
// SQLite kept in memory about the log is then what it kept last.
bool IsLogCut(const std::filesystem::path& file, bool isSameBoot);

// Opens a key file as KeyFile does, whatever is there: what is damaged is set aside under a dated
// name, five of which are kept, and its copy takes its place, or an empty one if there is no good
// copy. What was done is logged. A file of an older version becomes one of this. Throws StoreError
// for what is no damage, such as a full disk.
std::unique_ptr<KeyFile> OpenMended(const std::filesystem::path& file, Durability durability,
                                    const std::filesystem::path& changed, bool isSameBoot);

}  // namespace host
