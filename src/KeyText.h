#pragma once

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "vconf.h"

// The string that a configuration key holds; nothing when the key is missing or holds an integer.
// Any thread.
inline std::optional<std::string> ReadKeyText(const char* key) {
  const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key), &std::free);
  if (text == nullptr) {
    return std::nullopt;
  }
  return text.get();
}
