#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace base {

// How people name an item of the menu: by its ID, or by its path, such as picture/picturemode,
// which has a slash at least; those around it mean nothing.
struct ItemName {
  std::string item;                 // the ID
  std::optional<std::string> path;  // nothing for a name that is an ID
};

// Whether there is such an item, and whether its path is that one, remains to be asked. Any thread.
ItemName ReadItemName(std::string_view name);

}  // namespace base
