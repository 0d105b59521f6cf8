#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace base {

// The whole number that `text` is, all of it, in decimal digits with perhaps a minus sign in front.
// Nothing when it is something else, or does not fit. Any thread.
template <typename Integer>
std::optional<Integer> ParseWhole(std::string_view text) {
  Integer number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace base
