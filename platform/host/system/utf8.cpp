#include "system/utf8.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

unsigned char ByteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// U+FDD0 to U+FDEF and the last two of each plane: never characters, though well formed.
bool IsNoncharacter(std::string_view sequence) {
  if (sequence.size() < 3) {
    return false;
  }
  const unsigned char last = ByteAt(sequence, sequence.size() - 1);
  const unsigned char beforeLast = ByteAt(sequence, sequence.size() - 2);
  if (sequence.size() == 3 && sequence[0] == '\xEF' && beforeLast == 0xB7) {
    return last >= 0x90 && last <= 0xAF;
  }
  const bool endOfPlane = sequence.size() == 3
                              ? sequence[0] == '\xEF' && beforeLast == 0xBF
                              : beforeLast == 0xBF && (ByteAt(sequence, 1) & 0x0F) == 0x0F;
  return endOfPlane && last >= 0xBE;
}

// Where the first byte is that belongs to no character.
std::size_t FindInvalid(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t size = Utf8CharacterSize(text.substr(at));
    if (size == 0 || IsNoncharacter(text.substr(at, size))) {
      break;
    }
    at += size;
  }
  return at;
}

}  // namespace

std::size_t Utf8CharacterSize(std::string_view text) {
  const unsigned char first = ByteAt(text, 0);
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (text.size() < size) {
    return 0;
  }
  // The second byte decides over overlong forms, surrogates and what is beyond the last one.
  const unsigned char second = ByteAt(text, 1);
  const unsigned char lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (second < lowest || second > highest) {
    return 0;
  }
  for (std::size_t index = 2; index < size; ++index) {
    if (!IsContinuation(ByteAt(text, index))) {
      return 0;
    }
  }
  return size;
}

std::size_t PrintableCharacterSize(std::string_view text) {
  const unsigned char first = ByteAt(text, 0);
  if (first < 0x80) {
    return first < 0x20 || first == 0x7F ? 0 : 1;
  }
  const std::size_t size = Utf8CharacterSize(text);
  const bool isControl = size == 2 && first == 0xC2 && ByteAt(text, 1) < 0xA0;
  return isControl ? 0 : size;
}

std::size_t CutSize(std::string_view text, std::size_t maxSize) {
  std::size_t size = std::min(text.size(), maxSize);
  while (size < text.size() && size > 0 && IsContinuation(ByteAt(text, size))) {
    --size;
  }
  return size;
}

std::string ValidUtf8(std::string text) {
  std::size_t invalid = FindInvalid(text);
  if (invalid == text.size()) {
    return text;
  }
  std::string valid;
  std::string_view rest = text;
  while (invalid < rest.size()) {
    valid += rest.substr(0, invalid);
    valid += kReplacement;
    rest.remove_prefix(invalid + 1);
    invalid = FindInvalid(rest);
  }
  return valid.append(rest);
}

std::string OneLine(std::string_view text, std::size_t maxSize) {
  // Cut before the work, and once more for what U+FFFD added.
  std::string line = ValidUtf8(std::string(text.substr(0, CutSize(text, maxSize))));
  line.resize(CutSize(line, maxSize));
  std::replace_if(
      line.begin(), line.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; },
      ' ');
  return line;
}

}  // namespace host
