#include "set/speakers.h"

#include <algorithm>
#include <iterator>

namespace host {

int SpeakerRoute(std::string_view name) {
  if (name.empty()) {
    return 0;
  }
  const auto* found = std::find(std::begin(kSpeakerNames), std::end(kSpeakerNames), name);
  return found != std::end(kSpeakerNames) ? static_cast<int>(found - kSpeakerNames) : -1;
}

}  // namespace host
