#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "system/file_descriptor.h"

namespace host {

// Makes what is missing of a directory and those above it. Nobody but their owner may write in what
// it makes, whatever the umask is. Symbolic links are followed. Throws std::system_error.
void MakeDirectories(const std::filesystem::path& wanted);

// An open directory in which files are created, read and removed without ever following a symbolic
// link, so that nobody who may write there can redirect the service. A name is one component of a
// path: "", "." and ".." and names with a slash are refused. A failure throws std::runtime_error
// with the full path and the reason.
class SafeDirectory {
 public:
  // Opens a directory that is trusted: symbolic links on the way to it are followed.
  explicit SafeDirectory(const std::filesystem::path& trusted);

  // The directory `name` in this one. `EnterOrMake` creates it when it is missing, with exactly the
  // permissions `mode`.
  SafeDirectory Enter(const std::string& name) const;
  SafeDirectory EnterOrMake(const std::string& name, mode_t mode) const;

  // Creates the file `name`, readable by all as far as the umask allows. A regular file of that
  // name is removed first; anything else there is left alone, and is a failure.
  void MakeFile(const std::string& name, std::string_view content) const;

  // Like MakeFile, but atomic: the file always has either the old or the new content.
  void ReplaceFile(const std::string& name, std::string_view content) const;

  // The content of the regular file `name`; nothing when it is missing. More than `limit` bytes
  // are a failure.
  std::optional<std::string> ReadFile(const std::string& name, size_t limit) const;

  // Releases the directory itself, opened with O_PATH.
  FileDescriptor TakeFd() && { return std::move(m_Fd); }

  // Removes a file, or a link itself. A missing file is not a failure.
  void RemoveFile(const std::string& name) const;

 private:
  SafeDirectory(FileDescriptor fd, std::filesystem::path path);
  std::filesystem::path PathOf(const std::string& name) const;
  bool HasEntry(const std::string& name, mode_t type) const;

  FileDescriptor m_Fd;
  std::filesystem::path m_Path;  // for messages only
};

}  // namespace host
