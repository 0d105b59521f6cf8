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

// The item and what is below it, or the whole menu for "", in the order of the menu. Asks the
// service level by level. Throws settings::Error.
std::vector<MenuRow> AskForMenu(settings::Client& client, const std::string& top);
