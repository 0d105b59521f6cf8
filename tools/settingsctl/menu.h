#pragma once

#include <set>
#include <string>
#include <vector>

#include "settings/client.h"

namespace settingsctl {

using Names = std::vector<std::string>;

// The items of the service's menu, the upper levels first.
Names AllItems(settings::Client& client);

// An item and all below it, or the whole menu for "", in the order of the menu.
Names ItemsInOrder(settings::Client& client, const std::string& top);

// The applications that disable an item.
std::set<std::string> AllDisablers(settings::Client& client);

}  // namespace settingsctl
