#include "sound_manager.h"

#include <optional>
#include <string>

#include "set/keys.h"
#include "set/set_value.h"
#include "set/speakers.h"
#include "set/state.h"
#include "vconf.h"

namespace host {
namespace {

// Main-loop thread only, and never destroyed.
constinit sound_speaker_changed_cb g_Callback = nullptr;
constinit void* g_UserData = nullptr;

void OnSpeaker(keynode_t*, void*) {
  constexpr int kUnknownRoute = -1;
  const auto name = Guarded(__func__, std::optional<std::string>(), [] {
    const std::optional<KeyValue> value = ProcessStore().Get(kSpeakerKey);
    return value ? Usable(kSpeakerKey, value, ReadText) : std::optional<std::string>("");
  });
  g_Callback(static_cast<sound_tv_output_route_e>(name ? SpeakerRoute(*name) : kUnknownRoute),
             g_UserData);
}

}  // namespace
}  // namespace host

int sound_manager_set_speaker_changed_cb(sound_speaker_changed_cb callback, void* user_data) {
  if (callback == nullptr ||
      (host::g_Callback == nullptr &&
       vconf_notify_key_changed(host::kSpeakerKey, host::OnSpeaker, nullptr) != 0)) {
    return host::kFailure;
  }
  host::g_Callback = callback;
  host::g_UserData = user_data;
  return 0;
}
