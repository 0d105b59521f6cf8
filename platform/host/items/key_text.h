#pragma once

#include <optional>
#include <string>

namespace host {

// The string in a key; nothing when the key is missing or holds an integer.
std::optional<std::string> ReadKeyText(const std::string& key);

}  // namespace host
