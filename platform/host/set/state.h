#pragma once

#include <exception>
#include <optional>
#include <string>

#include "keystore/key_store.h"
#include "keystore/process_store.h"

namespace host {

// Logs that a key holds a value that cannot be used, and why; once for each such value, until it
// holds one that can be used. Any thread.
void ReportUnusable(const std::string& key, const KeyValue& value, const std::string& problem);

// To be called when it holds one that can be used.
void ForgetUnusable(const std::string& key);

// What `read`, of set_value.h, makes of the value of a key. Nothing when there is no value, and
// when it cannot be used, which is logged.
template <typename Reader>
auto Usable(const std::string& key, const std::optional<KeyValue>& value, Reader read)
    -> std::optional<decltype(read(*value))> {
  if (!value) {
    return std::nullopt;
  }
  try {
    auto result = read(*value);
    ForgetUnusable(key);
    return result;
  } catch (const std::exception& error) {
    ReportUnusable(key, *value, error.what());
    return std::nullopt;
  }
}

// The same for what the key holds now. Throws std::runtime_error when the store fails.
template <typename Reader>
auto Present(const std::string& key, Reader read) {
  return Usable(key, ProcessStore().Get(key), read);
}

// What the functions of the set return when they can do nothing.
inline constexpr int kFailure = -1;

}  // namespace host
