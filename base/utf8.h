#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace base {

// The number of bytes of the character that `text` begins with, which is not empty; 0 when it
// begins with none: a stray or missing byte, an overlong form, half a surrogate pair, a number
// beyond the last character.
std::size_t Utf8CharacterSize(std::string_view text);

// The same, but 0 also for a control character: some terminals obey those of two bytes, too.
std::size_t PrintableCharacterSize(std::string_view text);

// Whether `text` can be shown and sent: UTF-8 without control characters.
bool IsPlainText(std::string_view text);

// The code point of a character: of as many bytes as Utf8CharacterSize says.
char32_t CodePointOf(std::string_view character);

// Whether the code point never is a character, such as U+FFFF: the bus library sends none of them.
bool IsNoncharacter(char32_t codePoint);

// Whether a text with this code point in it looks like another text: it turns the order of what
// stands around it, breaks the line in some programs, or shows nothing. Not so what ordinary texts
// need: the joiners and the marks of direction U+200C to U+200F and U+061C, in Arabic script, whose
// effect ends at the next letter; spaces that are as wide as they look; and the selectors of
// variants, which choose among the shapes of the character before them, of an emoji, a Chinese or a
// Mongolian one: U+180B to U+180D and U+180F, U+FE00 to U+FE0F, U+E0100 to U+E01EF.
bool IsHidden(char32_t codePoint);

// Appends \uXXXX, two of them for what is beyond U+FFFF, as in JSON.
void AppendUnicodeEscape(std::string& out, char32_t codePoint);

// Appends `text` so that it can be neither taken for another line or another text nor steer a
// terminal: line ends and tabs as \n, \r and \t, other control characters and bytes that are not
// UTF-8 as \xNN, hidden code points as \uXXXX. Everything else stays, the backslash included.
void AppendVisible(std::string& out, std::string_view text);

// How many bytes of `text` fit into `maxSize` bytes without cutting a character.
std::size_t CutSize(std::string_view text, std::size_t maxSize);

// Writes `text`, which is UTF-8, zero-terminated to `buffer`, cut at a character boundary to fit
// into `size` bytes. `size` is at least 1.
void CopyCut(std::string_view text, char* buffer, std::size_t size);

// `text` with U+FFFD in the place of every byte that belongs to no character or to a noncharacter.
std::string ValidUtf8(std::string text);

// `text` as valid UTF-8 on one line: a space in the place of every control character. Cut at a
// character boundary to at most `maxSize` bytes.
std::string OneLine(std::string_view text, std::size_t maxSize);

}  // namespace base
