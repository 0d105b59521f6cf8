#pragma once

#include <string_view>

namespace host {

// The sound outputs of the set. The position is the number of the route; the first is the
// television's own.
inline constexpr std::string_view kSpeakerNames[] = {"tvspeaker", "receiver", "optical",
                                                     "bluetooth", "network"};

// The route of a named output; that of the television's own speaker when the name is empty, and
// -1 when there is no such output.
int SpeakerRoute(std::string_view name);

}  // namespace host
