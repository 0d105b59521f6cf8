// What makes of the daemon, as it ships, one for the tests of its watchdog: its alarms come a
// thousand times as often, and at SIGRTMIN a thread makes the file $BLOCKED and stops until
// somebody opens the pipe $GATE.

#include <Ecore.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

namespace {

void Block(int) {
  close(open(std::getenv("BLOCKED"), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  close(open(std::getenv("GATE"), O_RDONLY | O_CLOEXEC));
}

__attribute__((constructor)) void BlockAtSignal() {
  struct sigaction action = {};
  action.sa_handler = Block;
  action.sa_flags = SA_RESTART;
  sigaction(SIGRTMIN, &action, nullptr);
}

}  // namespace

extern "C" {

Ecore_Timer* __real_ecore_timer_add(double seconds, Ecore_Task_Cb callback, const void* data);

Ecore_Timer* __wrap_ecore_timer_add(double seconds, Ecore_Task_Cb callback, const void* data) {
  return __real_ecore_timer_add(seconds / 1000, callback, data);
}
}
