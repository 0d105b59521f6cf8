#pragma once

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace base {

// Why a text is not JSON: the byte where it stops being JSON, and what is wrong there.
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

// How deep the JSON library's own reader lets objects and arrays nest.
inline constexpr int kMaxJsonDepth = 1000;

// The value of `digits`, a JSON number; 0 when it is too small, and nothing when it is too large.
std::optional<double> RealOf(std::string_view digits);

// Reads strict JSON in UTF-8, an object or an array nested at most `maxDepth` deep, into `root`,
// where every value gets its offsets. Duplicate members, integers beyond 64 bits and other numbers
// out of range are refused, and so are zeros and noncharacters in a string, escaped or not. After
// an error the content of `root` is unspecified. Accepts any bytes without throwing. Any thread.
std::optional<JsonFault> ReadJson(std::string_view text, int maxDepth, Json::Value& root);

// The same for the text of a key or file. Throws a std::exception that says what is wrong, and
// where.
Json::Value ParseJson(std::string_view text);

// The value, of any kind, of the whole text, by the same rules, nested at most kMaxJsonDepth deep;
// nothing when the text is anything else.
std::optional<Json::Value> TryParseJson(std::string_view text);

// JSON on one line that keeps the bytes of all strings unchanged, and reals as they were written if
// they had at most 15 digits.
std::string WriteJson(const Json::Value& value);

// What is wrong with a text that begins with a byte order mark, which JSON readers treat
// differently; null when it does not.
const char* ByteOrderMarkProblem(std::string_view text);

}  // namespace base
