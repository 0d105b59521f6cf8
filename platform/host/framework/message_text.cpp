// The JSON library does the reading, but its strictest mode still lets through what is not JSON:
// leading zeros, a lone minus sign, a plus sign, a point without digits, comments behind a value,
// control characters and broken UTF-8 in strings, halves of surrogate pairs, a comma at the end
// of an object whose last member has an empty name, and everything behind a zero byte. It nests
// recursively, and it rounds integers that it cannot hold. So a scan over the characters comes
// first and refuses all that, and what is too large or too deep with it, before anything is
// built. Whatever is a matter of grammar only is left to the library.

#include "framework/message_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

#include "framework/utf8.h"

namespace host {
namespace {

constexpr std::size_t kMaxErrorSize = 1024;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

int HexDigit(char c) {
  if (IsDigit(c)) {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Every function that reads returns null, or what is wrong with the character at At().
class Scan {
 public:
  explicit Scan(std::string_view text) : m_Text(text) {}

  const char* Run() {
    if (m_Text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      return "a byte order mark is not allowed";
    }
    while (!AtEnd()) {
      if (const char* fault = Token()) {
        return fault;
      }
    }
    return nullptr;
  }

  std::size_t At() const { return m_At; }

 private:
  bool AtEnd() const { return m_At == m_Text.size(); }

  // A zero at the end of the text; a zero in the text is refused wherever it stands.
  char Peek() const { return AtEnd() ? '\0' : m_Text[m_At]; }

  const char* Token() {
    const char c = Peek();
    if (IsSpace(c)) {
      ++m_At;
      return nullptr;
    }
    const bool afterComma = m_AfterComma;
    m_AfterComma = c == ',';
    if (c == '"') {
      return String();
    }
    if (c == '-' || IsDigit(c)) {
      return Number();
    }
    if (c == '{' || c == '[') {
      if (++m_Depth > kMaxBodyDepth) {
        return "nested more than 32 levels deep";
      }
    } else if (c == '}' || c == ']') {
      if (afterComma) {
        return "nothing follows the comma";
      }
      --m_Depth;
    } else if (c != ',' && c != ':' && !(c >= 'a' && c <= 'z')) {
      return "unexpected character";
    }
    ++m_At;
    return nullptr;
  }

  const char* String() {
    ++m_At;
    while (!AtEnd()) {
      const auto byte = static_cast<unsigned char>(m_Text[m_At]);
      if (byte == '"') {
        ++m_At;
        return nullptr;
      }
      if (byte < 0x20) {
        return "control character in a string";
      }
      if (byte == '\\') {
        if (const char* fault = Escape()) {
          return fault;
        }
      } else if (const std::size_t size = Utf8CharacterSize(m_Text.substr(m_At))) {
        m_At += size;
      } else {
        return "not UTF-8";
      }
    }
    return "the string does not end";
  }

  const char* Escape() {
    const std::string_view sequence = m_Text.substr(m_At, 2);
    if (sequence == "\\u") {
      return UnicodeEscape();
    }
    if (sequence.size() < 2 || kEscapes.find(sequence[1]) == std::string_view::npos) {
      return "unknown escape sequence";
    }
    m_At += sequence.size();
    return nullptr;
  }

  const char* UnicodeEscape() {
    const int unit = Unit();
    if (unit < 0) {
      return "four hexadecimal digits must follow \\u";
    }
    if (IsLowSurrogate(unit)) {
      return "second half of a surrogate pair without the first";
    }
    m_At += kUnitSize;
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (!IsLowSurrogate(Unit())) {
        return "the second half of a surrogate pair must stand here";
      }
      m_At += kUnitSize;
    }
    return nullptr;
  }

  static bool IsLowSurrogate(int unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

  // The code unit that an escape sequence \uXXXX stands for; -1 when there is none here.
  int Unit() const {
    const std::string_view sequence = m_Text.substr(m_At, kUnitSize);
    if (sequence.size() < kUnitSize || sequence.substr(0, 2) != "\\u") {
      return -1;
    }
    int unit = 0;
    for (const char c : sequence.substr(2)) {
      const int digit = HexDigit(c);
      if (digit < 0) {
        return -1;
      }
      unit = unit * 16 + digit;
    }
    return unit;
  }

  const char* Number() {
    const std::size_t begin = m_At;
    const bool negative = Skip('-');
    if (!Skip('0') && !Digits()) {
      return "a digit must follow the minus sign";
    }
    if (IsDigit(Peek())) {
      return "leading zeros are not allowed";
    }
    bool integer = true;
    if (Skip('.')) {
      integer = false;
      if (!Digits()) {
        return "a digit must follow the point";
      }
    }
    if (Skip('e') || Skip('E')) {
      integer = false;
      if (!Skip('+')) {
        Skip('-');
      }
      if (!Digits()) {
        return "the exponent has no digits";
      }
    }
    if (integer && !Fits(m_Text.substr(begin, m_At - begin), negative)) {
      m_At = begin;
      return "integer out of range";
    }
    return nullptr;
  }

  template <typename Integer>
  static bool Fits(std::string_view digits) {
    Integer ignored;
    return std::from_chars(digits.data(), digits.data() + digits.size(), ignored).ec == std::errc();
  }
  static bool Fits(std::string_view digits, bool negative) {
    return negative ? Fits<std::int64_t>(digits) : Fits<std::uint64_t>(digits);
  }

  bool Skip(char c) {
    if (Peek() != c) {
      return false;
    }
    ++m_At;
    return true;
  }

  // False when there is not even one.
  bool Digits() {
    const std::size_t begin = m_At;
    while (IsDigit(Peek())) {
      ++m_At;
    }
    return m_At > begin;
  }

  static constexpr std::string_view kEscapes = "\"\\/bfnrt";
  static constexpr std::size_t kUnitSize = 6;

  const std::string_view m_Text;
  std::size_t m_At = 0;
  int m_Depth = 0;
  bool m_AfterComma = false;
};

std::string Place(std::string_view text, std::size_t at) {
  std::size_t line = 1;
  std::size_t lineBegin = 0;
  for (std::size_t index = 0; index < at; ++index) {
    if (text[index] == '\n') {
      ++line;
      lineBegin = index + 1;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(at - lineBegin + 1) + ": ";
}

// The library reports "* Line 1, Column 2\n  What is wrong\n", and then perhaps a place that has to
// do with it or another fault.
std::string FirstFault(const std::string& report) {
  const std::size_t place = report.find("Line");
  const std::size_t placeEnd = report.find('\n', place);
  const std::size_t fault = report.find_first_not_of(" \n", placeEnd);
  if (place == std::string::npos || fault == std::string::npos) {
    return OneLine(report, kMaxErrorSize);
  }
  const std::size_t faultEnd = std::min(
      {report.find("\nSee Line", fault), report.find("\n* Line", fault), report.rfind('\n')});
  std::string text =
      report.substr(place, placeEnd - place) + ": " + report.substr(fault, faultEnd - fault);
  text[0] = 'l';
  text[text.find('C')] = 'c';
  return OneLine(text, kMaxErrorSize);
}

std::unique_ptr<Json::CharReader> MakeReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["collectComments"] = false;
  builder["skipBom"] = false;
  // One level more than the scan admits: the limit throws.
  builder["stackLimit"] = kMaxBodyDepth + 1;
  return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

bool Parse(std::string_view text, Json::Value& body, std::string& error) {
  static thread_local const std::unique_ptr<Json::CharReader> reader = MakeReader();
  Json::Value parsed;
  std::string report;
  if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &report)) {
    error = FirstFault(report);
    return false;
  }
  if (!parsed.isObject()) {
    error = "the body is not a JSON object";
    return false;
  }
  body.swap(parsed);
  return true;
}

// JSON without a superfluous character. The library's own writer does the same in thrice the time,
// twice for each request: once for its reply and once for the log.
class Writer {
 public:
  std::string Write(const Json::Value& body) {
    m_Text.reserve(kOrdinarySize);
    Value(body);
    return std::move(m_Text);
  }

 private:
  void Value(const Json::Value& value) {
    switch (value.type()) {
      case Json::nullValue:
        m_Text += "null";
        break;
      case Json::intValue:
        m_Text += std::to_string(value.asLargestInt());
        break;
      case Json::uintValue:
        m_Text += std::to_string(value.asLargestUInt());
        break;
      case Json::realValue:
        Real(value.asDouble());
        break;
      case Json::stringValue:
        StringValue(value);
        break;
      case Json::booleanValue:
        m_Text += value.asBool() ? "true" : "false";
        break;
      case Json::arrayValue:
        Array(value);
        break;
      case Json::objectValue:
        Object(value);
        break;
    }
  }

  // JSON has no word for what is not finite.
  void Real(double real) {
    m_Text += std::isfinite(real) ? Json::valueToString(real, kDigits) : "null";
  }

  void StringValue(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    value.getString(&begin, &end);
    String({begin, static_cast<std::size_t>(end - begin)});
  }

  void Array(const Json::Value& array) {
    char separator = '[';
    for (const Json::Value& value : array) {
      m_Text += std::exchange(separator, ',');
      Value(value);
    }
    m_Text += separator == '[' ? "[]" : "]";
  }

  void Object(const Json::Value& object) {
    char separator = '{';
    for (auto member = object.begin(); member != object.end(); ++member) {
      m_Text += std::exchange(separator, ',');
      const char* end = nullptr;
      const char* const begin = member.memberName(&end);
      String({begin, static_cast<std::size_t>(end - begin)});
      m_Text += ':';
      Value(*member);
    }
    m_Text += separator == '{' ? "{}" : "}";
  }

  void String(std::string_view text) {
    m_Text += '"';
    std::size_t written = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
      const auto byte = static_cast<unsigned char>(text[at]);
      if (byte < 0x20 || byte == '"' || byte == '\\') {
        m_Text.append(text, written, at - written);
        Escape(byte);
        written = at + 1;
      }
    }
    m_Text.append(text, written);
    m_Text += '"';
  }

  void Escape(unsigned char byte) {
    m_Text += '\\';
    switch (byte) {
      case '\b':
        m_Text += 'b';
        break;
      case '\f':
        m_Text += 'f';
        break;
      case '\n':
        m_Text += 'n';
        break;
      case '\r':
        m_Text += 'r';
        break;
      case '\t':
        m_Text += 't';
        break;
      case '"':
      case '\\':
        m_Text += static_cast<char>(byte);
        break;
      default:
        m_Text += "u00";
        m_Text += static_cast<char>('0' + byte / 16);
        m_Text += "0123456789abcdef"[byte % 16];
    }
  }

  static constexpr int kDigits = 15;
  static constexpr std::size_t kOrdinarySize = 256;

  std::string m_Text;
};

}  // namespace

bool ParseBody(std::string_view text, Json::Value& body, std::string& error) {
  if (text.size() > kMaxBodySize) {
    error = "the body is larger than 256 KiB";
    return false;
  }
  Scan scan(text);
  if (const char* fault = scan.Run()) {
    error = Place(text, scan.At()) + fault;
    return false;
  }
  try {
    return Parse(text, body, error);
  } catch (const Json::Exception& exception) {
    error = OneLine(exception.what(), kMaxErrorSize);
    return false;
  }
}

std::string WriteBody(const Json::Value& body) { return ValidUtf8(Writer().Write(body)); }

}  // namespace host
