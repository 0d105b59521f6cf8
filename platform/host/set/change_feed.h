#pragma once

#include <functional>
#include <vector>

#include "keystore/key_store.h"
#include "thread_safety.h"

namespace host {

// Passes every change of the keys "memory/set/…" to the services of this process, in order, on its
// own thread, which sleeps until something is written.
class ChangeFeed {
 public:
  // Lives until the process ends, as its thread does: to be made by the host only. Throws
  // std::runtime_error when the key store cannot be watched.
  ChangeFeed();

  // From now on calls `sink` for each change, and once for each key that there is when changes were
  // lost because the thread was too far behind. It must be fast and not throw.
  void Add(std::function<void(const KeyChange&)> sink);

 private:
  [[noreturn]] void m_Run();
  void m_Take();
  void m_Hand(const std::vector<KeyChange>& changes);

  KeyWatcher m_Watcher;
  bool m_HasMissed = false;  // changes, and the sinks do not know yet; the thread's own
  guarded::Mutex m_Mutex;
  std::vector<std::function<void(const KeyChange&)>> m_Sinks GUARDED_BY(m_Mutex);
};

}  // namespace host
