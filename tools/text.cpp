#include "text.h"

#include <fmt/format.h>

#include <cstddef>
#include <ctime>

#include "base/json.h"
#include "base/utf8.h"

namespace tools {

std::string Escape(std::string_view text) {
  std::string escaped;
  base::AppendVisible(escaped, text);
  return escaped;
}

std::string Quote(std::string_view text) { return '"' + Escape(text) + '"'; }

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + Escape(text);
  }
  return joined;
}

std::string EscapeJson(std::string_view json) {
  std::string escaped;
  while (!json.empty()) {
    const std::size_t size = base::Utf8CharacterSize(json);
    if (size == 0) {
      escaped += "\uFFFD";
      json.remove_prefix(1);
      continue;
    }
    const std::string_view character = json.substr(0, size);
    const char32_t codePoint = base::CodePointOf(character);
    const bool isSpace = character == "\n" || character == "\r" || character == "\t";
    if (!isSpace && (base::PrintableCharacterSize(character) == 0 || base::IsHidden(codePoint))) {
      base::AppendUnicodeEscape(escaped, codePoint);
    } else {
      escaped += character;
    }
    json.remove_prefix(size);
  }
  return escaped;
}

std::string JsonText(const Json::Value& value) { return EscapeJson(base::WriteJson(value)); }

std::string JsonLine(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  std::string line;
  for (const auto& [name, value] : members) {
    line += line.empty() ? "{" : ",";
    line += JsonText(name) + ":" + JsonText(value);
  }
  return line + "}";
}

std::string TimeText(std::chrono::system_clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - seconds);
  const std::time_t clock = std::chrono::system_clock::to_time_t(seconds);
  std::tm local{};
  localtime_r(&clock, &local);
  const long offset = local.tm_gmtoff / 60;
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}{}{:02}:{:02}", local.tm_year + 1900,
                     local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                     milliseconds.count(), offset < 0 ? '-' : '+', std::abs(offset) / 60,
                     std::abs(offset) % 60);
}

}  // namespace tools
