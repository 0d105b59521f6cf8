#include "framework/process_signals.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <initializer_list>
#include <system_error>

namespace host {
namespace {

sigset_t SetOf(std::initializer_list<int> numbers) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : numbers) {
    sigaddset(&signals, number);
  }
  return signals;
}

sigset_t EndSignals() { return SetOf({SIGTERM, SIGINT}); }

sigset_t ReloadSignals() { return SetOf({SIGHUP}); }

bool TakeWaiting(const sigset_t& signals) {
  const timespec atOnce{};
  return sigtimedwait(&signals, nullptr, &atOnce) > 0;
}

int Open(const sigset_t& signals) {
  const int fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  return fd;
}

}  // namespace

void BlockSignals() {
  const sigset_t signals = SetOf({SIGTERM, SIGINT, SIGHUP});
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool TakeWaitingEndSignal() { return TakeWaiting(EndSignals()); }
bool TakeWaitingReloadSignal() { return TakeWaiting(ReloadSignals()); }

int OpenEndSignals() { return Open(EndSignals()); }
int OpenReloadSignals() { return Open(ReloadSignals()); }

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
