#include "source_api.h"

#include <optional>

#include "keystore/damage_log.h"
#include "set/event_service.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set/state.h"

namespace host {
namespace {

constexpr int kListChanged = 0;

}  // namespace

// A callback's user data tells it apart.
class SourceEvents final : public EventService<int, void*> {
 private:
  // Without a key there are no sources, which is a list like any other.
  std::optional<int> EventOf(const KeyChange& change) override {
    if (change.key == kSourceEventKey) {
      return Usable(change.key, change.value, ReadNumber);
    }
    const bool isList = change.key == kSourcesKey &&
                        (!change.value || Usable(change.key, change.value, ReadSources));
    return isList ? std::optional(kListChanged) : std::nullopt;
  }

  bool Concerns(const int&, void* const&) const override { return true; }
};

namespace {

SourceEvents& Events() { return GetStarted(g_Host.sourceEvents, "set-sources"); }

class SourceLibrary final : public CSourceAPI {
 public:
  int GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>>& list) override {
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      const std::optional<KeyValue> value = ProcessStore().Get(kSourcesKey);
      const auto sources = Usable(kSourcesKey, value, ReadSources);
      if (value && !sources) {
        return kFailure;
      }
      auto read = std::make_shared<std::multimap<int, CSourceItem>>();
      for (const SetSource& source : sources.value_or(std::vector<SetSource>())) {
        if (!source.isEmpty) {
          read->emplace(source.sourceId, source);
        }
      }
      list = std::move(read);
      return 0;
    });
  }

  int RegisterSourceAPICallback(SourceAPICallback callback, void* userData) override {
    if (callback == nullptr) {
      return kFailure;
    }
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      Events().Set(userData, [callback, userData](const int& event) { callback(event, userData); });
      return 0;
    });
  }

  int UnregisterSourceAPICallback(void* userData) override {
    return GuardedFromDamage("set", __func__, kFailure,
                             [&] { return Events().Remove(userData) ? 0 : kFailure; });
  }
};

}  // namespace
}  // namespace host

CSourceAPI* CSourceAPI::Get() {
  return &host::g_Host.sourceLibrary.Get([] { return new host::SourceLibrary(); });
}
