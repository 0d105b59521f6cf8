#include "text.h"

#include <fmt/format.h>
#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <cwchar>
#include <memory>

namespace tools {
namespace {

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed UTF-8 character that `text` begins with; 0 when it begins with
// none.
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) -> unsigned char { return i < text.size() ? text[i] : 0; };
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  // The second byte tells overlong forms, surrogates and what is beyond Unicode.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  std::size_t length = 0;
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    low = first == 0xE0 ? 0xA0 : low;
    high = first == 0xED ? 0x9F : high;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    low = first == 0xF0 ? 0x90 : low;
    high = first == 0xF4 ? 0x8F : high;
  } else {
    return 0;
  }
  if (byte(1) < low || byte(1) > high) {
    return 0;
  }
  for (std::size_t i = 2; i < length; ++i) {
    if (!IsContinuation(byte(i))) {
      return 0;
    }
  }
  return length;
}

std::string EscapeByte(unsigned char byte) {
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return fmt::format("\\x{:02x}", byte);
  }
}

// A control character: C0, DEL, or C1, which terminals obey too.
bool IsControl(std::string_view character) {
  const unsigned char first = character[0];
  return first < 0x20 || first == 0x7F ||
         (first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0);
}

}  // namespace

std::string Escape(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const std::string_view character = text.substr(0, length == 0 ? 1 : length);
    if (length == 0 || IsControl(character)) {
      for (const char byte : character) {
        escaped += EscapeByte(byte);
      }
    } else {
      escaped += character;
    }
    text.remove_prefix(character.size());
  }
  return escaped;
}

std::string Quote(std::string_view text) { return '"' + Escape(text) + '"'; }

std::string WriteJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

std::string JsonText(const Json::Value& value) {
  const std::string written = WriteJson(value);
  std::string json;
  for (std::string_view rest = written; !rest.empty();) {
    const std::size_t length = CharacterLength(rest);
    json += length == 0 ? "\uFFFD" : rest.substr(0, length);
    rest.remove_prefix(length == 0 ? 1 : length);
  }
  return json;
}

std::string JsonLine(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  std::string line;
  for (const auto& [name, value] : members) {
    line += line.empty() ? "{" : ",";
    line += JsonText(name) + ":" + JsonText(value);
  }
  return line + "}";
}

std::optional<Json::Value> ParseJson(std::string_view text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  try {
    if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) {
      return value;
    }
  } catch (const Json::Exception&) {
    // Nested too deep.
  }
  return std::nullopt;
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

std::size_t DisplayWidth(std::string_view text) {
  // The widths of all letters are known in this locale, which every system has.
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = uselocale(utf8);
  std::size_t columns = 0;
  std::mbstate_t state{};
  while (!text.empty()) {
    wchar_t letter = 0;
    const std::size_t length = std::mbrtowc(&letter, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {  // no letter: it is shown as one column of something
      ++columns;
      state = {};
      text.remove_prefix(1);
      continue;
    }
    columns += std::max(wcwidth(letter), 0);
    text.remove_prefix(length);
  }
  uselocale(before);
  return columns;
}

}  // namespace tools
