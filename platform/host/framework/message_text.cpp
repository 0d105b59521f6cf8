#include "framework/message_text.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "base/json.h"
#include "base/utf8.h"

namespace host {
namespace {

std::string Place(std::string_view text, std::size_t at) {
  const base::JsonPlace place = base::PlaceOf(text, at);
  return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": ";
}

// JSON without a superfluous character. The library's own writer takes three times as long, twice
// for each request: once for its reply and once for the log.
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

  // JSON has no notation for numbers that are not finite.
  void Real(double real) {
    if (!std::isfinite(real)) {
      m_Text += "null";
      return;
    }
    const std::string text = Json::valueToString(real, kDigits);
    // The largest ones would be rounded up beyond the range of a double.
    m_Text += base::RealOf(text) ? text : Json::valueToString(real, kExactDigits);
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
    if (byte == 0) {
      m_Text += "\uFFFD";
      return;
    }
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
  static constexpr int kExactDigits = 17;
  static constexpr std::size_t kOrdinarySize = 256;

  std::string m_Text;
};

}  // namespace

bool ParseBody(std::string_view text, Json::Value& body, std::string& error) {
  if (text.size() > kMaxBodySize) {
    error = "the body is larger than 256 KiB";
    return false;
  }
  const std::size_t begin = std::min(text.find_first_not_of(" \t\n\r"), text.size());
  if (text.substr(begin, 1) != "{") {
    error = Place(text, begin) + "expected a JSON object";
    return false;
  }
  Json::Value read;
  if (const std::optional<base::JsonFault> fault = base::ReadJson(text, kMaxBodyDepth, read)) {
    error = Place(text, fault->at) + fault->problem;
    return false;
  }
  body.swap(read);
  return true;
}

std::string WriteBody(const Json::Value& body) { return base::ValidUtf8(Writer().Write(body)); }

}  // namespace host
