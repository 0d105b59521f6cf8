#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_value.h"

namespace host {

// A set as it is at the time of each question. It takes no lock and makes nothing: a key that is
// missing reads as that of a fresh set. What the store throws leaves every function.
class SetView {
 public:
  // The store outlives the view.
  explicit SetView(KeyStore& store) : m_Store(store) {}

  // Throws SetError (kUnreadable) when the list cannot be read.
  std::vector<SetSource> Sources() const;

  // The number in a key; nothing when it holds none.
  std::optional<int> Number(const std::string& key) const;

  // Where the picture is; at the screen's corner and without size when that cannot be read.
  Window PictureWindow() const;

 private:
  std::optional<KeyValue> m_Value(const std::string& key) const;

  KeyStore& m_Store;
};

}  // namespace host
