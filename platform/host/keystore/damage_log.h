#pragma once

#include <string_view>
#include <utility>

#include "keystore/store_error.h"
#include "system/exception_border.h"

namespace host {

// Whether a failure is to be logged. Damage is, once in a process: it stays until the set restarts,
// and everyone who looks at it meets it again. Other failures always are. Any thread.
bool IsWorthLogging(const StoreError& failure);

// Guarded, for a body that uses the key store: logs damage only once.
template <typename Result, typename Body>
Result GuardedFromDamage(const char* tag, std::string_view what, Result failure,
                         Body&& body) noexcept {
  return Guarded(tag, what, failure, [&]() -> Result {
    try {
      return std::forward<Body>(body)();
    } catch (const StoreError& error) {
      if (IsWorthLogging(error)) {
        throw;
      }
      return failure;
    }
  });
}

template <typename Body>
bool GuardedFromDamage(const char* tag, std::string_view what, Body&& body) noexcept {
  return GuardedFromDamage(tag, what, false, [&] {
    std::forward<Body>(body)();
    return true;
  });
}

}  // namespace host
