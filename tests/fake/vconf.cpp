#include "vconf.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "call.h"

struct _keynode_t {
  std::string key;
};

using namespace fakes;

namespace {

constexpr std::size_t kLongestKey = 255;

bool IsValidKey(std::string_view key) {
  const bool known = key.starts_with("db/") || key.starts_with("memory/");
  const bool emptySegment = key.ends_with('/') || key.find("//") != std::string_view::npos;
  const bool controls =
      std::any_of(key.begin(), key.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
  return known && !emptySegment && !controls && key.size() <= kLongestKey;
}

bool IsValidKey(const char* key) { return key != nullptr && IsValidKey(std::string_view(key)); }

// The watch of `key` by `callback`, or the end of `watches`.
std::vector<KeyWatch>::iterator Find(std::vector<KeyWatch>& watches, vconf_callback_fn callback) {
  return std::find_if(watches.begin(), watches.end(),
                      [&](const KeyWatch& watch) { return watch.callback == callback; });
}

// Calls everybody who watched `key` when change number `change` happened and still does.
void Deliver(const std::string& key, std::uint64_t change) {
  std::unique_lock lock(Shared().mutex);
  const std::vector<KeyWatch> watchers = Shared().state.keyWatches[key];
  for (const KeyWatch& watcher : watchers) {
    auto& watches = Shared().state.keyWatches[key];
    const auto watch = Find(watches, watcher.callback);
    if (watch == watches.end() || watch->since >= change) {
      continue;
    }
    const KeyWatch called = *watch;
    lock.unlock();
    keynode_t node{key};
    called.callback(&node, called.userData);
    lock.lock();
  }
}

// The caller holds the lock.
void Store(const std::string& key, KeyValue value) {
  State& state = Shared().state;
  state.keys[key] = std::move(value);
  const std::uint64_t change = ++state.keyChanges;
  if (!state.keyWatches[key].empty()) {
    PostToMainLoop([key, change] { Deliver(key, change); });
  }
}

// What the key holds; null, and errno says why, when it is missing or holds another type. The
// caller holds the lock.
template <typename Value>
const Value* Held(const char* key) {
  const auto& keys = Shared().state.keys;
  const auto held = key != nullptr ? keys.find(key) : keys.end();
  const Value* value = held == keys.end() ? nullptr : std::get_if<Value>(&held->second);
  if (value == nullptr) {
    errno = held == keys.end() ? ENOENT : EINVAL;
  }
  return value;
}

// The end of a call that the store itself fails at, and of one that it refuses.
int Fails(Call& call, int code) {
  call.Returns(code);
  errno = EIO;
  return code;
}

int Refuses(Call& call) {
  call.Returns(-1);
  errno = EINVAL;
  return -1;
}

Pointer CallbackPointer(vconf_callback_fn callback) {
  return {reinterpret_cast<const void*>(callback), "callback"};
}

}  // namespace

extern "C" {

int vconf_get_int(const char* key, int* value) {
  Call call("vconf_get_int", key);
  if (auto code = call.Failure(-1)) {
    return Fails(call, *code);
  }
  const int* held = Held<int>(key);
  if (held == nullptr) {
    return call.Returns(-1);
  }
  if (value == nullptr) {
    return Refuses(call);
  }
  *value = *held;
  return call.Returns(0, *value);
}

int vconf_set_int(const char* key, int value) {
  Call call("vconf_set_int", key, value);
  if (auto code = call.Failure(-1)) {
    return Fails(call, *code);
  }
  if (!IsValidKey(key)) {
    return Refuses(call);
  }
  Store(key, value);
  return call.Returns(0);
}

char* vconf_get_str(const char* key) {
  Call call("vconf_get_str", key);
  const bool fails = call.Failure(-1).has_value();
  const std::string* held = Held<std::string>(key);
  if (fails || held == nullptr) {
    const int error = fails ? EIO : errno;
    call.Returns(Verbatim{"null"});
    errno = error;
    return nullptr;
  }
  call.Returns(*held);
  return strdup(held->c_str());
}

int vconf_set_str(const char* key, const char* value) {
  Call call("vconf_set_str", key, value);
  if (auto code = call.Failure(-1)) {
    return Fails(call, *code);
  }
  if (!IsValidKey(key) || value == nullptr) {
    return Refuses(call);
  }
  Store(key, std::string(value));
  return call.Returns(0);
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data) {
  Call call("vconf_notify_key_changed", key, CallbackPointer(callback), Pointer{user_data});
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsValidKey(key) || callback == nullptr) {
    return call.Returns(-1);
  }
  auto& watches = call->keyWatches[key];
  if (auto watch = Find(watches, callback); watch != watches.end()) {
    watch->userData = user_data;
  } else {
    watches.push_back({callback, user_data, call->keyChanges});
  }
  return call.Returns(0);
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback) {
  Call call("vconf_ignore_key_changed", key, CallbackPointer(callback));
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsValidKey(key)) {
    return call.Returns(-1);
  }
  auto& watches = call->keyWatches[key];
  const auto watch = Find(watches, callback);
  if (watch == watches.end()) {
    return call.Returns(-1);
  }
  watches.erase(watch);
  return call.Returns(0);
}

}  // extern "C"

namespace fakes {

void Platform::SetKey(const std::string& key, KeyValue value) {
  if (!IsValidKey(key)) {
    throw std::invalid_argument("not a key: " + key);
  }
  std::lock_guard lock(Shared().mutex);
  Store(key, std::move(value));
}

std::optional<KeyValue> Platform::Key(const std::string& key) const {
  std::lock_guard lock(Shared().mutex);
  const auto& keys = Shared().state.keys;
  const auto held = keys.find(key);
  return held == keys.end() ? std::nullopt : std::optional(held->second);
}

}  // namespace fakes
