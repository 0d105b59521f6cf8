#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host {

// What a store has on disk.
struct StoreFile {
  enum class State { kWhole, kDamaged, kMissing, kSetAside };
  std::filesystem::path file;
  State state;
  std::string what;  // what is damaged, or what was done about it
};

// Looks at the files of a store, whether it is in use or not, and repairs nothing: the key files,
// the good copy, and what was set aside. The file of the "memory/" keys is not missed while nobody
// uses the store. Throws std::runtime_error when it cannot look.
std::vector<StoreFile> CheckStore(const std::filesystem::path& stateDir,
                                  const std::filesystem::path& runDir);

}  // namespace host
