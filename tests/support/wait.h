#pragma once

#include <chrono>
#include <functional>

namespace support {

// Generous: a loaded machine under a sanitizer is slow, and a test that passes never waits it
// out.
inline constexpr std::chrono::seconds kPatience{60};

// Asks `done` again and again until it returns true; false when `limit` passed before.
bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = kPatience);

}  // namespace support
