#include "base/width.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <cwchar>

#include "base/utf8.h"

namespace base {

std::size_t DisplayWidth(std::string_view text) {
  // This locale, which every system has, knows the widths of all letters.
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = uselocale(utf8);
  std::size_t columns = 0;
  std::mbstate_t state{};
  while (!text.empty()) {
    wchar_t letter = 0;
    const std::size_t length = std::mbrtowc(&letter, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {  // not a letter: shown in one column
      ++columns;
      state = {};
      text.remove_prefix(1);
      continue;
    }
    columns += std::max(wcwidth(letter), 0);
    text.remove_prefix(length);
  }
  uselocale(before);
  return columns;
}

std::string FitWidth(std::string_view text, std::size_t columns) {
  if (DisplayWidth(text) <= columns) {
    return std::string(text);
  }
  if (columns == 0) {
    return "";
  }
  std::size_t used = 1;  // by the …
  std::size_t size = 0;
  while (size < text.size()) {
    const std::string_view rest = text.substr(size);
    const std::size_t next = std::max<std::size_t>(Utf8CharacterSize(rest), 1);
    used += DisplayWidth(rest.substr(0, next));
    if (used > columns) {
      break;
    }
    size += next;
  }
  return std::string(text.substr(0, size)) + "…";
}

}  // namespace base
