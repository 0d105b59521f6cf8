#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

// The number of bytes of the character that `text` begins with, which is not empty; 0 when it
// begins with none: a stray or missing byte, an overlong form, half a surrogate pair, a number
// beyond the last character.
std::size_t Utf8CharacterSize(std::string_view text);

// The same, but 0 also for a control character: some terminals obey those of two bytes, too.
std::size_t PrintableCharacterSize(std::string_view text);

// How many bytes of `text` fit into `maxSize` bytes without cutting a character.
std::size_t CutSize(std::string_view text, std::size_t maxSize);

// `text` with U+FFFD in the place of every byte that belongs to no character, or to one of the
// code points that never are characters, such as U+FFFF: the bus library sends none of them.
std::string ValidUtf8(std::string text);

// `text` as valid UTF-8 on one line: a space in the place of every control character. Cut at a
// character boundary to at most `maxSize` bytes.
std::string OneLine(std::string_view text, std::size_t maxSize);

}  // namespace host
