#pragma once

#include <string>
#include <string_view>
#include <vector>

// What a tool says about a name that does not exist.
namespace tools {

// The names that a mistyped `word` can stand for, at most three, the nearest first and among equals
// in the given order: those that a few mistakes make of it, whatever their case, then those that
// begin with it, then those that contain it.
std::vector<std::string> Nearest(std::string_view word, const std::vector<std::string>& names);

// `no item "brigthness"; nearest: brightness`, or, when none comes near, `no item "x"; ADVICE`.
// Escaped, but for `noun` and `advice`.
std::string NoSuch(std::string_view noun, std::string_view word,
                   const std::vector<std::string>& names, std::string_view advice);

}  // namespace tools
