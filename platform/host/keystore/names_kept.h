#pragma once

#include <sys/types.h>

#include <filesystem>
#include <vector>

namespace host {

// Files that a process has open, and the names under which others find them.
class NamesKept {
 public:
  // All of `names` lead to the open files.
  explicit NamesKept(std::vector<std::filesystem::path> names);

  struct State {
    // The first name that leads to another file, or to none; null when there is no such name.
    const std::filesystem::path* lost;
    // Of the first file, and whether the second is empty; of no meaning when one is lost.
    off_t size;
    bool isSecondEmpty;
  };
  State Now() const;

 private:
  struct Kept {
    std::filesystem::path name;
    dev_t device = 0;
    ino_t inode = 0;
  };

  std::vector<Kept> m_Files;
};

}  // namespace host
