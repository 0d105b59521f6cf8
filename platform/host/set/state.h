#pragma once

#include <exception>
#include <optional>
#include <string>

#include "dlog.h"
#include "framework/exception_border.h"
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

// Runs `body` for a caller that expects no exception: one is logged under `function` and becomes
// `failure`.
template <typename Result, typename Body>
Result Guarded(const char* function, Result failure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "set", "%s: %s\n", function,
                 CurrentExceptionText().c_str());
    return failure;
  }
}

// What the functions of the set return when they can do nothing.
inline constexpr int kFailure = -1;

}  // namespace host
