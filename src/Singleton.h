#pragma once

#include <atomic>
#include <mutex>

// The pointer to the one object of a class, created on first use. Any thread may create it: two
// that come at once get the same object, and it is constructed once. The constructor must not ask
// for the object itself. What was not deleted lives until the process ends.
template <typename T>
class SingletonPointer {
 public:
  // Null when there is no object.
  T* Get() const { return m_Object; }

  // `create` returns a new object.
  template <typename Create>
  T* GetOrCreate(Create create) {
    if (T* object = m_Object) {
      return object;
    }
    std::lock_guard lock(m_Creation);
    if (m_Object == nullptr) {
      m_Object = create();
    }
    return m_Object;
  }

  // Deletes the object. Whoever got it before must be done with it. Nothing happens when there is
  // none.
  void Delete() {
    std::lock_guard lock(m_Creation);
    delete m_Object.exchange(nullptr);
  }

 private:
  std::atomic<T*> m_Object = nullptr;
  std::mutex m_Creation;
};
