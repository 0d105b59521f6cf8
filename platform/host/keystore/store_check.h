#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host {

// What there is of a store on the disk.
struct StoreFile {
  enum class State { kWhole, kDamaged, kMissing, kSetAside };
  std::filesystem::path file;
  State state;
  std::string what;  // what is damaged, or what became of it
};

// Looks at the files of a store, whether it is in use or not, and mends nothing: the key files, the
// good copy, and what was set aside. Throws std::runtime_error when that cannot be found out.
std::vector<StoreFile> CheckStore(const std::filesystem::path& stateDir,
                                  const std::filesystem::path& runDir);

}  // namespace host
