#include "ormu.h"

#include <atomic>
#include <cstring>
#include <optional>
#include <string>

#include "keystore/damage_log.h"
#include "set/event_service.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set/state.h"

namespace host {
namespace {

constexpr int kMainOutput = 0;
constexpr int kMainPicture = 1;

struct Notification {
  const char* name;
  const char* key;
};

constexpr Notification kNotifications[] = {
    {"picture-setting-period", kPictureSettingKey},
    {"game-item-changed", kGameItemKey},
    {"game-mode-changed", kGameModeKey},
};

struct OutputKey {
  int id;
  const Notification* notification;  // not looked at: the number alone tells two apart

  bool operator==(const OutputKey& other) const { return id == other.id; }
};

struct OutputEvent {
  const Notification* notification;
  int value;
};

}  // namespace

class OutputEvents final : public EventService<OutputEvent, OutputKey> {
 public:
  int NextId() { return ++m_LastId; }

 private:
  std::optional<OutputEvent> EventOf(const KeyChange& change) override {
    for (const Notification& each : kNotifications) {
      if (change.key == each.key) {
        const auto value = Usable(change.key, change.value, ReadNumber);
        return value ? std::optional(OutputEvent{&each, *value}) : std::nullopt;
      }
    }
    return std::nullopt;
  }

  bool Concerns(const OutputEvent& event, const OutputKey& key) const override {
    return event.notification == key.notification;
  }

  std::atomic<int> m_LastId = 0;
};

namespace {

OutputEvents& Events() { return GetStarted(g_Host.outputEvents, "set-output"); }

int Get(const char* function, const char* key, int* value) {
  return GuardedFromDamage("set", function, kFailure, [&] {
    const std::optional<int> number = Present(key, ReadNumber);
    if (!number || value == nullptr) {
      return kFailure;
    }
    *value = *number;
    return 0;
  });
}

}  // namespace
}  // namespace host

extern "C" {

int ormu_get_game_mode(int output, int profile, int* value) {
  if (output != host::kMainOutput || profile != host::kMainPicture) {
    return host::kFailure;
  }
  return host::Get(__func__, host::kGameItemKey, value);
}

int ormu_get_real_game_mode(int profile, int* value) {
  return profile == host::kMainPicture ? host::Get(__func__, host::kGameModeKey, value)
                                       : host::kFailure;
}

int ormu_register_callback_id(const char* name, ormu_notification_cb callback, void* user_data) {
  if (name == nullptr || callback == nullptr) {
    return 0;
  }
  return host::GuardedFromDamage("set", __func__, 0, [&] {
    for (const host::Notification& each : host::kNotifications) {
      if (std::strcmp(each.name, name) == 0) {
        host::OutputEvents& events = host::Events();
        const int id = events.NextId();
        events.Set({id, &each}, [callback, user_data](const host::OutputEvent& event) {
          callback(nullptr, event.value, user_data);
        });
        return id;
      }
    }
    return 0;
  });
}

int ormu_unregister_callback_id(int id) {
  return host::GuardedFromDamage("set", __func__, host::kFailure, [&] {
    return host::Events().Remove({id, nullptr}) ? 0 : host::kFailure;
  });
}

}  // extern "C"
