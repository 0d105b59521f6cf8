#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "system/file_descriptor.h"

namespace setctl {

// Reads a log that somebody else writes, line by line, across its truncation and its
// replacement by a new file of the same name.
class LogFile {
 public:
  // Begins with the first line, or with the last but `lines`, of `file` and of the older one that
  // it replaced (host::OlderLogFile). Throws std::system_error that names the file when it cannot
  // be opened.
  LogFile(const std::filesystem::path& file, std::optional<int> lines);

  using LineCallback = std::function<void(const std::string& line)>;

  // Hands out all complete lines that came since the last call, without their line ends.
  void Read(const LineCallback& line);

  // Hands out what stands behind the last line end, if anything does.
  void ReadRest(const LineCallback& line);

 private:
  void m_ReadOpened(const LineCallback& line);
  bool m_OpenNext(const LineCallback& line);

  std::filesystem::path m_File;
  host::FileDescriptor m_Fd;
  host::FileDescriptor m_NextFd;  // what is read after m_Fd, if it is known already
  std::string m_Rest;             // the beginning of a line whose end is not written yet
};

// Readable when something changed in a directory; nothing is told about what.
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
