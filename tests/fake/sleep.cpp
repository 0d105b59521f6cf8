#include <cerrno>
#include <cstring>
#include <ctime>

#include "call.h"

// Programs that use the fake are linked so that every nanosleep, and with it the sleep of a
// C++ thread, comes here. Nobody really sleeps; a held sleep waits for the test.
using namespace fakes;

extern "C" int __wrap_nanosleep(const timespec* request, timespec* remaining);

namespace {

using std::chrono::nanoseconds;

constexpr long kNanosecondsPerSecond = 1'000'000'000;

std::string DurationText(nanoseconds duration) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(duration);
  return milliseconds == duration ? std::to_string(milliseconds.count()) + "ms"
                                  : std::to_string(duration.count()) + "ns";
}

int Fails(Call& call, int error) {
  call.Returns(Verbatim{strerrorname_np(error)});
  errno = error;
  return -1;
}

int Interrupted(Call& call, timespec* remaining, nanoseconds left) {
  if (remaining != nullptr) {
    remaining->tv_sec = left.count() / kNanosecondsPerSecond;
    remaining->tv_nsec = left.count() % kNanosecondsPerSecond;
  }
  return Fails(call, EINTR);
}

// Ends the sleep that began first.
bool EndFirst(std::optional<nanoseconds> left) {
  std::lock_guard lock(Shared().mutex);
  auto& sleepers = Shared().state.sleepers;
  if (sleepers.empty()) {
    return false;
  }
  sleepers.front()->left = left;
  sleepers.front()->ended = true;
  sleepers.pop_front();
  Shared().changed.notify_all();
  return true;
}

}  // namespace

int __wrap_nanosleep(const timespec* request, timespec* remaining) {
  const nanoseconds duration =
      std::chrono::seconds(request->tv_sec) + nanoseconds(request->tv_nsec);
  Call call("nanosleep", Verbatim{DurationText(duration)});
  if (request->tv_sec < 0 || request->tv_nsec < 0 || request->tv_nsec >= kNanosecondsPerSecond) {
    return Fails(call, EINVAL);
  }
  if (auto error = call.Failure(EINTR)) {
    return *error == EINTR ? Interrupted(call, remaining, duration) : Fails(call, *error);
  }
  call.Ends();
  if (!call->holdSleeps) {
    return 0;
  }
  const auto sleeper = std::make_shared<Sleeper>();
  call->sleepers.push_back(sleeper);
  Shared().changed.notify_all();
  Shared().changed.wait(call.Lock(), [&] { return sleeper->ended; });
  return sleeper->left ? Interrupted(call, remaining, *sleeper->left) : 0;
}

namespace fakes {

void Platform::HoldSleeps() {
  std::lock_guard lock(Shared().mutex);
  Shared().state.holdSleeps = true;
}

bool Platform::WaitForSleepers(std::size_t count, std::chrono::milliseconds limit) {
  std::unique_lock lock(Shared().mutex);
  return Shared().changed.wait_for(lock, limit,
                                   [&] { return Shared().state.sleepers.size() == count; });
}

bool Platform::StepSleep() { return EndFirst(std::nullopt); }

bool Platform::InterruptSleep(nanoseconds left) { return EndFirst(left); }

}  // namespace fakes
