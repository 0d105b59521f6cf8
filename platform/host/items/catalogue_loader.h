#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "items/item.h"
#include "items/rules.h"

namespace host {

using ItemPlaces = std::unordered_map<std::string_view, std::uint32_t>;

struct LoadedItems {
  std::vector<Item> items;
  ItemPlaces places;  // by identifier; its keys lie in `items`
  Rules rules;
};

// The items in a catalogue file and the files that it names, as Catalogue::Load describes.
LoadedItems LoadItems(const std::filesystem::path& file);

}  // namespace host
