#pragma once

#include <functional>

#include "keystore/key_value.h"

namespace host {

// Hears of every change of the process's key store, by any process, once, in order, on the main
// loop, each after the callbacks of vconf.h that it concerns. It misses none that is not part of
// what the store holds right after its construction. Main-loop thread only.
class KeyListener {
 public:
  // `changed` gets each change. `missed` is called instead when changes were lost, about any key.
  // An exception that leaves them is logged and goes no further. Throws std::runtime_error when
  // there is no main loop or the store cannot be watched.
  KeyListener(std::function<void(const KeyChange&)> changed, std::function<void()> missed);
  ~KeyListener();
  KeyListener(const KeyListener&) = delete;
  KeyListener& operator=(const KeyListener&) = delete;

  // Hears of everything that can be read from the store by now. A writer wakes others after its
  // change can be read, so that does not go without saying. Not from a callback of changes.
  void CatchUp() const;

 private:
  friend class Subscriptions;
  const std::function<void(const KeyChange&)> m_Changed;
  const std::function<void()> m_Missed;
};

}  // namespace host
