#include "base/item_name.h"

#include <cstddef>

namespace base {

ItemName ReadItemName(std::string_view name) {
  if (name.find('/') == std::string_view::npos) {
    return {std::string(name), std::nullopt};
  }
  const std::size_t begin = name.find_first_not_of('/');
  const std::size_t end = name.find_last_not_of('/');
  const std::string_view path =
      begin == std::string_view::npos ? "" : name.substr(begin, end + 1 - begin);
  return {std::string(path.substr(path.rfind('/') + 1)), std::string(path)};
}

}  // namespace base
