#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "keystore/key_value.h"

namespace host {

// Whether the store takes the key: "db/…" or "memory/…", each segment non-empty and free of
// control characters, at most 255 bytes in all.
bool IsValidKey(std::string_view key);

// Whether a store was made in these directories and is still there; an empty file does not count,
// unless it has a copy or a log. Also true when this user may not look into them.
bool IsStoreMade(const std::filesystem::path& stateDir, const std::filesystem::path& runDir);

// The key store of a set, shared with all other processes that open it (docs/keystore.md).
// Every member function may be called from any thread. A failure of the store itself throws
// std::runtime_error that names the file and the reason, and changes nothing.
class KeyStore {
 public:
  // Opens the store, creating it if missing: "db/" keys in `stateDir`, "memory/" keys in `runDir`.
  KeyStore(const std::filesystem::path& stateDir, const std::filesystem::path& runDir);
  ~KeyStore();
  KeyStore(const KeyStore&) = delete;
  KeyStore& operator=(const KeyStore&) = delete;

  // Nothing when the key is missing or not valid.
  std::optional<KeyValue> Get(std::string_view key);

  // False when the key is not valid. A "db/" key is on disk when the call returns.
  bool Set(std::string_view key, const KeyValue& value);

  // Removes a key. False when it is missing or not valid.
  bool Unset(std::string_view key);

  // All keys that begin with `prefix`, in byte order.
  std::vector<std::pair<std::string, KeyValue>> List(std::string_view prefix);

  // The `number` of the newest change among the keys that `key` is counted with; 0 if there has
  // been none. What Get returns from now on shows that change, and whatever is still to come has a
  // higher number. Throws std::invalid_argument when the key is not valid.
  std::int64_t NewestChange(std::string_view key);

 private:
  friend class KeyWatcher;
  struct Impl;
  std::shared_ptr<Impl> m_Impl;
};

// Sees every change of the store made after its construction: by any process, once, in order. It
// keeps the store's files open itself and may outlive the KeyStore. A watcher that falls a million
// changes or 16 MiB of text behind loses the oldest and says so, in the log, too. One thread at a
// time. A failure throws std::runtime_error.
class KeyWatcher {
 public:
  explicit KeyWatcher(KeyStore& store);
  ~KeyWatcher();
  KeyWatcher(const KeyWatcher&) = delete;
  KeyWatcher& operator=(const KeyWatcher&) = delete;

  // Readable when TakeChanges may have something to return; for poll and the like.
  int Fd() const;

  // The next changes, oldest first; empty when there are none yet. Returns some thousands or some
  // mebibytes at most, so that a main loop gets its other work done in between: Fd stays readable
  // while there are more. After a failure nothing is lost and Fd becomes readable again a second
  // later.
  std::vector<KeyChange> TakeChanges();

  // Whether there were more changes than the last TakeChanges returned when it was called.
  bool IsBehind() const;

  // How many changes the watcher lost right before those that the last TakeChanges returned,
  // because it was too far behind. Anyone who remembers what keys hold must then read them again.
  std::int64_t Missed() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace host
