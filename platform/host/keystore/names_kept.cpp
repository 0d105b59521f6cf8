#include "keystore/names_kept.h"

#include <sys/stat.h>

#include <utility>

namespace host {

NamesKept::NamesKept(std::vector<std::filesystem::path> names) {
  for (std::filesystem::path& name : names) {
    struct stat status {};
    ::stat(name.c_str(), &status);
    m_Files.push_back({.name = std::move(name), .device = status.st_dev, .inode = status.st_ino});
  }
}

NamesKept::State NamesKept::Now() const {
  State state{.lost = nullptr, .size = 0, .isSecondEmpty = false};
  for (const Kept& kept : m_Files) {
    struct stat status {};
    ::stat(kept.name.c_str(), &status);
    if (status.st_dev != kept.device || status.st_ino != kept.inode) {
      state.lost = &kept.name;
      break;
    }
    if (&kept == &m_Files.front()) {
      state.size = status.st_size;
    } else if (&kept == &m_Files[1]) {
      state.isSecondEmpty = status.st_size == 0;
    }
  }
  return state;
}

}  // namespace host
