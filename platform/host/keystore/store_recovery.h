#pragma once

#include <filesystem>
#include <memory>

#include "keystore/key_file.h"

// What becomes of a damaged key file. Only for a process that has the file to itself: all of this
// reads and moves files behind SQLite's back.

namespace host {

// Opens a key file as KeyFile does, whatever its state: a damaged one is set aside under a dated
// name, five of which are kept, and its copy takes its place, or an empty file if there is no good
// copy. The log of a missing or empty file takes its place before the copy if it holds every page.
// A damaged log is set aside, with the file if changes are lost; what precedes the damage stays.
// What is done is logged before it is done. On a read-only file system nothing is moved: the file
// is read with what precedes the damage in its log, or the copy where it is, or this fails. A file
// of an older version is converted to this one. All files keep their owner, if this user can see to
// that. Throws StoreError, with the files as they were, for failures other than damage, such as a
// full disk.
std::unique_ptr<KeyFile> OpenMended(const std::filesystem::path& file, Durability durability,
                                    const std::filesystem::path& changed, bool isSameBoot);

// Sets the log beside a key file aside if it belongs to another file, whose place this one took.
// An empty one is removed. Those who have that file open go on with it. Returns whether it did
// anything; what is set aside is logged before.
bool SetForeignLogAside(const std::filesystem::path& file);

}  // namespace host
