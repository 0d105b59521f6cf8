#include "nuvra/alarm.h"

#include <Ecore.h>

#include "framework/main_loop.h"
#include "system/exception_border.h"

namespace Nuvra {
namespace {

bool InRange(unsigned period, int repetition) {
  return period > 0 && (repetition > 0 || repetition == NUVRA_INFINITY);
}

}  // namespace

struct TCAlarm::Impl {
  bool Start(unsigned period, int repetition) {
    if (!host::MainLoopExists()) {
      return false;
    }
    Ecore_Timer* const started = ecore_timer_add(period / 1000.0, OnPeriod, this);
    if (started == nullptr) {
      return false;
    }
    Stop();
    timer = started;
    callsLeft = repetition;
    endedMainLoops = host::EndedMainLoops();
    return true;
  }

  void Stop() {
    if (timer != nullptr && endedMainLoops == host::EndedMainLoops()) {
      ecore_timer_del(timer);
    }
    timer = nullptr;
  }

  static Eina_Bool OnPeriod(void* data) {
    auto* const alarm = static_cast<Impl*>(data);
    alarm->inCall = true;
    const bool goesOn = alarm->Call();
    alarm->inCall = false;
    if (alarm->abandoned) {
      delete alarm;
    } else if (!goesOn || alarm->callsLeft == 0) {
      alarm->Stop();
    }
    // A timer that was stopped or restarted meanwhile is already deleted.
    return ECORE_CALLBACK_RENEW;
  }

  bool Call() {
    if (callsLeft != NUVRA_INFINITY) {
      --callsLeft;
    }
    return callback == nullptr || host::Guarded("nuvra", "an exception left an alarm callback",
                                                true, [&] { return callback(userData); });
  }

  bool created = false;
  Ecore_Timer* timer = nullptr;  // null when stopped
  unsigned endedMainLoops = 0;   // when the timer was started
  int callsLeft = 0;
  Callback callback = nullptr;
  void* userData = nullptr;
  bool inCall = false;
  bool abandoned = false;  // the alarm was destroyed during the call
};

TCAlarm::TCAlarm() : m_Impl(new Impl) {}

TCAlarm::~TCAlarm() {
  m_Impl->Stop();
  m_Impl->abandoned = true;
  if (!m_Impl->inCall) {
    delete m_Impl;
  }
}

bool TCAlarm::Create(TCEventIO* eventIO, unsigned period, int repetition) {
  if (m_Impl->created || eventIO == nullptr || !InRange(period, repetition)) {
    return false;
  }
  m_Impl->created = m_Impl->Start(period, repetition);
  return m_Impl->created;
}

bool TCAlarm::IsCreated() const { return m_Impl->created; }

bool TCAlarm::Reset(unsigned period, int repetition) {
  return m_Impl->created && InRange(period, repetition) && m_Impl->Start(period, repetition);
}

void TCAlarm::SetAlarmCallback(Callback callback, void* userData) {
  m_Impl->callback = callback;
  m_Impl->userData = userData;
}

}  // namespace Nuvra
