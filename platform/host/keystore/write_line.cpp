// One mutex, shared between processes, that the kernel hands to the first of those who wait (with
// priority inheritance it does; an ordinary one is taken again by whoever releases it and comes
// straight back). It is robust: the kernel also releases that of a thread that ends. And a process
// that is stopped while it waits has no place among the waiters until it continues.
//
// That leaves one that is stopped just when the mutex is handed to it. It cannot be told from one
// that is about to continue, so whoever has waited for a while sees whether the turn has begun, and
// if not, goes past it, and so do all others until it begins.

#include "keystore/write_line.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

#include "keystore/sqlite.h"
#include "keystore/store_error.h"
#include "system/file_descriptor.h"
#include "system/lock_holder.h"

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace host {

struct WriteLine::Shared {
  std::array<char, 64> maker;  // who can use it: see MakerText
  pthread_mutex_t turn;
  std::atomic<std::int64_t> turns;   // how many have begun
  std::atomic<std::int64_t> absent;  // which of them was found not to begin
  std::atomic<pid_t> holder;         // who is writing, or was when killed; 0 for nobody
};

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLimit = std::chrono::seconds(kHeldTooLongSeconds);

// After this time the one whose turn it is may be stopped.
constexpr auto kPatience = std::chrono::seconds(1);

[[noreturn]] void Fail(int error, const std::string& what, const std::filesystem::path& path) {
  throw std::system_error(error, std::generic_category(), what + " " + path.string());
}

// The same for all processes that can use each other's mutexes: those of one run of the machine,
// with one layout, and with the same numbers of processes.
std::string MakerText(std::size_t size) {
  std::string boot;
  std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), boot);
  std::error_code ignored;
  return boot + " " + std::to_string(size) + " " +
         std::filesystem::read_symlink("/proc/self/ns/pid", ignored).string();
}

void MakeMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  ::pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
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

// By the clock that can be set, because kernels before 5.14 know no other for such a mutex. It is
// called again and again, so a clock that is set forward does not matter.
bool LockUntil(pthread_mutex_t& mutex, Clock::time_point end) {
  const auto time = std::chrono::system_clock::now().time_since_epoch() + (end - Clock::now());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const timespec until{.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
  const int result = ::pthread_mutex_timedlock(&mutex, &until);
#ifdef __SANITIZE_THREAD__
  if (result == EOWNERDEAD) {
    // It does not know that a timed lock takes the mutex of an owner that died.
    __tsan_mutex_pre_lock(&mutex, __tsan_mutex_try_lock);
    __tsan_mutex_post_lock(&mutex, __tsan_mutex_try_lock, 0);
  }
#endif
  return IsLocked(mutex, result);
}

// Who is killed while writing leaves its number behind until the next turn begins.
bool IsRunning(pid_t holder) { return holder != 0 && (::kill(holder, 0) == 0 || errno != ESRCH); }

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
  m_IsOwner = TryLock(shared.turn);
  std::int64_t turns = shared.turns;
  auto since = Clock::now();
  while (!m_IsOwner && shared.absent != turns + 1) {
    m_IsOwner = LockUntil(shared.turn, std::min(Clock::now() + kPatience, since + kLimit));
    if (m_IsOwner) {
      break;
    }
    if (const std::int64_t now = shared.turns; now != turns) {
      turns = now;
      since = Clock::now();
    } else if (!IsRunning(shared.holder)) {
      shared.absent = turns + 1;
    } else if (Clock::now() >= since + kLimit) {
      // The holder of the turn may itself be waiting for a program that has not joined the line.
      const pid_t writer = HolderOfWriteLock(line.m_KeyFile);
      throw StoreError(EAGAIN, "key file " + line.m_KeyFile.string() + ": database is locked; " +
                                   HeldTooLong(writer != 0 ? writer : shared.holder.load()));
    }
  }
  if (m_IsOwner) {
    shared.holder = ::getpid();
    ++shared.turns;
  }
}

WriteLine::Turn::~Turn() {
  if (m_IsOwner) {
    m_Line.m_Shared->holder = 0;
    ::pthread_mutex_unlock(&m_Line.m_Shared->turn);
  }
}

}  // namespace host
