#include "common.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <system_error>

#include "text.h"

namespace tools {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

void CheckOutput(bool good) {
  if (good) {
    return;
  }
  if (errno == EPIPE) {
    throw OutputClosed();
  }
  throw Failure(ExitCode::kRefused,
                fmt::format("cannot write to standard output: {}", std::strerror(errno)));
}

}  // namespace

microseconds Duration(double seconds) {
  return std::chrono::ceil<microseconds>(std::chrono::duration<double>(seconds));
}

void PrintError(std::string_view tool, std::string_view message) {
  // Quotes in a message are already escaped, but a library's text in it may not be.
  PrintNote(fmt::format("{}: {}", tool, Escape(message)));
}

void PrintNote(std::string_view note) {
  // It must not matter whether anybody reads it.
  std::fputs(fmt::format("{}\n", note).c_str(), stderr);
}

void PrintLine(std::string_view line) {
  CheckOutput(std::fwrite(line.data(), 1, line.size(), stdout) == line.size());
  CheckOutput(std::fputc('\n', stdout) != EOF);
}

void Flush() { CheckOutput(std::fflush(stdout) == 0); }

Listening::Listening(std::optional<double> seconds) {
  if (seconds) {
    m_End = steady_clock::now() + Duration(*seconds);
  }
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  m_Signals = signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK);
  if (m_Signals < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
  }
}

Listening::~Listening() { close(m_Signals); }

Listening::Event Listening::Wait(int fd, short events, std::optional<microseconds> timeout) {
  const auto wake = timeout ? std::optional(steady_clock::now() + *timeout) : std::nullopt;
  for (;;) {
    // poll counts milliseconds: a long wait is made of several.
    int wait = 60'000;
    const auto now = steady_clock::now();
    for (const auto& end : {wake, m_End}) {
      if (end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - now).count();
        wait = std::clamp<int64_t>(left, 0, wait);
      }
    }
    pollfd fds[] = {{fd, events, 0}, {m_Signals, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    if (poll(fds, std::size(fds), wait) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "cannot wait");
    }
    if (fds[1].revents != 0 || (fds[2].revents & (POLLERR | POLLHUP)) != 0) {
      return Event::kEnd;
    }
    if (m_End && steady_clock::now() >= *m_End) {
      return Event::kLimit;
    }
    if (fds[0].revents != 0 || (wake && steady_clock::now() >= *wake)) {
      return Event::kInput;
    }
  }
}

}  // namespace tools
