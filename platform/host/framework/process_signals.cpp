#include "framework/process_signals.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <system_error>

namespace host {
namespace {

sigset_t EndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return signals;
}

}  // namespace

void BlockEndSignals() {
  const sigset_t signals = EndSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool TakeWaitingEndSignal() {
  const sigset_t signals = EndSignals();
  const timespec atOnce{};
  return sigtimedwait(&signals, nullptr, &atOnce) > 0;
}

int OpenEndSignals() {
  const sigset_t signals = EndSignals();
  const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  return fd;
}

SignalKeeper::SignalKeeper() {
  pthread_sigmask(SIG_SETMASK, nullptr, &m_Blocked);
  for (std::size_t index = 0; index < m_Actions.size(); ++index) {
    sigaction(kSignals[index], nullptr, &m_Actions[index]);
  }
}

SignalKeeper::~SignalKeeper() {
  for (std::size_t index = 0; index < m_Actions.size(); ++index) {
    sigaction(kSignals[index], &m_Actions[index], nullptr);
  }
  pthread_sigmask(SIG_SETMASK, &m_Blocked, nullptr);
}

}  // namespace host
