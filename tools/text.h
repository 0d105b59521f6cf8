#pragma once

#include <json/json.h>

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Text for people and for programs, independent of the user's language.
namespace tools {

// Escapes everything that could move a terminal's cursor, change its state, or disguise the text,
// as the log does (base::AppendVisible).
std::string Escape(std::string_view text);

// `"text"`, escaped: for messages.
std::string Quote(std::string_view text);

// The same for the text of a JSON value, which keeps its meaning: in its strings, the only place
// for such characters, they become \uXXXX, and bytes that are not UTF-8 become U+FFFD.
std::string EscapeJson(std::string_view json);

// `one, two`, escaped.
std::string Joined(const std::vector<std::string>& texts);

// JSON on one line, escaped as by EscapeJson, always valid.
std::string JsonText(const Json::Value& value);

// A JSON object on one line with its members in the given order.
std::string JsonLine(std::initializer_list<std::pair<const char*, Json::Value>> members);

// Local time, ISO 8601 with milliseconds and the offset: 2026-11-20T22:23:13.123+01:00.
std::string TimeText(std::chrono::system_clock::time_point time);

}  // namespace tools
