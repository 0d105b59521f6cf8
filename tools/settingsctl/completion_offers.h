#pragma once

#include <functional>
#include <string>
#include <vector>

#include "completion.h"
#include "settingsctl/connection.h"

// What shells offer, as the running service knows it. They do not start the service, and offer
// nothing without it. `options` and what the functions refer to must outlive them.
namespace settingsctl {

enum class Offered { kAllItems, kItemsWithValue, kSwitches, kLists, kRanges, kGroups };

// Items, with their names.
tools::Offer ItemOffer(const Options& options, Offered which = Offered::kAllItems);

// The values of an item: its list, or its numbers if they are few.
tools::Offer ValueOffer(const Options& options, const std::string& item);

// The applications that run or can be started, and those that disable items.
tools::Offer AppOffer(const Options& options);

}  // namespace settingsctl
