#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace host {

// Where the program is called by C code and where it calls somebody else's callback, no exception
// goes further: it is logged at ERROR under `tag`, as "`what`: " and its text. Any thread.

// Calls `body` and returns its result; `failure` when an exception leaves it.
template <typename Result, typename Body>
Result Guarded(const char* tag, std::string_view what, Result failure, Body&& body) noexcept;

// Calls `body`. Returns whether it came to its end.
template <typename Body>
bool Guarded(const char* tag, std::string_view what, Body&& body) noexcept;

// For a border that has to say more: both are called inside a catch block. The text is one line of
// valid UTF-8, at most 1 KiB.
std::string CurrentExceptionText();
void LogCurrentException(const char* tag, std::string_view what);

template <typename Result, typename Body>
Result Guarded(const char* tag, std::string_view what, Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    LogCurrentException(tag, what);
    return failure;
  }
}

template <typename Body>
bool Guarded(const char* tag, std::string_view what, Body&& body) noexcept {
  return Guarded(tag, what, false, [&] {
    std::forward<Body>(body)();
    return true;
  });
}

}  // namespace host
