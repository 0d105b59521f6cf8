#pragma once

#include <signal.h>

#include <array>
#include <csignal>

namespace host {

// Blocks SIGTERM and SIGINT in the calling thread, and so in all threads and programs that it
// starts from then on.
void BlockEndSignals();

// Takes a SIGTERM or SIGINT that waits, blocked, for the calling thread. Returns whether there was
// one.
bool TakeWaitingEndSignal();

// A new file descriptor, the caller's, that can be read when a SIGTERM or SIGINT waits, blocked.
// Throws std::system_error.
int OpenEndSignals();

// Puts back at its end what the process does with the signals that Ecore uses, and which of all
// signals the calling thread blocks: Ecore leaves both changed.
class SignalKeeper {
 public:
  SignalKeeper();
  ~SignalKeeper();
  SignalKeeper(const SignalKeeper&) = delete;
  SignalKeeper& operator=(const SignalKeeper&) = delete;

 private:
  static constexpr int kSignals[] = {SIGPIPE, SIGALRM, SIGCHLD, SIGUSR1, SIGUSR2,
                                     SIGHUP,  SIGQUIT, SIGINT,  SIGTERM};

  sigset_t m_Blocked;
  std::array<struct sigaction, std::size(kSignals)> m_Actions;
};

}  // namespace host
