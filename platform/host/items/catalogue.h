#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "items/catalogue_loader.h"
#include "items/catalogue_problem.h"
#include "items/dependents.h"
#include "items/item.h"

namespace host {

// The items of the menu as a catalogue describes them (docs/items.md). Does not change after it
// was loaded, so any thread may read it.
class Catalogue {
 public:
  // Reads a file of items, or an index and the files that it names. Throws CatalogueError with
  // all mistakes found, in the order of files and lines.
  static Catalogue Load(const std::filesystem::path& file);

  // Moving does not move the items.
  Catalogue(Catalogue&&) = default;
  Catalogue& operator=(Catalogue&&) = default;

  // Null when there is no such item. Takes constant time.
  const Item* Find(std::string_view id) const;

  // All items in menu order, each group before its content; and the one at a place in this order.
  std::span<const Item> Items() const { return m_Items; }
  const Item& At(std::uint32_t place) const { return m_Items[place]; }
  std::uint32_t PlaceOf(const Item& item) const {
    return static_cast<std::uint32_t>(&item - m_Items.data());
  }

  // What depends on a key of the key store, in the order of the menu, each item once: what may have
  // changed with it.
  std::vector<Dependent> DependentsOf(std::string_view key) const;

  // What the states of its items and options refer to.
  const Rules& AllRules() const { return m_Rules; }

  // The identifiers from the top of the menu down to the item, joined by "/".
  std::string Path(const Item& item) const;

 private:
  explicit Catalogue(LoadedItems loaded);

  std::vector<Item> m_Items;
  ItemPlaces m_Places;
  ItemPlaces m_Keys;  // of values
  Rules m_Rules;
  Dependents m_Dependents;
  std::unordered_multimap<std::string_view, std::uint32_t> m_KeyInputs;
  std::vector<std::uint32_t> m_SpeakerFollowers;
};

// The mistakes that prevent loading; empty when there are none.
std::vector<CatalogueProblem> CheckCatalogue(const std::filesystem::path& file);

// The index in the same directory that names the file as part of its catalogue; empty when there is
// none. The first by name if there are several.
std::filesystem::path FindIndexOf(const std::filesystem::path& file);

}  // namespace host
