#include "items/text.h"

#include <cstring>

#include "base/utf8.h"

namespace host {

bool IsPlainText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t size = base::PrintableCharacterSize(text);
    if (size == 0) {
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

void CopyCut(std::string_view text, char* buffer, std::size_t size) {
  const std::size_t length = base::CutSize(text, size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

}  // namespace host
