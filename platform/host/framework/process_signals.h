#pragma once

#include <signal.h>

#include <array>
#include <csignal>

namespace host {

// SIGTERM and SIGINT ask the process to end, SIGHUP to read its configuration again. Blocks them in
// the calling thread, and so in all threads and programs that it starts from then on.
void BlockSignals();

// Take a blocked, pending signal of the calling thread. Return whether there was one.
bool TakeWaitingEndSignal();
bool TakeWaitingReloadSignal();

// A new file descriptor, the caller's, that can be read when such a blocked signal is pending.
// Throw std::system_error.
int OpenEndSignals();
int OpenReloadSignals();

// At its end restores what the process does with the signals that Ecore uses, and which signals, of
// all, the calling thread blocks: Ecore leaves both changed.
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
