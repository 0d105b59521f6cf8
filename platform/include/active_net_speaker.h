#pragma once

#include <string>
#include <vector>

// Sizes of the two text outputs of GetActiveNetSpkInfo, closing zero included.
inline constexpr int NET_SPEAKER_DISPLAY_NAME_SIZE = 128;
inline constexpr int NET_SPEAKER_TYPE_SIZE = 23;

// The network speakers that play the television's sound now. `displayName` and `speakerType`
// are the caller's buffers of the sizes above; they receive zero-terminated texts, cut to fit.
// `speakers` receives the identifiers of all active speakers. Returns their number; 0 when there
// are none and a negative number when it is unknown, with all outputs untouched in both cases.
// Main-loop thread only.
int GetActiveNetSpkInfo(char* displayName, char* speakerType, std::vector<std::string>& speakers);
