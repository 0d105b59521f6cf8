#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

// The largest body text in bytes, and how deep objects and arrays may be nested in each other.
inline constexpr std::size_t kMaxBodySize = 256 * 1024;
inline constexpr int kMaxBodyDepth = 32;

// Reads the text of a body into `body`: strict JSON in UTF-8, within the limits above, an object.
// No member may come twice in an object, and integers beyond 64 bits are refused like all numbers
// out of range. False when the text is anything else; `error` then says in one line what is wrong
// and where, and `body` is untouched. Takes any bytes and never throws for what they are. Any
// thread.
bool ParseBody(std::string_view text, Json::Value& body, std::string& error);

// The text of a body: compact, on one line, without a line end, members in the order of their
// names. Always valid UTF-8 without a zero byte: U+FFFD stands for what is no UTF-8 in `body`.
// Reals have up to 15 significant digits and always a point or an exponent; one that is not
// finite is null. Any thread.
std::string WriteBody(const Json::Value& body);

}  // namespace host
