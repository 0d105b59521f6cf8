#include "items/active_speaker.h"

#include "items/key_text.h"
#include "menu_audio_util.h"
#include "vconf.h"

namespace host {
namespace {

constexpr char kSpeakerKey[] = "memory/set/speaker";

std::string& SpeakerType() {
  static std::string type;
  return type;
}

bool HoldsNumber(const char* key) {
  int number = 0;
  return vconf_get_int(key, &number) == 0;
}

}  // namespace

const std::string& ActiveSpeakerType() { return SpeakerType(); }

}  // namespace host

// A missing key means that no speaker was chosen; a number is a type that cannot be read.
void CMenuAudioUtil::FreshSpeakerType() {
  const auto type = host::ReadKeyText(host::kSpeakerKey);
  if (type || !host::HoldsNumber(host::kSpeakerKey)) {
    host::SpeakerType() = type.value_or("");
  }
}
