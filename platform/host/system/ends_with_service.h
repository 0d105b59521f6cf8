#pragma once

#include <utility>

namespace host {

// Holds an object that a process has one of, from its first use to End. `T` may be incomplete where
// the holder is declared. Main-loop thread only.
template <typename T>
class EndsWithService {
 public:
  // The object. If it does not exist, `make` returns a new one; what that throws leaves this
  // function, and the next call tries again.
  template <typename Make>
  T& Get(Make make) {
    if (m_Object == nullptr) {
      m_Object = make();
      m_Delete = [](T* object) { delete object; };
    }
    return *m_Object;
  }

  T& Get() {
    return Get([] { return new T(); });
  }

  // Null if it does not exist.
  T* Find() const { return m_Object; }

  void End() {
    if (m_Object != nullptr) {
      m_Delete(std::exchange(m_Object, nullptr));
    }
  }

 private:
  T* m_Object = nullptr;
  void (*m_Delete)(T*) = nullptr;
};

}  // namespace host
