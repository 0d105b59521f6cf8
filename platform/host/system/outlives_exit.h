#pragma once

#include <atomic>

#include "thread_safety.h"

namespace host {

// Holds an object that a process has one of, from its first use on. Nobody ever destroys it:
// threads and callbacks may use it while the process ends, after the destructors of static objects.
// `T` may be incomplete where the holder is declared.
template <typename T>
class OutlivesExit {
 public:
  // The object. If it does not exist yet, `make` returns a new one; `make` must not ask for the
  // object. What it throws leaves this function, and the next call tries again. Any thread.
  template <typename Make>
  T& Get(Make make) {
    T* object = m_Object.load(std::memory_order_acquire);
    return object != nullptr ? *object : GetOrMake(make);
  }

  T& Get() {
    return Get([] { return new T(); });
  }

 private:
  template <typename Make>
  T& GetOrMake(Make& make) {
    const guarded::Lock lock(m_Making);
    T* object = m_Object.load(std::memory_order_relaxed);
    if (object == nullptr) {
      object = make();
      m_Object.store(object, std::memory_order_release);
    }
    return *object;
  }

  guarded::Mutex m_Making;
  std::atomic<T*> m_Object = nullptr;
};

}  // namespace host
