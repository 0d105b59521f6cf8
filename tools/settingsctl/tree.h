#pragma once

#include <cstddef>
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

// How the drawing is shown.
struct Paper {
  bool coloured = false;
  std::optional<std::size_t> width;  // in columns of the terminal; nothing for as wide as needed
};

// The lines of a drawing. What does not fit is cut off column by column: notes and values first,
// IDs last.
std::vector<std::string> Draw(const std::vector<Branch>& branches, const Paper& paper);

Json::Value TreeJson(const Branch& branch);

}  // namespace settingsctl
