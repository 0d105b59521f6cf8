#include "vconf.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "framework/before_messages.h"
#include "framework/main_loop.h"
#include "framework/store_failure.h"
#include "keystore/damage_log.h"
#include "keystore/key_listener.h"
#include "keystore/key_store.h"
#include "keystore/process_store.h"
#include "keystore/store_error.h"
#include "system/exception_border.h"
#include "system/host.h"

struct _keynode_t {
  host::KeyChange change;
  bool isValueKnown = true;
};

namespace host {

namespace {

// The errno of vconf.h for a failure.
int ErrorOf(const std::exception& failure) {
  if (const auto* ofStore = dynamic_cast<const StoreError*>(&failure)) {
    return ofStore->Error();
  }
  const auto* ofSystem = dynamic_cast<const std::system_error*>(&failure);
  return ofSystem != nullptr ? ofSystem->code().value() : EIO;
}

// Runs `body` for a C caller: an exception is logged under `function` and becomes `failure`, and
// errno says why.
template <typename Result, typename Body>
Result Called(const char* function, Result failure, Body body) noexcept {
  int error = 0;
  const Result result = GuardedFromDamage("vconf", function, failure, [&]() -> Result {
    try {
      return body();
    } catch (const std::exception& exception) {
      error = ErrorOf(exception);
      NoteStoreFailure(exception.what());
      throw;
    }
  });
  if (error != 0) {
    errno = error;
  }
  return result;
}

// `failure`, for a reason other than the store's.
template <typename Result>
Result Failed(Result failure, int error) {
  errno = error;
  return failure;
}

// What a key holds; otherwise null, and errno says why.
template <typename Type>
const Type* Held(const std::optional<KeyValue>& value) {
  const Type* held = value ? std::get_if<Type>(&*value) : nullptr;
  return held != nullptr ? held : Failed(held, value ? EINVAL : ENOENT);
}

// Callbacks read the key instead of taking the value from the node. For a late callback that would
// be the newest value, several times over, and a key that was 1 for a moment would never have been
// 1. So the callback of a change reads what the change left. If nobody knows what that is, it reads
// the key itself, and fails with the reason.
class ScopedChange {
 public:
  explicit ScopedChange(const _keynode_t& node) : m_Outer(t_Host.change) {
    t_Host.change = node.isValueKnown ? &node.change : nullptr;
  }
  ~ScopedChange() { t_Host.change = m_Outer; }
  ScopedChange(const ScopedChange&) = delete;
  ScopedChange& operator=(const ScopedChange&) = delete;

 private:
  const KeyChange* const m_Outer;
};

bool IsChanging(std::string_view key) {
  return t_Host.change != nullptr && t_Host.change->key == key;
}

std::optional<KeyValue> Read(std::string_view key) {
  return IsChanging(key) ? t_Host.change->value : ProcessStore().Get(key);
}

bool Write(std::string_view key, const KeyValue& value) {
  const bool written = ProcessStore().Set(key, value);
  if (written && IsChanging(key)) {
    t_Host.change = nullptr;
  }
  return written;
}

}  // namespace

// The callbacks and listeners of this process and the one watcher that feeds them. Main-loop thread
// only.
class Subscriptions {
 public:
  Subscriptions()
      : m_Watcher(ProcessStore()),
        m_Watch(m_Watcher.Fd(), [this] { Deliver(); }),
        m_BeforeMessages([this] { DeliverAll(); }) {}

  void Add(const std::string& key, vconf_callback_fn callback, void* userData) {
    // By number and not by time: a write still in progress counts as later, because the subscriber
    // cannot have read it either.
    const std::int64_t since = ProcessStore().NewestChange(key);
    if (Subscription* known = Find(key, callback)) {
      known->userData = userData;
    } else {
      m_Subscriptions[key].push_back({callback, userData, since});
    }
  }

  bool Remove(const std::string& key, vconf_callback_fn callback) {
    const Subscription* known = Find(key, callback);
    if (known == nullptr) {
      return false;
    }
    auto& ofKey = m_Subscriptions[key];
    ofKey.erase(ofKey.begin() + (known - ofKey.data()));
    return true;
  }

  // Whoever wrote it need not have woken this process yet.
  void DeliverWritten() {
    do {
      Deliver();
    } while (m_Watcher.IsBehind());
  }

  void Add(const KeyListener* listener) { m_Listeners.push_back(listener); }
  void Remove(const KeyListener* listener) { std::erase(m_Listeners, listener); }

 private:
  struct Subscription {
    vconf_callback_fn callback;
    void* userData;
    std::int64_t since;  // number of the newest change that it does not get
  };

  Subscription* Find(const std::string& key, vconf_callback_fn callback) {
    const auto ofKey = m_Subscriptions.find(key);
    if (ofKey == m_Subscriptions.end()) {
      return nullptr;
    }
    const auto found = std::find_if(ofKey->second.begin(), ofKey->second.end(),
                                    [&](const auto& each) { return each.callback == callback; });
    return found == ofKey->second.end() ? nullptr : &*found;
  }

  // Everything written by now. What is written meanwhile can wait, or a busy writer would hold up
  // the messages.
  void DeliverAll() {
    pollfd changed{.fd = m_Watcher.Fd(), .events = POLLIN, .revents = 0};
    if (::poll(&changed, 1, 0) > 0) {
      DeliverWritten();
    }
  }

