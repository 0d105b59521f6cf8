#pragma once

#include <string>
#include <vector>

#include "settings/client.h"

namespace settingsctl {

using Names = std::vector<std::string>;

// The items of the service's menu, the upper levels first.
Names AllItems(settings::Client& client);

}  // namespace settingsctl
