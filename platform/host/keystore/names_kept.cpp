#include "keystore/names_kept.h"

#include <sys/stat.h>

#include <algorithm>

namespace host {

NamesKept::NamesKept(std::vector<std::filesystem::path> names) {
  for (std::filesystem::path& name : names) {
    const Identity identity = IdentityOf(name);
    m_Files.emplace_back(std::move(name), identity);
  }
}

const std::filesystem::path* NamesKept::FirstLost() const {
  const auto lost = std::find_if(m_Files.begin(), m_Files.end(), [](const auto& file) {
    return IdentityOf(file.first) != file.second;
  });
  return lost == m_Files.end() ? nullptr : &lost->first;
}

NamesKept::Identity NamesKept::IdentityOf(const std::filesystem::path& name) {
  struct stat status;
  return ::stat(name.c_str(), &status) == 0 ? Identity{status.st_dev, status.st_ino} : Identity();
}

}  // namespace host
