#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"

namespace host {

// What became of a store's values, from best to worst.
enum class Fate {
  kKept,       // every key holds what was acknowledged last
  kReported,   // some call failed with a reason; no value is wrong
  kTold,       // some values are older, or gone, and the log says at ERROR what was set aside
  kNotOpened,  // the store cannot be opened
  kSilent,     // a value is wrong, or gone, and nobody was told
};

// How often each occurred, by what was done.
class Outcomes {
 public:
  void Add(const std::string& what, Fate fate);
  int Count(Fate fate) const;
  void Print(const std::string& title) const;

 private:
  std::map<std::string, std::map<Fate, int>> m_Counts;
};

// What may be read in a key.
struct Expected {
  std::optional<KeyValue> newest;  // the last one acknowledged
  // Of a failed set: not acknowledged, but the failure was reported.
  std::optional<KeyValue> attempted;
};
using ExpectedKeys = std::map<std::string, Expected>;

// The store's files in one directory.
struct StoreFiles {
  std::filesystem::path root;

  std::filesystem::path StateDir() const { return root / "var"; }
  std::filesystem::path RunDir() const { return root / "run"; }
  std::filesystem::path Durable() const { return StateDir() / "keys.db"; }
  std::filesystem::path Memory() const { return RunDir() / "keys.db"; }
};

// How long the log of this program is, and what was logged since it was so long.
std::uintmax_t LogSize();
std::string LogSince(std::uintmax_t begin);

// Opens the store and reads every key. `logBegin` is how long the log was before harm was done;
// `isReported` says that a call has failed since.
Fate Judge(const StoreFiles& files, const ExpectedKeys& keys, std::uintmax_t logBegin,
           bool isReported);

}  // namespace host
