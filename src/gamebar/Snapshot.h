#pragma once

#include <memory>
#include <utility>

#include "thread_safety.h"

// A value that threads read and replace as a whole: a reader keeps the one it loaded, however often
// it is replaced meanwhile, so nobody may change a value once it is stored here. Null at first,
// unless a value is given.
//
// The free functions for shared pointers, not std::atomic of one: the library's own keeps its lock
// in a bit of the pointer, which ThreadSanitizer cannot see.
template <typename T>
class Snapshot {
 public:
  Snapshot() = default;
  explicit Snapshot(std::shared_ptr<T> value) : m_Value(std::move(value)) {}

  std::shared_ptr<T> Load() const {
    guarded::Lock lock(m_Lock);
    return m_Value;
  }

  void Store(std::shared_ptr<T> value) {
    guarded::Lock lock(m_Lock);
    m_Value.swap(value);
  }

  // Stores `value` if what is stored still is `expected`. Otherwise gives what is stored in
  // `expected` and returns false.
  bool Replace(std::shared_ptr<T>& expected, std::shared_ptr<T> value) {
    guarded::Lock lock(m_Lock);
    if (m_Value != expected) {
      expected = m_Value;
      return false;
    }
    m_Value.swap(value);
    return true;
  }

 private:
  mutable guarded::Mutex m_Lock;
  std::shared_ptr<T> m_Value GUARDED_BY(m_Lock);
};
