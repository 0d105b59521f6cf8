#pragma once

#include <filesystem>
#include <string>

namespace support {

// A new empty directory with a short path (socket paths are limited to 107 bytes), removed with
// everything in it at the end.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& Path() const { return m_Path; }
  std::filesystem::path operator/(const std::filesystem::path& relative) const {
    return m_Path / relative;
  }

 private:
  std::filesystem::path m_Path;
};

// The whole content of a file; empty when it cannot be read.
std::string ReadFile(const std::filesystem::path& file);

}  // namespace support
