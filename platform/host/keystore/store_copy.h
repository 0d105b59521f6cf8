#pragma once

#include <cstdint>
#include <filesystem>

#include "keystore/sqlite.h"
#include "system/file_descriptor.h"

// Copies of a key file. Failures throw StoreError.

namespace host {

// A file that is made beside another, whose place it can take. What is there under its name, and
// what SQLite leaves beside it, is removed before and at the end.
class Unfinished {
 public:
  explicit Unfinished(const std::filesystem::path& file);
  ~Unfinished();
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  const std::filesystem::path& File() const { return m_File; }

  // Removes what was made of it.
  void Remove() const;

 private:
  const std::filesystem::path m_File;
};

// Makes an empty file, open for writing, which only its owner can write under any umask. Invalid,
// with errno, when that fails, also because something has this name.
FileDescriptor MakeNewFile(const std::filesystem::path& file);

// Copies the bytes of a file to a new one, or the first `size` of them.
void CopyFile(const std::filesystem::path& from, const std::filesystem::path& to);
void CopyBeginning(const std::filesystem::path& from, std::uintmax_t size,
                   const std::filesystem::path& to);

// Writes what `from` holds at this moment to the new file `to`, while others continue to use
// `from`. The copy is one file, without a log. It may not be on disk yet.
void WriteCopy(Database& from, const std::filesystem::path& to);

// Adds missing checks to the pages of a file that nobody has open (page_check.h).
void PutMissingChecks(const std::filesystem::path& file);

// Makes `to` a copy of the key file `from`, on disk when this returns: it is read completely and
// found sound before it replaces what was there.
void CopyKeyFile(const std::filesystem::path& from, const std::filesystem::path& to);

// Gives `file` the owner of `other`, if this user can: whoever repairs a store may be a different
// user from the one who runs the set.
void GiveToOwnerOf(const std::filesystem::path& other, const std::filesystem::path& file);

// Brings a file to the disk.
void FlushFile(const std::filesystem::path& file);

// Moves a file to the place of another, completely and on disk when this returns.
void MoveInPlace(const std::filesystem::path& from, const std::filesystem::path& file);

}  // namespace host
