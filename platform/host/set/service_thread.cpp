#include "set/service_thread.h"

#include <pthread.h>

#include <thread>
#include <utility>

#include "system/signals_blocked.h"

namespace host {

void StartServiceThread(const char* name, std::function<void()> body) {
  const SignalsBlocked blocked;
  std::thread thread(std::move(body));
  pthread_setname_np(thread.native_handle(), name);
  thread.detach();
}

}  // namespace host
