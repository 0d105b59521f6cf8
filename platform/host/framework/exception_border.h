#pragma once

#include <string>
#include <utility>

namespace host {

// The text of the exception that is being handled: one line of valid UTF-8, at most 1 KiB. To be
// called inside a catch block.
std::string CurrentExceptionText();

// Logs, at ERROR, that an exception with the text `text` left `what`.
void LogException(const char* what, const std::string& text);

// Calls `body`. An exception that leaves it is logged as one that left `what` and goes no
// further. Returns whether `body` came to its end.
template <typename Body>
bool Contain(const char* what, Body&& body) {
  try {
    std::forward<Body>(body)();
    return true;
  } catch (...) {
    LogException(what, CurrentExceptionText());
    return false;
  }
}

}  // namespace host
