#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// An application that disables items.
struct Disabler {
  std::size_t items = 0;  // how many
  std::string instance;   // the one alive when it last disabled something; empty for none

  bool operator==(const Disabler&) const = default;
};

// Which items are disabled, and by whom.
struct DisabledRecord {
  std::map<std::string, std::vector<std::string>, std::less<>> items;  // and their applications
  std::map<std::string, Disabler, std::less<>> disablers;
};

// Limits of a record and of its text, far above what a television needs. The text is written at
// each change, and read at each start.
inline constexpr std::size_t kMostRelations = 20'000;  // an application that disables an item
inline constexpr std::size_t kMostRecordText = 256 * 1024;

// How many relations there are.
std::size_t RelationCount(const DisabledRecord& record);

// The text in which a record is kept (docs/items.md); empty for an empty one. Items without an
// application are left out, and so are applications without an item.
std::string WriteDisabledRecord(const DisabledRecord& record);

// The record in a text, except for damaged parts and what exceeds the limits. `damage` says in one
// line what was dropped; empty when nothing was.
DisabledRecord ReadDisabledRecord(std::string_view text, std::string& damage);

// Appends `text` to `json` as a JSON string.
void AppendQuoted(std::string_view text, std::string& json);

}  // namespace host
