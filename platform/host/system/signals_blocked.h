#pragma once

#include <pthread.h>
#include <signal.h>

namespace host {

// While one exists, the calling thread takes no signals, nor does any thread that it starts: such a
// thread never runs a handler of the program, and writing to a closed pipe fails instead of ending
// the process.
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

}  // namespace host
