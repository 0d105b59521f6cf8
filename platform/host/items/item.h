#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "items/number_grid.h"
#include "items/rules.h"

namespace host {

enum class ItemKind { kGroup, kSwitch, kList, kRange, kAction };

// How a value is stored in the key store.
enum class Storage { kInt, kString };

// A value of an item, by its number from 0: the place of an option in its list, or of a number
// on its grid.
using ValuePosition = std::int64_t;

// When something is visible and enabled.
struct States {
  RuleIndex visible = kNoRule;
  RuleIndex enabled = kNoRule;
};

struct Option {
  std::string value;
  std::string name;
  int number = 0;  // what Storage::kInt stores
  States states;
};

struct Range {
  NumberGrid values;
  NumberGrid kept;   // what the key store holds for them, position by position
  std::string unit;  // of `values`; empty when they have none
};

// All values that an item can have: the options of a list or a switch, or a range.
using ValueSet = std::variant<std::vector<Option>, Range>;

std::optional<ValuePosition> FindValue(const ValueSet& values, std::string_view text);
std::string ValueText(const ValueSet& values, ValuePosition position);

// A value as the key store holds it: by Storage::kString, and by Storage::kInt.
std::optional<ValuePosition> FindKeptText(const ValueSet& values, std::string_view text);
std::optional<ValuePosition> FindKeptNumber(const ValueSet& values, int number);
std::string KeptText(const ValueSet& values, ValuePosition position);
int KeptNumber(const ValueSet& values, ValuePosition position);

// Where an item's value is kept and previewed, and its default.
struct ValueDefinition {
  ValueSet values;
  ValuePosition standard = 0;
  std::string key;
  std::string previewKey;
  Storage storage = Storage::kString;
  bool followsSpeaker = false;
};

inline constexpr std::uint32_t kNoItem = UINT32_MAX;

// One item of the menu. Items refer to each other by their place in the catalogue.
struct Item {
  ItemKind kind = ItemKind::kGroup;
  std::string id;
  std::string name;
  std::string displayId;
  std::uint32_t parent = kNoItem;  // kNoItem at the top of the menu
  std::vector<std::uint32_t> children;
  States states;
  std::optional<ValueDefinition> value;  // nothing for groups and actions
};

// Items by their identifiers or other texts of theirs.
using ItemPlaces = std::unordered_map<std::string_view, std::uint32_t>;

}  // namespace host
