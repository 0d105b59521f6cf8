#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settingsctl/items.h"
#include "settingsctl/questions.h"

namespace settingsctl {

using settings::ItemKind;

// As a catalogue calls it.
std::string ToText(ItemKind kind);

// What an item is, what it has and what it takes.
struct Facts {
  ItemKind kind = ItemKind::kAction;
  std::optional<std::string> value;      // nothing also when the service cannot read it
  Names values;                          // of a list or a switch
  std::optional<settings::Range> range;  // of a range

  // Of a service that describes items: whether the value is a preview, what is kept, and the names
  // of the values.
  std::optional<bool> isPreview;
  std::optional<settings::NamedValue> kept;
  Names valueNames;
};

// Nothing for an item that the service does not know. What else is to be asked goes into the same
// messages.
std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items,
                                          Questions& questions);
std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items);
// Throws NoSuchItem.
Facts FactsOf(settings::Client& client, const std::string& item);

// What a set keeps: the value without a preview. As far as the service says: it may be the value
// in effect.
std::optional<std::string> KeptValue(const Facts& facts);

bool HasValue(const Facts& facts);

// Whether the item takes the value, as far as the values are known that it can have.
bool Takes(const Facts& facts, const std::string& value);

// How a set keeps a value that the item takes: a number with as many decimals as what it keeps now.
std::string AsKept(const Facts& facts, const std::string& value);

// `takes off, on`, `takes 0 to 50, step 1` or `is a group, it has no value`; escaped.
std::string WhatItTakes(const Facts& facts);

// Whether the item makes no difference between the values, such as 7 and 7.0 for a number.
bool IsSame(const Facts& facts, const std::string& one, const std::string& other);

}  // namespace settingsctl
