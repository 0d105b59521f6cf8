#pragma once

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace base {

// Why a text is not JSON: the byte that it stops being so at, and what is wrong there.
struct JsonFault {
  std::size_t at;
  std::string problem;
};

// Both from 1; columns are bytes.
struct JsonPlace {
  std::size_t line;
  std::size_t column;
};
JsonPlace PlaceOf(std::string_view text, std::size_t at);

// How deep the JSON library's own reader lets objects and arrays be nested.
inline constexpr int kMaxJsonDepth = 1000;

// The number that `digits`, a number of JSON, stands for; 0 when it is too small, and nothing when
// it is too large.
std::optional<double> RealOf(std::string_view digits);

// Reads strict JSON in UTF-8, an object or an array nested `maxDepth` deep at most, into `root`,
// where every value gets its offsets. No member may come twice in an object, integers beyond 64
// bits are refused like all numbers out of range, and so are a zero and noncharacters in a string,
// escaped or not. After a fault `root` holds anything. Takes any bytes and never throws for what
// they are. Any thread.
std::optional<JsonFault> ReadJson(std::string_view text, int maxDepth, Json::Value& root);

// The same for a text of some key or file. Throws a std::exception that says what is wrong, and
// where.
Json::Value ParseJson(std::string_view text);

// The value of any kind that the whole text is, by the same rules, nested kMaxJsonDepth deep at
// most; nothing when the text is something else.
std::optional<Json::Value> TryParseJson(std::string_view text);

// JSON on one line that keeps the bytes of all texts as they are.
std::string WriteJson(const Json::Value& value);

// What is wrong with a text that begins with a byte order mark, of which readers of JSON make
// different things; null when it begins with none.
const char* ByteOrderMarkProblem(std::string_view text);

}  // namespace base
