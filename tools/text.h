#pragma once

#include <json/json.h>

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Text for people and for programs. Nothing here depends on the language of the user.
namespace tools {

// The text with everything replaced that could move a terminal's cursor, change its state, or hide
// what the text is, as the log does it (base::AppendVisible).
std::string Escape(std::string_view text);

// `"text"`, escaped: for messages.
std::string Quote(std::string_view text);

// The same for the text of a JSON value, which stays that value: in its strings, where alone it
// can stand, all that is replaced becomes \uXXXX, and bytes that are no UTF-8 become U+FFFD.
std::string EscapeJson(std::string_view json);

// JSON on one line, escaped as by EscapeJson, so that the result is always JSON.
std::string JsonText(const Json::Value& value);

// A JSON object on one line with its members in the given order.
std::string JsonLine(std::initializer_list<std::pair<const char*, Json::Value>> members);

// Local time, ISO 8601 with milliseconds and the offset: 2026-11-20T22:23:13.123+01:00.
std::string TimeText(std::chrono::system_clock::time_point time);

// How many columns of a terminal the text takes: two for a Korean letter, none for a mark above
// another letter.
std::size_t DisplayWidth(std::string_view text);

}  // namespace tools
