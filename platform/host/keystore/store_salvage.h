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
  bool isWhole;                                        // no part of the file was passed over
};

// Reads the keys of a file that nobody uses, with the log beside it if there is one, and leaves
// both as they are. What stands in a damaged page is passed over; the keys behind it are found by
// way of `known`, keys that there may be. Throws StoreError when the file is not there or cannot be
// copied into the directory for temporary files.
Salvage ReadDamaged(const std::filesystem::path& file, const std::vector<std::string>& known);

}  // namespace host
