#include "items/text.h"

#include <algorithm>
#include <cstring>

namespace host {
namespace {

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The character that begins with the bytes of `text`: its length, or 0 when there is none.
std::size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    return first < 0x20 || first == 0x7F ? 0 : 1;
  }
  std::size_t length = 0;
  char32_t code = 0;
  char32_t least = 0;  // anything below has a shorter form
  if ((first & 0xE0) == 0xC0) {
    length = 2, code = first & 0x1F, least = 0x80;
  } else if ((first & 0xF0) == 0xE0) {
    length = 3, code = first & 0x0F, least = 0x800;
  } else if ((first & 0xF8) == 0xF0) {
    length = 4, code = first & 0x07, least = 0x10000;
  }
  if (length == 0 || text.size() < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsContinuation(text[i])) {
      return 0;
    }
    code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
  }
  const bool isControl = code < 0xA0;
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < least || code > 0x10FFFF || isControl || isSurrogate ? 0 : length;
}

}  // namespace

bool IsPlainText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

void CopyCut(std::string_view text, char* buffer, std::size_t size) {
  std::size_t length = std::min(text.size(), size - 1);
  if (length < text.size()) {
    while (length > 0 && IsContinuation(text[length])) {
      --length;
    }
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

}  // namespace host
