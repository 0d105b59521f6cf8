#pragma once

#include <string>

namespace host {

// The type of the active speaker as CMenuAudioUtil::FreshSpeakerType last found it; empty when
// no speaker was chosen on the set. Main-loop thread only.
const std::string& ActiveSpeakerType();

}  // namespace host
