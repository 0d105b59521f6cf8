#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace host {

// Work that no request waits for, such as announcements: `work` runs on the main loop, outside of
// every handler and callback, once for all that it was asked for since the last time. What was
// written by then has been delivered (before_messages.h). An exception that leaves it is logged and
// goes no further. It must not destroy an AfterMessages. Main-loop thread only.
class AfterMessages {
 public:
  explicit AfterMessages(std::function<void()> work);
  ~AfterMessages();
  AfterMessages(const AfterMessages&) = delete;
  AfterMessages& operator=(const AfterMessages&) = delete;

  // Has the work done as soon as no request waits, but at most 50 ms later; and if it was done in
  // the last 2 ms, when these are over.
  void Ask();

 private:
  using Time = std::chrono::steady_clock::time_point;
  friend std::optional<Time> NextAfterMessages(bool doRequestsWait);
  friend void WorkAfterMessages(bool doRequestsWait);

  std::optional<Time> Due(bool doRequestsWait) const;

  const std::function<void()> m_Work;
  std::optional<Time> m_Asked;  // when it was, since the last time
  Time m_Done;                  // the last time; long ago if never
};

// When some of that work is due; nothing when none was asked for.
std::optional<std::chrono::steady_clock::time_point> NextAfterMessages(bool doRequestsWait);

// Does what is due.
void WorkAfterMessages(bool doRequestsWait);

}  // namespace host
