#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "keystore/process_store.h"
#include "set/change_feed.h"
#include "set/keys.h"
#include "set/service_thread.h"
#include "system/exception_border.h"
#include "system/host.h"
#include "thread_safety.h"

namespace host {

// A service of the set: turns changes of keys into events, and passes these to its callbacks, one
// call at a time and in order, on its own thread. A `Key`, comparable, identifies a callback. All
// public functions may be called from any thread, even inside callbacks.
template <typename Event, typename Key>
class EventService {
 public:
  using Callback = std::function<void(const Event&)>;

  virtual ~EventService() = default;

  // Once, before anything else: starts the service's thread. Throws std::exception.
  void Start(const char* threadName) {
    ChangeFeed& feed = g_Host.changeFeed.Get();
    StartServiceThread(threadName, [this] { Run(); });
    feed.Add([this](const KeyChange& change) { Take(change); });
  }

  // From now on `callback` is called for the events that concern `key`; it replaces an earlier one
  // for that key. Throws std::exception, and changes nothing, when the key store fails.
  void Set(const Key& key, Callback callback) {
    const guarded::Lock lock(m_Mutex);
    if (Registration* known = Find(key)) {
      known->callback = std::move(callback);
      return;
    }
    // By number and not by time: the callback must not see what its caller could already have read.
    if (m_Registrations.empty()) {
      m_Since = ReadAtRest();
    }
    const std::int64_t since = ProcessStore().NewestChange(kPowerKey);
    m_Registrations.push_back({++m_LastId, key, since, std::move(callback)});
  }

  // Removes the callback. Returns whether there was one.
  bool Remove(const Key& key) {
    const guarded::Lock lock(m_Mutex);
    return std::erase_if(m_Registrations, [&](const auto& each) { return each.key == key; }) > 0;
  }

  // Removes all callbacks whose key satisfies the predicate, and waits for a running one, unless
  // that is the caller.
  template <typename Predicate>
  void RemoveAll(Predicate isOwn) {
    guarded::Lock lock(m_Mutex);
    std::erase_if(m_Registrations, [&](const auto& each) { return isOwn(each.key); });
    if (std::this_thread::get_id() != m_Thread) {
      m_Called.wait(lock.ForWait(),
                    [&]() REQUIRES(m_Mutex) { return !m_Running || !isOwn(*m_Running); });
    }
  }

 protected:
  // Under the service's lock. Read: before the first registration, to learn the state that the
  // next change comes on top of. EventOf: after that, every change in order.
  virtual void Read(KeyStore&) {}
  virtual std::optional<Event> EventOf(const KeyChange& change) = 0;
  virtual bool Concerns(const Event& event, const Key& key) const = 0;

 private:
  struct Registration {
    std::uint64_t id;
    Key key;
    std::int64_t since;  // number of the newest change that it must not see
    Callback callback;
  };

  struct Due {
    std::int64_t number;
    Event event;
  };

  Registration* Find(const Key& key) REQUIRES(m_Mutex) {
    const auto found = std::find_if(m_Registrations.begin(), m_Registrations.end(),
                                    [&](const auto& each) { return each.key == key; });
    return found != m_Registrations.end() ? &*found : nullptr;
  }

  // Reads the state, and the number of the newest change that is in it. If something was written in
  // between, it may or may not be included, so both are read again. A store that never rests is
  // taken as read.
  std::int64_t ReadAtRest() {
    constexpr int kMostTries = 1000;
    KeyStore& store = ProcessStore();
    std::int64_t newest = store.NewestChange(kPowerKey);
    for (int i = 0; i < kMostTries; ++i) {
      Read(store);
      const std::int64_t now = store.NewestChange(kPowerKey);
      if (now == newest) {
        break;
      }
      newest = now;
    }
    return newest;
  }

  void Take(const KeyChange& change) {
    const guarded::Lock lock(m_Mutex);
    if (m_Registrations.empty() || change.number <= m_Since) {
      return;
    }
    if (std::optional<Event> event = EventOf(change)) {
      m_Events.push_back({change.number, std::move(*event)});
      m_Posted.notify_one();
    }
  }

  std::vector<std::uint64_t> TurnsFor(const Due& due) const REQUIRES(m_Mutex) {
    std::vector<std::uint64_t> ids;
    for (const Registration& each : m_Registrations) {
      if (each.since < due.number && Concerns(due.event, each.key)) {
        ids.push_back(each.id);
      }
    }
    return ids;
  }

  [[noreturn]] void Run() {
    guarded::Lock lock(m_Mutex);
    m_Thread = std::this_thread::get_id();
    for (;;) {
      m_Posted.wait(lock.ForWait(), [this]() REQUIRES(m_Mutex) { return !m_Events.empty(); });
      const Due due = std::move(m_Events.front());
      m_Events.pop_front();
      // Callbacks may be added and removed meanwhile, so each is looked up when its turn comes.
      for (const std::uint64_t id : TurnsFor(due)) {
        Call(id, due.event);
      }
    }
  }

  // Without the lock while the callback runs.
  void Call(std::uint64_t id, const Event& event) REQUIRES(m_Mutex) {
    const auto turn = std::find_if(m_Registrations.begin(), m_Registrations.end(),
                                   [&](const auto& each) { return each.id == id; });
    if (turn == m_Registrations.end()) {
      return;
    }
    const Callback callback = turn->callback;
    m_Running = turn->key;
    m_Mutex.unlock();
    Guarded("nuvra", "an exception left a callback of the set", [&] { callback(event); });
    m_Mutex.lock();
    m_Running.reset();
    m_Called.notify_all();
  }

  guarded::Mutex m_Mutex;
  std::condition_variable m_Posted;
  std::condition_variable m_Called;
  std::vector<Registration> m_Registrations GUARDED_BY(m_Mutex);
  std::uint64_t m_LastId GUARDED_BY(m_Mutex) = 0;
  // The number of the newest change that Read has seen.
  std::int64_t m_Since GUARDED_BY(m_Mutex) = 0;
  std::deque<Due> m_Events GUARDED_BY(m_Mutex);
  std::thread::id m_Thread GUARDED_BY(m_Mutex);
  std::optional<Key> m_Running GUARDED_BY(m_Mutex);  // whose callback is being called
};

// The service, started. One that does not come up stays until the process ends, too, because its
// thread may. Throws std::exception, and makes another one at the next call, when it does not.
template <typename Service>
Service& GetStarted(OutlivesExit<Service>& service, const char* threadName) {
  return service.Get([&] {
    g_Host.changeFeed.Get();  // without a store it fails, before there is something that stays
    auto* made = new Service();
    made->Start(threadName);
    return made;
  });
}

}  // namespace host
