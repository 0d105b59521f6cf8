#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "system/file_descriptor.h"

namespace host {

// A file that a log is appended to and that does not grow beyond a limit: before it would, it is
// renamed to OlderLogFile and a new one takes its place. So a log has at most two files of that
// size. Anything but a regular file, such as a pipe or a terminal, has no limit. One thread at a
// time.
class LogFile {
 public:
  // Creates the file when it is missing, readable by all. Below the root of a set, unless that is
  // "/", neither it nor a directory on the way may be a symbolic link, however the root and the
  // file are spelled. Throws std::runtime_error that names the file when it cannot be opened.
  LogFile(const std::filesystem::path& file, std::uint64_t limit);

  int Fd() const { return m_Fd.Get(); }

  // Switches to a new file, and changes Fd, if `size` more bytes would exceed the limit. Standard
  // output and standard error are redirected to the new file if they went to the old one. If the
  // file cannot be renamed, it is emptied.
  void MakeRoom(std::size_t size);

  // Tells those in AwaitLogFile whether there are unwritten lines. Cannot fail, but does nothing
  // for a file that cannot be locked.
  void SetUnwritten(bool unwritten);

 private:
  bool Replace(const struct stat& old);

  FileDescriptor m_Directory;  // none when the file has no limit
  std::string m_Name;
  std::uint64_t m_Limit;
  FileDescriptor m_Fd;
  bool m_Unwritten = false;
};

// Where the lines from before `file` are.
std::filesystem::path OlderLogFile(const std::filesystem::path& file);

// Waits, at most `limit`, until everything that the process logging to `file` has printed so far is
// written. Returns whether it is; also true when there is no such process or file.
bool AwaitLogFile(const std::filesystem::path& file, std::chrono::milliseconds limit);

}  // namespace host
