#pragma once

#include <cerrno>
#include <chrono>
#include <ctime>

// Blocks the calling thread for the whole duration, whatever signals arrive meanwhile.
inline void SleepFor(std::chrono::nanoseconds duration) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  timespec remaining = {seconds.count(), (duration - seconds).count()};
  while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
  }
}
