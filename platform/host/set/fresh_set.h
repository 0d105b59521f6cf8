#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "keystore/key_store.h"
#include "system/file_descriptor.h"

namespace host {

// While one exists, no other process of the set holds one: for changes that read before they write.
// Waits for its turn, and fails as OpenLocked does (system/file_lock.h).
class SetLock {
 public:
  explicit SetLock(const std::filesystem::path& runDir);

 private:
  FileDescriptor m_File;
};

// The keys of a set as it leaves its box.
std::vector<std::pair<std::string, KeyValue>> FreshSet();

// Whether a store has each key of a fresh set, whatever its value.
bool IsPrepared(KeyStore& store);

// Creates each missing key of a fresh set and keeps those that exist. The lock is the set's own.
void PrepareFreshSet(KeyStore& store, const SetLock& lock);

}  // namespace host
