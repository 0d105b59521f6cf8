#include "device_power.h"

#include <optional>

#include "keystore/damage_log.h"
#include "set/event_service.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set/state.h"

namespace host {

class PowerEvents final
    : public EventService<_device_power_state_info, device_power_state_changed_cb> {
 private:
  void Read(KeyStore& store) override {
    m_State = Usable(kPowerKey, store.Get(kPowerKey), ReadNumber).value_or(kPowerOn);
  }

  std::optional<_device_power_state_info> EventOf(const KeyChange& change) override {
    const auto state =
        change.key == kPowerKey ? Usable(change.key, change.value, ReadNumber) : std::nullopt;
    if (!state) {
      return std::nullopt;
    }
    return _device_power_state_info{.previous_state = std::exchange(m_State, *state),
                                    .current_state = *state};
  }

  bool Concerns(const _device_power_state_info&,
                const device_power_state_changed_cb&) const override {
    return true;
  }

  int m_State = kPowerOn;
};

namespace {

PowerEvents& Events() { return GetStarted(g_Host.powerEvents, "set-power"); }

}  // namespace
}  // namespace host

extern "C" {

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback,
                                               void* user_data) {
  if (callback == nullptr) {
    return host::kFailure;
  }
  return host::GuardedFromDamage("set", __func__, host::kFailure, [&] {
    host::Events().Set(callback, [callback, user_data](_device_power_state_info info) {
      callback(&info, user_data);
    });
    return 0;
  });
}

int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback) {
  return host::GuardedFromDamage("set", __func__, host::kFailure, [&] {
    return host::Events().Remove(callback) ? 0 : host::kFailure;
  });
}

}  // extern "C"
