#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settingsctl/items.h"

namespace settingsctl {

// An item of the menu with everything below it.
struct Branch {
  std::string item;
  std::string name;
  std::optional<std::string> value;
  std::string valueName;
  bool visible = false;
  bool enabled = false;
  Names apps;  // that disable it
  std::vector<Branch> children;
};

// The lines of a drawing, for a terminal with colours or without.
std::vector<std::string> Draw(const std::vector<Branch>& branches, bool coloured);

Json::Value TreeJson(const Branch& branch);

}  // namespace settingsctl
