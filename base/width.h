#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base {

// The number of terminal columns that the text takes: two for a Korean letter, none for a combining
// mark. Any thread.
std::size_t DisplayWidth(std::string_view text);

// As much of the text as fits into that many columns, with … at its end when that is not all.
// Any thread.
std::string FitWidth(std::string_view text, std::size_t columns);

}  // namespace base
