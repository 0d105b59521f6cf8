// The service manager is the watchdog: a unit with WatchdogSec= gets WATCHDOG_USEC and
// NOTIFY_SOCKET in its environment. The unit also says what happens to a service that stops
// feeding, so the level that the service asks for is ignored here.

#include <systemd/sd-daemon.h>

#include <cstdlib>
#include <cstring>

#include "deadlock_watchdog.h"
#include "dlog.h"

namespace {
constexpr char kLogTag[] = "watchdog";
}

int smart_deadlock_register_watchdog_service(int) { return smart_deadlock_watchdog_notify(); }

int smart_deadlock_watchdog_notify() {
  if (sd_watchdog_enabled(0, nullptr) <= 0) {
    return -1;
  }
  const int sent = sd_notify(0, "WATCHDOG=1");
  if (sent < 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "the service manager cannot be fed: %s\n",
                 std::strerror(-sent));
  }
  return sent > 0 ? 0 : -1;
}
