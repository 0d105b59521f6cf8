// One thread watches for all services, so that a write of any key wakes one thread and not five,
// and none before something is registered.

#include "set/change_feed.h"

#include <poll.h>

#include <utility>

#include "keystore/damage_log.h"
#include "keystore/process_store.h"
#include "set/keys.h"
#include "set/service_thread.h"

namespace host {

ChangeFeed::ChangeFeed() : m_Watcher(ProcessStore()) {
  StartServiceThread("set-changes", [this] { m_Run(); });
}

void ChangeFeed::Add(std::function<void(const KeyChange&)> sink) {
  const guarded::Lock lock(m_Mutex);
  m_Sinks.push_back(std::move(sink));
}

void ChangeFeed::m_Run() {
  pollfd readable{.fd = m_Watcher.Fd(), .events = POLLIN, .revents = 0};
  for (;;) {
    if (::poll(&readable, 1, -1) > 0) {
      m_Take();
    }
  }
}

void ChangeFeed::m_Hand(const std::vector<KeyChange>& changes) {
  const guarded::Lock lock(m_Mutex);
  for (const KeyChange& change : changes) {
    if (!change.key.starts_with(kSetPrefix)) {
      continue;
    }
    for (const auto& sink : m_Sinks) {
      sink(change);
    }
  }
}

void ChangeFeed::m_Take() {
  GuardedFromDamage("set", "cannot read the changes", [this] {
    m_Hand(m_Watcher.TakeChanges());
    m_HasMissed = m_HasMissed || m_Watcher.Missed() > 0;
    if (m_HasMissed && !m_Watcher.IsBehind()) {
      // What was lost may have been about any key, so each counts as changed once.
      const std::int64_t newest = ProcessStore().NewestChange(kPowerKey);
      std::vector<KeyChange> changes;
      for (auto& [key, value] : ProcessStore().List(kSetPrefix)) {
        changes.push_back({.key = key, .value = std::move(value), .number = newest});
      }
      m_Hand(changes);
      m_HasMissed = false;
    }
  });
}

}  // namespace host
