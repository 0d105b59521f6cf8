#pragma once

#include <cstdint>
#include <string>

namespace host {

// A failure of the key store. The settings data library answers -1 whatever was wrong; this lets
// the tools tell their user.
struct StoreFailure {
  std::uint64_t at = 0;  // in microseconds of the monotonic clock; 0 if there was none
  std::string text;      // what failed, why, and what to do
};

// Keeps the newest failure of this process. Any thread.
void NoteStoreFailure(const std::string& text);
StoreFailure NewestStoreFailure();

}  // namespace host
