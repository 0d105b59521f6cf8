#include "base/number.h"

#include <algorithm>

namespace base {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t LeadingDigits(std::string_view text) {
  return std::find_if_not(text.begin(), text.end(), IsDigit) - text.begin();
}

bool IsPlainDecimal(std::string_view text) {
  if (text.starts_with('-')) {
    text.remove_prefix(1);
  }
  const std::size_t whole = LeadingDigits(text);
  if (whole == 0 || whole == text.size()) {
    return whole != 0;
  }
  const std::string_view fraction = text.substr(whole + 1);
  return text[whole] == '.' && !fraction.empty() && LeadingDigits(fraction) == fraction.size();
}

}  // namespace

std::optional<double> ParseDecimal(std::string_view text) {
  double number = 0;
  if (!IsPlainDecimal(text)) {
    return std::nullopt;
  }
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

std::string DecimalText(double number) {
  constexpr int kMostDecimals = 9;
  char buffer[512];
  const char* const end =
      std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed, kMostDecimals)
          .ptr;
  std::string text(static_cast<const char*>(buffer), end);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') {
    text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

}  // namespace base
