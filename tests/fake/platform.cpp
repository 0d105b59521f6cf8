#include <stdexcept>

#include "call.h"

// The fake as a whole: its one state, its main loop and its clock.
namespace fakes {

namespace {

// Far more than any test needs.
constexpr int kEndlessMainLoop = 10000;

using Timers = std::map<std::uint64_t, TimerState>;

// The timer that is due first, at `until` at the latest; the end when there is none.
Timers::iterator FirstDue(Timers& timers, std::chrono::milliseconds until) {
  auto first = timers.end();
  for (auto timer = timers.begin(); timer != timers.end(); ++timer) {
    if (timer->second.alarm.running && timer->second.due <= until &&
        (first == timers.end() || timer->second.due < first->second.due)) {
      first = timer;
    }
  }
  return first;
}

// Counts one period of the timer.
void CountPeriod(TimerState& timer) {
  timer.due += timer.alarm.period;
  if (timer.callsLeft != Nuvra::NUVRA_INFINITY && --timer.callsLeft == 0) {
    timer.alarm.running = false;
  }
}

}  // namespace

SharedState& Shared() {
  static SharedState& shared = *new SharedState;
  return shared;
}

void PostToMainLoop(std::function<void()> work) {
  Shared().state.mainLoopWork.push_back(std::move(work));
  Shared().changed.notify_all();
}

Platform& Platform::Instance() {
  static Platform platform;
  return platform;
}

void Platform::Reset() {
  std::lock_guard lock(Shared().mutex);
  for (const auto& sleeper : Shared().state.sleepers) {
    sleeper->ended = true;
  }
  Shared().state = State{};
  Shared().changed.notify_all();
}

bool Platform::RunMainLoopOnce() {
  std::function<void()> work;
  {
    std::lock_guard lock(Shared().mutex);
    auto& waiting = Shared().state.mainLoopWork;
    if (waiting.empty()) {
      return false;
    }
    work = std::move(waiting.front());
    waiting.pop_front();
  }
  work();
  return true;
}

void Platform::RunMainLoop() {
  for (int done = 0; RunMainLoopOnce(); ++done) {
    if (done == kEndlessMainLoop) {
      throw std::runtime_error("the main loop does not come to rest");
    }
  }
}

bool Platform::WaitForMainLoopWork(std::chrono::milliseconds limit) {
  std::unique_lock lock(Shared().mutex);
  return Shared().changed.wait_for(lock, limit,
                                   [] { return !Shared().state.mainLoopWork.empty(); });
}

void Platform::AdvanceTime(std::chrono::milliseconds duration) {
  RunMainLoop();
  std::unique_lock lock(Shared().mutex);
  State& state = Shared().state;
  const auto end = state.now + duration;
  for (auto due = FirstDue(state.timers, end); due != state.timers.end();
       due = FirstDue(state.timers, end)) {
    const auto [id, timer] = *due;
    state.now = timer.due;
    CountPeriod(due->second);
    if (timer.alarm.callback == nullptr) {
      continue;
    }
    lock.unlock();
    const bool goesOn = timer.alarm.callback(timer.alarm.userData);
    RunMainLoop();
    lock.lock();
    if (auto called = state.timers.find(id); !goesOn && called != state.timers.end()) {
      called->second.alarm.running = false;
    }
  }
  state.now = end;
}

std::vector<Alarm> Platform::Alarms() const {
  std::lock_guard lock(Shared().mutex);
  std::vector<Alarm> alarms;
  for (const auto& [id, timer] : Shared().state.timers) {
    if (timer.created) {
      alarms.push_back(timer.alarm);
    }
  }
  return alarms;
}

}  // namespace fakes
