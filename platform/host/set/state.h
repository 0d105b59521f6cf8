#pragma once

#include <exception>
#include <optional>
#include <string>

#include "keystore/key_store.h"
#include "keystore/process_store.h"

namespace host {

// Logs that a key holds an invalid value, and why; only once until it holds a valid one again. Any
// thread.
void ReportUnusable(const std::string& key, const KeyValue& value, const std::string& problem);

// To be called when it holds a valid value.
void ForgetUnusable(const std::string& key);

// The value of a key as read by `read`, of set_value.h. Nothing when there is no value, or when it
// is invalid, which is logged.
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
