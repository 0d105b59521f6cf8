#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace base {

// Reads `text` if all of it is a whole number in decimal digits, with an optional minus sign.
// invalid_argument when it is anything else, result_out_of_range when it does not fit; `number` may
// then hold anything. Any thread.
template <typename Integer>
std::errc ReadWhole(std::string_view text, Integer& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return stop == end ? error : std::errc::invalid_argument;
}

// The same number; nothing when the text is not one or it does not fit. Any thread.
template <typename Integer>
std::optional<Integer> ParseWhole(std::string_view text) {
  Integer number = 0;
  return ReadWhole(text, number) == std::errc() ? std::optional(number) : std::nullopt;
}

// Reads a number in plain decimal notation, -?digits[.digits], in any locale. Nothing for any other
// text, including exponents and a leading plus sign. Any thread.
std::optional<double> ParseDecimal(std::string_view text);

// A finite number in that notation, with the decimals that it needs, nine at most. Any thread.
std::string DecimalText(double number);

}  // namespace base
