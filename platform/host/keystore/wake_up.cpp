#include "keystore/wake_up.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

namespace host {
namespace {

// What happens to a file when its name no longer leads to it. The removal of an open file shows in
// its link count, which is an attribute.
constexpr std::uint32_t kNameEvents = IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

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

WakeUp::WakeUp(std::filesystem::path file)
    : m_File(std::move(file)),
      m_Closed(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      m_Timer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
      m_Either(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!m_Closed || !m_Timer || !m_Either) {
    Fail("cannot wait for changes of the key store");
  }
  FindAgain();
  Add(m_Either, m_Closed);
  Add(m_Either, m_Timer);
}

int WakeUp::Watch(const std::filesystem::path& file, std::uint32_t events) {
  const int watch = ::inotify_add_watch(m_Closed.Get(), file.c_str(), events | kNameEvents);
  if (watch < 0) {
    Fail("cannot watch " + file.string());
  }
  return watch;
}

void WakeUp::Keep(const std::filesystem::path& file) { Watch(file, 0); }

bool WakeUp::Clear() {
  bool isNamed = true;
  // The kernel merges equal events, so there are never many.
  alignas(inotify_event) std::array<char, 4096> events;
  ssize_t size = 0;
  while ((size = ::read(m_Closed.Get(), events.data(), events.size())) > 0) {
    for (const char* next = events.data(); next < events.data() + size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(next);
      isNamed = isNamed && (event->mask & (kNameEvents | IN_Q_OVERFLOW)) == 0;
      next += sizeof(inotify_event) + event->len;
    }
  }
  std::uint64_t expirations = 0;
  while (::read(m_Timer.Get(), &expirations, sizeof(expirations)) > 0) {
  }
  return !isNamed;
}

bool WakeUp::FindAgain() {
  if (!FileDescriptor(::open(m_File.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644))) {
    Fail("cannot make " + m_File.string());
  }
  // The previous one stays watched: somebody may still have to close it.
  const int before = std::exchange(m_Watched, Watch(m_File, IN_CLOSE_WRITE));
  return m_Watched != before;
}

void WakeUp::Again(std::chrono::nanoseconds delay) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
  itimerspec when{};
  when.it_value = {.tv_sec = seconds.count(), .tv_nsec = (delay - seconds).count()};
  ::timerfd_settime(m_Timer.Get(), 0, &when, nullptr);
}

}  // namespace host
