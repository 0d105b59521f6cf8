#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "settings/client.h"

// A part of the settings menu, as lines of text.
struct MenuRow {
  std::string item;
  std::size_t depth = 0;
};

// The item, given by its ID or its path in the menu, and what is below it, or the whole menu for
// "", in the order of the menu. Empty when there is no such item. Asks the service level by level.
// Throws settings::Error.
std::vector<MenuRow> AskForMenu(settings::Client& client, const std::string& top);
