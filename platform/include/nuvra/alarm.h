#pragma once

#include "nuvra/event_io.h"

namespace Nuvra {

// Repetition count of a timer that never stops on its own.
inline constexpr int NUVRA_INFINITY = -1;

// A repeating timer on the main loop. Owned by value by whoever uses it; the destructor stops
// it. Main-loop thread only. The first call comes one whole period after Create or Reset.
class TCAlarm {
 public:
  // Called once per period. False stops the alarm, as does the last repetition. An exception that
  // leaves it goes no further: the platform logs it and takes it for true.
  using Callback = bool (*)(void* userData);

  TCAlarm();
  ~TCAlarm();
  TCAlarm(const TCAlarm&) = delete;
  TCAlarm& operator=(const TCAlarm&) = delete;

  // Starts the timer. `period` in milliseconds, above 0; `repetition` is the number of calls or
  // NUVRA_INFINITY. Returns false and starts nothing when an argument is out of range, when
  // `eventIO` is null, when the alarm exists already, or when there is no main loop.
  bool Create(TCEventIO* eventIO, unsigned period, int repetition);

  // Whether Create succeeded once. A stopped alarm still counts as created.
  bool IsCreated() const;

  // Restarts the period and the count, even after the alarm has stopped. Returns false and changes
  // nothing when the alarm was not created or an argument is out of range.
  bool Reset(unsigned period, int repetition);

  // `userData` is passed through; the alarm neither owns nor reads it. With a null callback nothing
  // is called.
  void SetAlarmCallback(Callback callback, void* userData);

 private:
  struct Impl;
  Impl* m_Impl;
};

}  // namespace Nuvra
