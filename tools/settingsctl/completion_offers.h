#pragma once

#include <functional>
#include <string>
#include <vector>

#include "completion.h"
#include "settingsctl/connection.h"
#include "settingsctl/menu.h"

// What shells offer, as the running service knows it. They do not start the service, and offer
// nothing without it. `options` and what the functions refer to must outlive them.
namespace settingsctl {

// Those of some items that a verb takes.
using Choice = std::function<Names(settings::Client& client, const Names& items)>;

// All items, or those of the choice, with their names.
tools::Offer ItemOffer(const Options& options, Choice choice = nullptr);

// The values of an item: its list, or its numbers if they are few.
tools::Offer ValueOffer(const Options& options, const std::string& item);

// The applications that run or can be started, and those that disable items.
tools::Offer AppOffer(const Options& options);

}  // namespace settingsctl
