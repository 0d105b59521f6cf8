#include "settingsctl/command.h"

#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common.h"
#include "text.h"

// The signals, including the command's end, are blocked and fetched one by one, so that none can
// come between checking the command and waiting. The command itself starts with this process's
// original signal mask, and with the default SIGPIPE.

namespace settingsctl {
namespace {

constexpr int kForwarded[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Blocks the signals that Wait fetches, during its lifetime.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigemptyset(&m_Blocked);
    sigaddset(&m_Blocked, SIGCHLD);
    for (const int signal : kForwarded) {
      sigaddset(&m_Blocked, signal);
    }
    sigprocmask(SIG_BLOCK, &m_Blocked, &m_Before);
    // Some parents leave it ignored; then it would never come.
    signal(SIGCHLD, SIG_DFL);
  }
  ~BlockedSignals() { sigprocmask(SIG_SETMASK, &m_Before, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

  const sigset_t& Before() const { return m_Before; }

  siginfo_t Wait() const {
    siginfo_t info{};
    while (sigwaitinfo(&m_Blocked, &info) < 0 && errno == EINTR) {
    }
    return info;
  }

 private:
  sigset_t m_Blocked;
  sigset_t m_Before;
};

// Returns an error number; 0 when the command was started.
int Start(const std::vector<std::string>& command, const sigset_t& mask, pid_t& pid) {
  std::vector<char*> words;
  for (const std::string& word : command) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setsigmask(&attributes, &mask);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  const int error = posix_spawnp(&pid, words[0], nullptr, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  return error;
}

}  // namespace

int RunCommand(const std::vector<std::string>& command) {
  constexpr int kNotFound = 127;
  constexpr int kCannotRun = 126;
  constexpr int kSignalled = 128;
  const BlockedSignals signals;
  pid_t pid = 0;
  if (const int error = Start(command, signals.Before(), pid)) {
    tools::PrintError("settingsctl", fmt::format("cannot run {}: {}", tools::Quote(command[0]),
                                                 std::strerror(error)));
    return error == ENOENT ? kNotFound : kCannotRun;
  }
  for (;;) {
    const siginfo_t info = signals.Wait();
    int status = 0;
    if (info.si_signo != SIGCHLD) {
      if (info.si_code != SI_KERNEL) {
        kill(pid, info.si_signo);
      }
    } else if (waitpid(pid, &status, WNOHANG) == pid) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
    }
  }
}

}  // namespace settingsctl
