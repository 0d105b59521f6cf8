#include <Ecore.h>

#include "contract/main_loop.h"

// The contract suites run on the main loop of the process, as the daemon does.
namespace contract {
namespace {

// Wakes the main loop now and then: `done` may look at what another thread did.
constexpr double kLookAgain = 0.002;

Eina_Bool KeepGoing(void*) { return ECORE_CALLBACK_RENEW; }

// Ecore calls its idlers before each look at what is ready, and the idle exiters when it has found
// something. Two calls of an idler in a row mean that nothing is left to do.
Eina_Bool CountIdling(void* times) {
  if (++*static_cast<int*>(times) == 2) {
    ecore_main_loop_quit();
  }
  return ECORE_CALLBACK_RENEW;
}

Eina_Bool ForgetIdling(void* times) {
  *static_cast<int*>(times) = 0;
  return ECORE_CALLBACK_RENEW;
}

}  // namespace

bool RunMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  Ecore_Timer* timer = ecore_timer_add(kLookAgain, KeepGoing, nullptr);
  bool isDone = done();
  while (!isDone && std::chrono::steady_clock::now() < deadline) {
    ecore_main_loop_iterate_may_block(1);
    isDone = done();
  }
  ecore_timer_del(timer);
  return isDone;
}

void SettleMainLoop() {
  int timesIdle = 0;
  Ecore_Idler* idler = ecore_idler_add(CountIdling, &timesIdle);
  Ecore_Idle_Exiter* exiter = ecore_idle_exiter_add(ForgetIdling, &timesIdle);
  ecore_main_loop_begin();
  ecore_idle_exiter_del(exiter);
  ecore_idler_del(idler);
}

}  // namespace contract
