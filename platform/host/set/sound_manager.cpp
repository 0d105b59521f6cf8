#include "sound_manager.h"

#include <optional>
#include <string>

#include "keystore/damage_log.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set/speakers.h"
#include "set/state.h"
#include "system/host.h"
#include "vconf.h"

namespace host {

struct SpeakerCallback {
  sound_speaker_changed_cb function;
  void* userData;
};

namespace {

void OnSpeaker(keynode_t*, void*) {
  constexpr int kUnknownRoute = -1;
  const auto name = GuardedFromDamage("set", __func__, std::optional<std::string>(), [] {
    const std::optional<KeyValue> value = ProcessStore().Get(kSpeakerKey);
    return value ? Usable(kSpeakerKey, value, ReadText) : std::optional<std::string>("");
  });
  const SpeakerCallback callback = g_Host.speakerCallback.Get();
  callback.function(
      static_cast<sound_tv_output_route_e>(name ? SpeakerRoute(*name) : kUnknownRoute),
      callback.userData);
}

}  // namespace
}  // namespace host

int sound_manager_set_speaker_changed_cb(sound_speaker_changed_cb callback, void* user_data) {
  if (callback == nullptr ||
      vconf_notify_key_changed(host::kSpeakerKey, host::OnSpeaker, nullptr) != 0) {
    return host::kFailure;
  }
  host::g_Host.speakerCallback.Get() = {callback, user_data};
  return 0;
}
