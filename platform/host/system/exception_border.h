#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace host {

// Where C code calls the program, and where the program calls somebody else's callback, exceptions
// go no further: they are logged at ERROR under `tag`, as "`what`: " followed by the exception's
// text. Any thread.

// Calls `body` and returns its result; `failure` when an exception leaves it.
template <typename Result, typename Body>
Result Guarded(const char* tag, std::string_view what, Result failure, Body&& body) noexcept;

// Calls `body`. Returns whether it ran to its end.
template <typename Body>
bool Guarded(const char* tag, std::string_view what, Body&& body) noexcept;

// For a border that has more to say: both are called inside a catch block. The text is one line of
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
