#pragma once

#include <filesystem>
#include <vector>

#include "items/item.h"
#include "items/rules.h"

namespace host {

struct LoadedItems {
  std::vector<Item> items;
  ItemPlaces places;  // by identifier; its keys lie in `items`
  ItemPlaces keys;    // the same by the key of the value
  Rules rules;
};

// The items in a catalogue file and the files that it names, as Catalogue::Load describes.
LoadedItems LoadItems(const std::filesystem::path& file);

}  // namespace host
