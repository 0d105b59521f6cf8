// Two mutexes, shared between processes, instead of one: whoever releases a mutex and comes
// straight back would take it again before the waiter that was woken has even begun to run. With
// two, the door is shut. It belongs to the first of those who wait, until that one has its turn;
// only then does the next come to the door.
//
// The mutexes are robust: the kernel releases those of a thread that ends. A process stopped at the
// door cannot be told from one that is about to continue, so whoever has waited behind it for a
// while checks whether anybody is writing at all, and if not, overtakes it.

#include "keystore/write_line.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "keystore/lock_holder.h"
#include "system/file_descriptor.h"

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace host {

struct WriteLine::Shared {
  std::array<char, 64> maker;  // who can use it: see MakerText
  pthread_mutex_t door;
  pthread_mutex_t turn;
  std::atomic<std::int64_t> turns;  // how many there have been
  std::atomic<pid_t> holder;        // who has it; 0 for nobody
};

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLimit = std::chrono::seconds(kHeldTooLongSeconds);

// After this time somebody at the door may be stopped.
constexpr auto kDoorPatience = std::chrono::seconds(1);

[[noreturn]] void Fail(int error, const std::string& what, const std::filesystem::path& path) {
  throw std::system_error(error, std::generic_category(), what + " " + path.string());
}

// The same for all processes that can use each other's mutexes: those of one run of the machine and
// with one layout.
std::string MakerText(std::size_t size) {
  std::string boot;
  std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), boot);
  return boot + " " + std::to_string(size);
}

void MakeMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  ::pthread_mutex_init(&mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

// Whether a call that `result` came from has locked the mutex. What it guards is consistent at any
// moment, so it does not matter that its owner died.
bool IsLocked(pthread_mutex_t& mutex, int result) {
  if (result == EOWNERDEAD) {
    result = ::pthread_mutex_consistent(&mutex);
  }
  if (result != 0 && result != EBUSY && result != ETIMEDOUT) {
    throw std::system_error(result, std::generic_category(), "cannot wait in the line of writers");
  }
  return result == 0;
}

bool TryLock(pthread_mutex_t& mutex) { return IsLocked(mutex, ::pthread_mutex_trylock(&mutex)); }

bool LockUntil(pthread_mutex_t& mutex, Clock::time_point end) {
  // ThreadSanitizer does not know locking by the monotonic clock.
#ifdef __SANITIZE_THREAD__
  const auto time = std::chrono::system_clock::now().time_since_epoch() + (end - Clock::now());
#else
  const auto time = end.time_since_epoch();
#endif
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const timespec until{.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
#ifdef __SANITIZE_THREAD__
  const int result = ::pthread_mutex_timedlock(&mutex, &until);
  if (result == EOWNERDEAD) {
    // Nor that a timed lock takes the mutex of an owner that died.
    __tsan_mutex_pre_lock(&mutex, __tsan_mutex_try_lock);
    __tsan_mutex_post_lock(&mutex, __tsan_mutex_try_lock, 0);
  }
  return IsLocked(mutex, result);
#else
  return IsLocked(mutex, ::pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &until));
#endif
}

class DoorLock {
 public:
  explicit DoorLock(pthread_mutex_t& locked) : m_Locked(locked) {}
  ~DoorLock() { ::pthread_mutex_unlock(&m_Locked); }
  DoorLock(const DoorLock&) = delete;
  DoorLock& operator=(const DoorLock&) = delete;

 private:
  pthread_mutex_t& m_Locked;
};

// How long a waiter keeps waiting: every new turn renews its patience.
class Patience {
 public:
  explicit Patience(const std::atomic<std::int64_t>& turns) : m_Turns(turns) {}

  Clock::time_point End() const { return m_End; }

  bool IsOver() {
    if (const std::int64_t turns = m_Turns; turns != m_Seen) {
      m_Seen = turns;
      m_End = Clock::now() + kLimit;
    }
    return Clock::now() >= m_End;
  }

 private:
  const std::atomic<std::int64_t>& m_Turns;
  std::int64_t m_Seen = m_Turns;
  Clock::time_point m_End = Clock::now() + kLimit;
};

}  // namespace

WriteLine::WriteLine(const std::filesystem::path& file, std::filesystem::path keyFile)
    : m_KeyFile(std::move(keyFile)) {
  const auto map = [](const FileDescriptor& opened) {
    void* address =
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, opened.Get(), 0);
    return address == MAP_FAILED ? nullptr : static_cast<Shared*>(address);
  };
  const std::string maker = MakerText(sizeof(Shared));
  if (const FileDescriptor there(::open(file.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC)); there) {
    struct stat status;
    if (::fstat(there.Get(), &status) == 0 && status.st_size == off_t{sizeof(Shared)}) {
      m_Shared = map(there);
      if (m_Shared == nullptr) {
        Fail(errno, "cannot map", file);
      }
      if (std::string_view(m_Shared->maker.data(), maker.size()) == maker) {
        return;
      }
      ::munmap(m_Shared, sizeof(Shared));
    }
  }
  // Those who have the old one mapped may continue with it, so it is replaced, not overwritten.
  const std::string made = file.string() + ".new";
  ::unlink(made.c_str());
  const FileDescriptor opened(
      ::open(made.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  const std::array<char, sizeof(Shared)> zeros{};
  // Written rather than just extended: a full file system must report it here, not when the mapping
  // is touched.
  if (!opened || ::write(opened.Get(), zeros.data(), zeros.size()) != ssize_t{sizeof(Shared)} ||
      (m_Shared = map(opened)) == nullptr) {
    Fail(errno, "cannot make", made);
  }
  MakeMutex(m_Shared->door);
  MakeMutex(m_Shared->turn);
  maker.copy(m_Shared->maker.data(), m_Shared->maker.size());
  if (::rename(made.c_str(), file.c_str()) != 0) {
    const int error = errno;
    ::munmap(m_Shared, sizeof(Shared));
    Fail(error, "cannot make", file);
  }
}

WriteLine::~WriteLine() { ::munmap(m_Shared, sizeof(Shared)); }

WriteLine::Turn::Turn(WriteLine& line) : m_Line(line) {
  Shared& shared = *line.m_Shared;
  const auto begin = [&shared] {
    shared.holder = ::getpid();
    ++shared.turns;
  };
  Patience patience(shared.turns);
  const auto failIfOver = [&] {
    if (patience.IsOver()) {
      // The holder of the turn may itself be waiting for a program that has not joined the line.
      const pid_t writer = HolderOfWriteLock(line.m_KeyFile);
      const pid_t holder = writer != 0 ? writer : shared.holder.load();
      throw std::runtime_error("key file " + line.m_KeyFile.string() + ": database is locked; " +
                               HeldTooLong(holder));
    }
  };
  if (!TryLock(shared.door)) {
    while (!LockUntil(shared.door, Clock::now() + kDoorPatience)) {
      if (TryLock(shared.turn)) {
        begin();
        return;
      }
      failIfOver();
    }
  }
  const DoorLock door(shared.door);
  if (!TryLock(shared.turn)) {
    while (!LockUntil(shared.turn, patience.End())) {
      failIfOver();
    }
  }
  begin();
}

WriteLine::Turn::~Turn() {
  m_Line.m_Shared->holder = 0;
  ::pthread_mutex_unlock(&m_Line.m_Shared->turn);
}

}  // namespace host
