#include "set/speakers.h"

#include <algorithm>
#include <iterator>

namespace host {
namespace {

constexpr std::string_view kNames[] = {"tvspeaker", "receiver", "optical", "bluetooth", "network"};

}  // namespace

std::span<const std::string_view> SpeakerNames() { return kNames; }

int SpeakerRoute(std::string_view name) {
  if (name.empty()) {
    return 0;
  }
  const auto* found = std::find(std::begin(kNames), std::end(kNames), name);
  return found != std::end(kNames) ? static_cast<int>(found - kNames) : -1;
}

}  // namespace host
