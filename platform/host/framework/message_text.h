#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

// The largest body text in bytes, and how deep objects and arrays may be nested.
inline constexpr std::size_t kMaxBodySize = 256 * 1024;
inline constexpr int kMaxBodyDepth = 32;

// The largest body text of a reply or a signal in bytes. A bus disconnects whoever sends more than
// its limit, 32 MiB by default, and drops what exceeds the 8 MiB that a set's bus queues for a
// receiver: a signal and the reply after it both fit.
inline constexpr std::size_t kMaxSentBodySize = 4 * 1024 * 1024;

// Reads the text of a body into `body`: strict JSON in UTF-8, within the limits above, an object.
// An object must not have a member twice; numbers out of range, such as integers beyond 64 bits,
// are refused, and so are a zero and noncharacters in a string, escaped or not. False when the text
// is anything else; `error` then says in one line what is wrong and where, and `body` is untouched.
// Accepts any bytes without throwing because of them. Any thread.
bool ParseBody(std::string_view text, Json::Value& body, std::string& error);

// The text of a body: compact, on one line, without a line end, members sorted by name. ParseBody
// accepts it unless it is too large or too deep: U+FFFD replaces each byte that must not be in a
// string of `body`. Reals have up to 15 significant digits, the largest ones 17, and always a point
// or an exponent; one that is not finite is null. Any thread.
std::string WriteBody(const Json::Value& body);

}  // namespace host
