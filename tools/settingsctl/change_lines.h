#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "settings/item_cache.h"

namespace settingsctl {

// A line for each way in which the item is another than before: its value with the value's name,
// whether it is visible, and whether it is enabled. With `isOtherLanguage`, a name alone is none.
std::vector<std::string> ChangeLines(const settings::ItemChange& change, bool isOtherLanguage,
                                     std::chrono::system_clock::time_point time, bool json);

}  // namespace settingsctl
