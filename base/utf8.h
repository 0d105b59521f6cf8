#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base {

// The number of bytes of the character that `text`, which is not empty, begins with; 0 if that is
// not a character: a stray or missing byte, an overlong form, half a surrogate pair, a number
// beyond the last character.
std::size_t Utf8CharacterSize(std::string_view text);

// The same, but 0 also for a control character: some terminals obey even those of two bytes.
std::size_t PrintableCharacterSize(std::string_view text);

// Whether `text` can be shown and sent: UTF-8 without control characters.
bool IsPlainText(std::string_view text);

// The code point of a character of as many bytes as Utf8CharacterSize says.
char32_t CodePointOf(std::string_view character);

// Whether the code point is a noncharacter, such as U+FFFF, which the bus library refuses to send.
bool IsNoncharacter(char32_t codePoint);

// Whether the code point can make a text look like another: it reverses the text around it, breaks
// the line in some programs, or is invisible. Ordinary texts need some exceptions: the joiners and
// direction marks U+200C to U+200F and U+061C, in Arabic script, whose effect ends at the next
// letter; spaces that are as wide as they look; and the variation selectors, which choose the shape
// of the preceding emoji, Chinese or Mongolian character: U+180B to U+180D and U+180F, U+FE00 to
// U+FE0F, U+E0100 to U+E01EF.
bool IsHidden(char32_t codePoint);

// Appends \uXXXX, two of them for code points beyond U+FFFF, as in JSON.
void AppendUnicodeEscape(std::string& out, char32_t codePoint);

// Appends `text` so that it can neither be taken for another line or text nor control a terminal:
// line ends and tabs as \n, \r and \t, other control characters and bytes that are not UTF-8 as
// \xNN, hidden code points as \uXXXX. Everything else, including backslashes, is kept.
void AppendVisible(std::string& out, std::string_view text);

// How many bytes of `text` fit into `maxSize` bytes without cutting a character.
std::size_t CutSize(std::string_view text, std::size_t maxSize);

// Copies `text`, which is UTF-8, to `buffer`, zero-terminated and cut at a character boundary to
// fit `size` bytes, at least 1.
void CopyCut(std::string_view text, char* buffer, std::size_t size);

// `text` with U+FFFD in place of every byte that is not part of a character or belongs to a
// noncharacter.
std::string ValidUtf8(std::string text);

// `text` as valid UTF-8 on one line: a space in place of every control character. Cut at a
// character boundary to at most `maxSize` bytes.
std::string OneLine(std::string_view text, std::size_t maxSize);

}  // namespace base
