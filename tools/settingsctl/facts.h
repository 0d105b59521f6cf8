#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settingsctl/items.h"

namespace settingsctl {

enum class Kind { kGroup, kSwitch, kList, kRange, kAction };

// As a catalogue calls it.
std::string ToText(Kind kind);

// What an item is, what it has and what it takes.
struct Facts {
  Kind kind = Kind::kAction;
  std::optional<std::string> value;      // nothing also when the service cannot read it
  Names values;                          // of a list or a switch
  std::optional<settings::Range> range;  // of a range
};

// Nothing for an item that the service does not know.
std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items);
// Throws NoSuchItem.
Facts FactsOf(settings::Client& client, const std::string& item);

bool HasValue(const Facts& facts);

// Whether the item takes the value, as far as the values are known that it can have.
bool Takes(const Facts& facts, const std::string& value);

// `takes off, on`, `takes 0 to 50, step 1` or `is a group, it has no value`; escaped.
std::string WhatItTakes(const Facts& facts);

// Whether the item makes no difference between the values, such as 7 and 7.0 for a number.
bool IsSame(const Facts& facts, const std::string& one, const std::string& other);

}  // namespace settingsctl
