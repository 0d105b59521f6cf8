#pragma once

#include <string>

#include "settingsctl/items.h"

// Changes of the record of disabled items whose outcome is known afterwards: the service's replies
// do not tell it, so it is asked for.
namespace settingsctl {

// Disables all of the items or, with a Failure, none when one is unknown. A Failure also when the
// service did not disable one.
void DisableItems(settings::Client& client, const Names& items, const std::string& app);

// Ends all that the application disables, and returns what it was, in the order of the menu. A
// Failure when it still disables something.
Names ReleaseItems(settings::Client& client, const std::string& app);

}  // namespace settingsctl
