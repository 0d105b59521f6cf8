#include "set/service_thread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

namespace host {
namespace {

// In the calling thread, and so in the threads that it starts.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_Before);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_Before, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t m_Before;
};

}  // namespace

void StartServiceThread(const char* name, std::function<void()> body) {
  const SignalsBlocked blocked;
  std::thread thread(std::move(body));
  pthread_setname_np(thread.native_handle(), name);
  thread.detach();
}

}  // namespace host