  void Deliver() {
    GuardedFromDamage("vconf", "cannot read the changes", [this] {
      for (KeyChange& change : m_Watcher.TakeChanges()) {
        _keynode_t node{.change = std::move(change)};
        DeliverOne(node);
        Tell([&](const KeyListener& listener) { listener.m_Changed(node.change); });
      }
      m_HasMissed = m_HasMissed || m_Watcher.Missed() > 0;
      if (m_HasMissed && !m_Watcher.IsBehind()) {
        DeliverMissed();
        m_HasMissed = false;
      }
    });
  }

  // The lost changes may have been about any key. So each key of a file that was written since
  // somebody subscribed counts as changed once, to what it holds.
  void DeliverMissed() {
    std::vector<_keynode_t> nodes;
    for (const auto& [key, ofKey] : m_Subscriptions) {
      // A key that cannot be read keeps nobody from hearing of the others.
      constexpr auto kLatest = std::numeric_limits<std::int64_t>::max();
      KeyChange change{.key = key, .value = {}, .number = kLatest};
      const bool isRead = GuardedFromDamage("vconf", "cannot read " + key, [&] {
        change.number = ProcessStore().NewestChange(key);
        change.value = ProcessStore().Get(key);
      });
      nodes.push_back({.change = std::move(change), .isValueKnown = isRead});
    }
    for (_keynode_t& node : nodes) {
      DeliverOne(node);
    }
    Tell([](const KeyListener& listener) { listener.m_Missed(); });
  }

  template <typename News>
  void Tell(News news) {
    // By index: who is told may begin to listen.
    for (std::size_t i = 0; i < m_Listeners.size(); ++i) {
      Guarded("vconf", "a listener to the keys threw", [&] { news(*m_Listeners[i]); });
    }
  }

  void DeliverOne(_keynode_t& node) {
    const auto ofKey = m_Subscriptions.find(node.change.key);
    if (ofKey == m_Subscriptions.end()) {
      return;
    }
    // Callbacks may add and remove subscriptions, so each is looked up when its turn comes.
    const std::vector<Subscription> turns = ofKey->second;
    for (const Subscription& turn : turns) {
      const Subscription* current = Find(node.change.key, turn.callback);
      if (current != nullptr && current->since < node.change.number) {
        Call(*current, node);
      }
    }
  }

  // An exception ends only its own callback: the others, and later changes, are still due.
  static void Call(Subscription subscription, _keynode_t& node) {
    const ScopedChange change(node);
    Guarded("vconf", "a callback of " + node.change.key + " threw",
            [&] { subscription.callback(&node, subscription.userData); });
  }

  std::unordered_map<std::string, std::vector<Subscription>> m_Subscriptions;
  std::vector<const KeyListener*> m_Listeners;
  bool m_HasMissed = false;  // changes, and has told nobody yet
  KeyWatcher m_Watcher;
  FdWatch m_Watch;
  BeforeMessages m_BeforeMessages;
};

namespace {

Subscriptions& ProcessSubscriptions() { return g_Host.subscriptions.Get(); }

// Null becomes a key that no store takes.
std::string_view KeyOf(const char* key) { return key != nullptr ? key : ""; }

}  // namespace

KeyListener::KeyListener(std::function<void(const KeyChange&)> changed,
                         std::function<void()> missed)
    : m_Changed(std::move(changed)), m_Missed(std::move(missed)) {
  ProcessSubscriptions().Add(this);
}

KeyListener::~KeyListener() {
  if (Subscriptions* const subscriptions = g_Host.subscriptions.Find()) {
    subscriptions->Remove(this);
  }
}

void KeyListener::CatchUp() const { ProcessSubscriptions().DeliverWritten(); }

}  // namespace host

extern "C" {

int vconf_get_int(const char* key, int* value) {
  return host::Called(__func__, -1, [&] {
    const auto held = host::Read(host::KeyOf(key));
    const int* number = host::Held<int>(held);
    if (number == nullptr || value == nullptr) {
      return number == nullptr ? -1 : host::Failed(-1, EINVAL);
    }
    *value = *number;
    return 0;
  });
}

int vconf_set_int(const char* key, int value) {
  return host::Called(__func__, -1, [&] {
    return host::Write(host::KeyOf(key), value) ? 0 : host::Failed(-1, EINVAL);
  });
}

char* vconf_get_str(const char* key) {
  return host::Called<char*>(__func__, nullptr, [&]() -> char* {
    const auto held = host::Read(host::KeyOf(key));
    const auto* text = host::Held<std::string>(held);
    return text != nullptr ? ::strdup(text->c_str()) : nullptr;
  });
}

int vconf_set_str(const char* key, const char* value) {
  return host::Called(__func__, -1, [&] {
    const bool isWritten = value != nullptr && host::Write(host::KeyOf(key), std::string(value));
    return isWritten ? 0 : host::Failed(-1, EINVAL);
  });
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data) {
  return host::Called(__func__, -1, [&] {
    const std::string name(host::KeyOf(key));
    if (!host::IsValidKey(name) || callback == nullptr) {
      return -1;
    }
    host::ProcessSubscriptions().Add(name, callback, user_data);
    return 0;
  });
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback) {
  return host::Called(__func__, -1, [&] {
    const std::string name(host::KeyOf(key));
    return host::ProcessSubscriptions().Remove(name, callback) ? 0 : -1;
  });
}

}  // extern "C"
