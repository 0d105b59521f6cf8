#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "system/file_descriptor.h"

namespace setctl {

// Reads a log that another process writes, line by line, even if it is truncated or replaced by a
// new file of the same name.
class LogFile {
 public:
  // Starts with the first line, or with the last `lines` lines, of `file` and of the older one that
  // it replaced (host::OlderLogFile). Throws std::system_error that names the file when it cannot
  // be opened.
  LogFile(const std::filesystem::path& file, std::optional<int> lines);

  using LineCallback = std::function<void(const std::string& line)>;

  // Passes on all complete lines added since the last call, without their line ends.
  void Read(const LineCallback& line);

  // Passes on what follows the last line end, if anything.
  void ReadRest(const LineCallback& line);

 private:
  void m_ReadOpened(const LineCallback& line);
  bool m_OpenNext(const LineCallback& line);

  std::filesystem::path m_File;
  host::FileDescriptor m_Fd;
  host::FileDescriptor m_NextFd;  // what is read after m_Fd, if already known
  std::string m_Rest;             // the beginning of an incomplete line
};

// Becomes readable when something in a directory changes, whatever it is.
class DirectoryWatch {
 public:
  // Throws std::system_error that names the directory.
  explicit DirectoryWatch(const std::filesystem::path& directory);
  ~DirectoryWatch();
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  int Fd() const { return m_Fd; }

  // Forgets the changes so far.
  void Clear();

 private:
  int m_Fd;
};

}  // namespace setctl
