#include "system/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "system/lock_holder.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLimit = std::chrono::seconds(kHeldTooLongSeconds);

// How often it tries: the kernel knows no limit for waiting. The lock is held for milliseconds.
constexpr auto kPause = std::chrono::milliseconds(2);

// How often it looks who holds the lock.
constexpr auto kGlance = std::chrono::milliseconds(500);

bool TryLock(const FileDescriptor& opened, const std::filesystem::path& file) {
  if (::flock(opened.Get(), LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  if (errno != EWOULDBLOCK && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "cannot lock " + file.string());
  }
  return false;
}

}  // namespace

FileDescriptor OpenLocked(const std::filesystem::path& file, int flags) {
  constexpr mode_t kMode = 0644;
  FileDescriptor opened(::open(file.c_str(), flags | O_CLOEXEC, kMode));
  while (!opened && errno == EINTR) {
    opened = FileDescriptor(::open(file.c_str(), flags | O_CLOEXEC, kMode));
  }
  if (!opened) {
    throw std::system_error(errno, std::generic_category(), "cannot lock " + file.string());
  }
  pid_t holder = 0;
  auto since = Clock::now();
  for (auto glance = since + kGlance; !TryLock(opened, file);) {
    std::this_thread::sleep_for(kPause);
    const auto now = Clock::now();
    if (now < glance) {
      continue;
    }
    glance = now + kGlance;
    if (const pid_t current = HolderOfFile(file); current != std::exchange(holder, current)) {
      since = now;
    }
    if (now - since >= kLimit) {
      throw std::runtime_error("cannot lock " + file.string() + ": " + HeldTooLong(holder));
    }
  }
  return opened;
}

}  // namespace host
