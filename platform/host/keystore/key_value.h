#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace host {

using KeyValue = std::variant<int, std::string>;

// One change of a key. `value` is what the key held right after it; nothing when the key was
// removed. `number` counts the changes of all "db/" keys, and separately those of all "memory/"
// keys, in the order in which they were made.
struct KeyChange {
  std::string key;
  std::optional<KeyValue> value;
  std::int64_t number;
};

}  // namespace host
