#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "keystore/key_store.h"

namespace host {

// What could be read of a damaged key file.
struct Salvage {
  std::vector<std::pair<std::string, KeyValue>> keys;  // in byte order
  bool isWhole;  // no part of the file, or of its log, was skipped
};

// Reads the keys of a file that nobody uses, with the log beside it if there is one, or of a log
// alone, and leaves both unchanged. What follows damage in a log is skipped. The content of damaged
// pages is skipped; keys after it are found through `known`, the keys that may exist. Throws
// StoreError when the file does not exist, cannot be copied into the directory for temporary files,
// or is no key file.
Salvage ReadDamaged(const std::filesystem::path& file, const std::vector<std::string>& known);

}  // namespace host
