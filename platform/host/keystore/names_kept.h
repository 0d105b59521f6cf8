#pragma once

#include <sys/types.h>

#include <filesystem>
#include <utility>
#include <vector>

namespace host {

// Files that a process has open, and the names under which others find them.
class NamesKept {
 public:
  // All of `names` lead to the open files.
  explicit NamesKept(std::vector<std::filesystem::path> names);

  // The first name that leads to another file, or to none; null when there is no such name.
  const std::filesystem::path* FirstLost() const;

 private:
  using Identity = std::pair<dev_t, ino_t>;
  static Identity IdentityOf(const std::filesystem::path& name);

  std::vector<std::pair<std::filesystem::path, Identity>> m_Files;
};

}  // namespace host
