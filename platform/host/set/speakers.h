#pragma once

#include <span>
#include <string_view>

namespace host {

// The outputs that the set's sound can go to. Their place here is the number of the route.
std::span<const std::string_view> SpeakerNames();

// The route of a named output; that of the television's own speaker when the name is empty, and
// -1 when there is no such output.
int SpeakerRoute(std::string_view name);

}  // namespace host
