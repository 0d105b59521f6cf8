#include "keystore/wake_up.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

namespace host {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  const char* advice = errno == EMFILE ? "; raise fs.inotify.max_user_instances or the limit of "
                                         "open files"
                                       : "";
  throw std::system_error(errno, std::generic_category(), what + advice);
}

void Add(const FileDescriptor& epoll, const FileDescriptor& source) {
  epoll_event event{.events = EPOLLIN, .data = {.fd = source.Get()}};
  if (::epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, source.Get(), &event) != 0) {
    Fail("cannot wait for changes of the key store");
  }
}

}  // namespace

WakeUp::WakeUp(const std::filesystem::path& file)
    : m_Closed(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      m_Timer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
      m_Either(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!m_Closed || !m_Timer || !m_Either) {
    Fail("cannot wait for changes of the key store");
  }
  if (::inotify_add_watch(m_Closed.Get(), file.c_str(), IN_CLOSE_WRITE) < 0) {
    Fail("cannot watch " + file.string());
  }
  Add(m_Either, m_Closed);
  Add(m_Either, m_Timer);
}

void WakeUp::Clear() {
  // What the events say does not matter, only that there were some. The kernel merges equal ones,
  // so that there are never many.
  alignas(inotify_event) std::array<char, 4096> events;
  while (::read(m_Closed.Get(), events.data(), events.size()) > 0) {
  }
  std::uint64_t expirations = 0;
  while (::read(m_Timer.Get(), &expirations, sizeof(expirations)) > 0) {
  }
}

void WakeUp::Again(std::chrono::nanoseconds delay) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
  itimerspec when{};
  when.it_value = {.tv_sec = seconds.count(), .tv_nsec = (delay - seconds).count()};
  ::timerfd_settime(m_Timer.Get(), 0, &when, nullptr);
}

}  // namespace host
