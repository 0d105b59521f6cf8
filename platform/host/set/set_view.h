#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_value.h"

namespace host {

// The current state of a set. It takes no lock and creates nothing: a missing key reads as in a
// fresh set. Exceptions of the store pass through.
class SetView {
 public:
  // The store must outlive the view.
  explicit SetView(KeyStore& store) : m_Store(store) {}

  // Throws SetError (kUnreadable) when the list cannot be read.
  std::vector<SetSource> Sources() const;

  // The number in a key; nothing when it holds none.
  std::optional<int> Number(const std::string& key) const;

  // Where the picture is; all zeros when that cannot be read.
  Window PictureWindow() const;

 private:
  std::optional<KeyValue> m_Value(const std::string& key) const;

  KeyStore& m_Store;
};

}  // namespace host
