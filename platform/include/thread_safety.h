#pragma once

#include <mutex>

// A mutex that declares what it guards, so that clang rejects code that forgets to lock it; the
// standard library's own lacks the annotations. For other compilers these are the standard types,
// and the annotations are empty.
//
// The annotations follow what they describe: `int m_Count GUARDED_BY(m_Mutex);`, `void Grow()
// REQUIRES(m_Mutex);`, and for the predicate of a wait `[this]() REQUIRES(m_Mutex) {…}`.

#ifdef __clang__
#define THREAD_SAFETY(annotation) __attribute__((annotation))
#else
#define THREAD_SAFETY(annotation)
#endif

#define GUARDED_BY(mutex) THREAD_SAFETY(guarded_by(mutex))
#define TRY_ACQUIRE(success) THREAD_SAFETY(try_acquire_capability(success))
#define REQUIRES(mutex) THREAD_SAFETY(requires_capability(mutex))

namespace guarded {

class THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  void lock() THREAD_SAFETY(acquire_capability()) { m_Mutex.lock(); }
  bool try_lock() TRY_ACQUIRE(true) { return m_Mutex.try_lock(); }
  void unlock() THREAD_SAFETY(release_capability()) { m_Mutex.unlock(); }

 private:
  friend class Lock;
  std::mutex m_Mutex;
};

// Holds the mutex to the end of the block, or until it is unlocked.
class THREAD_SAFETY(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) THREAD_SAFETY(acquire_capability(mutex)) : m_Lock(mutex.m_Mutex) {}
  // Holds a mutex that this thread has locked already.
  Lock(Mutex& mutex, std::adopt_lock_t) REQUIRES(mutex) : m_Lock(mutex.m_Mutex, std::adopt_lock) {}
  ~Lock() THREAD_SAFETY(release_capability()) = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Unlock() THREAD_SAFETY(release_capability()) { m_Lock.unlock(); }

  // For a condition variable to wait with.
  std::unique_lock<std::mutex>& ForWait() { return m_Lock; }

 private:
  std::unique_lock<std::mutex> m_Lock;
};

}  // namespace guarded
