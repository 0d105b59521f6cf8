#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "keystore/key_file.h"

// What becomes of a damaged key file. Only for a process that has the store to itself: all of this
// reads and moves files behind SQLite's back.

namespace host {

// Whether some process, with whatever version of this program, has the file open.
bool IsOpenSomewhere(const std::filesystem::path& file);

// What is wrong with a key file: the words that follow "key file …". Nothing when it is whole, or
// when it is missing or empty and has neither a copy nor a log. Throws StoreError when that
// cannot be determined now.
std::optional<std::string> DamageOf(const std::filesystem::path& file);

// Whether changes that were made are missing from the log of a key file that is otherwise whole.
// `isSameBoot` says that the machine has not restarted since the store was last used: what SQLite
// kept in memory about the log is then its latest state.
bool IsLogCut(const std::filesystem::path& file, bool isSameBoot);

// Opens a key file as KeyFile does, whatever its state: a damaged one is set aside under a dated
// name, five of which are kept, and its copy takes its place, or an empty file if there is no good
// copy. The log of a missing or empty file takes its place before the copy if it holds every page.
// What was done is logged. On a read-only file system nothing is moved: the copy is read where it
// is, or this fails. A file of an older version is converted to this one. Throws StoreError
// for failures other than damage, such as a full disk.
std::unique_ptr<KeyFile> OpenMended(const std::filesystem::path& file, Durability durability,
                                    const std::filesystem::path& changed, bool isSameBoot);

}  // namespace host
