#pragma once

#include <string>

#include "settingsctl/items.h"

// Changes to the record of disabled items that check their outcome: the service's replies do not
// tell it.
namespace settingsctl {

// Disables all of the items, or throws a Failure and disables none if one is unknown. Throws a
// Failure also if the service did not disable one.
void DisableItems(settings::Client& client, const Names& items, const std::string& app);

// Releases everything that the application disables and returns it in menu order. Throws a Failure
// if it still disables something.
Names ReleaseItems(settings::Client& client, const std::string& app);

// Throws a Failure that names the nearest when the application neither disables an item nor runs
// nor can be started. Knows that only where applications are names on the bus.
void RequireApplication(const Options& options, settings::Client& client, const std::string& app);

}  // namespace settingsctl
