#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "items/catalogue_reader.h"
#include "items/item.h"
#include "items/rules.h"

namespace host {

// Reads the rules of a catalogue (docs/items.md). Rules may mention later items, so they are linked
// once all items have been read.
class RuleReader {
 public:
  // `reader` must outlive it.
  explicit RuleReader(CatalogueReader& reader) : m_Reader(reader) {}

  // The rule in a member of `object`, which belongs to the item at `place`; kNoRule when there is
  // none, or it has a mistake, which is reported.
  RuleIndex Read(const JsonObject& object, std::string_view member, std::uint32_t place);

  // Reports what is wrong with the items that rules mention.
  void Link(const std::vector<Item>& items, const ItemPlaces& places);

  // The rules, when there was no mistake.
  Rules Take() { return std::move(m_Rules); }

 private:
  // A rule of one item that mentions another.
  struct Mention {
    RuleIndex rule;
    std::uint32_t from;
    const Json::Value* id;
    const Json::Value* values;
    JsonSource* source;
  };

  void ReadRule(const Json::Value& json);
  void ReadParts(const Json::Value& list, std::string_view name);
  void ReadItemRule(const JsonObject& object, RuleIndex rule);
  void ReadKeyRule(const JsonObject& object, RuleNode& node);
  void ReadFeatureRule(const JsonObject& object, RuleNode& node);
  void ReadSourceRule(const Json::Value& types, RuleNode& node);
  void ReadSpeakerRule(const Json::Value& types, RuleNode& node);
  std::uint32_t AddInput(RuleInput input);
  std::uint32_t AddItemInput(std::uint32_t place);
  void AddTexts(const Json::Value& texts, RuleNode& node);
  void AddNumbers(const Json::Value& numbers, RuleNode& node);

  void Report(const Mention& mention, const Json::Value& value, const std::vector<Item>& items,
              std::string message);
  void FindValues(const Mention& mention, std::uint32_t to, const std::vector<Item>& items);

  CatalogueReader& m_Reader;
  Rules m_Rules;
  std::map<RuleInput, std::uint32_t> m_InputPlaces;  // of those that are not items
  std::uint32_t m_Place = 0;                         // of the item whose rule is being read
  std::vector<Mention> m_Mentions;
};

}  // namespace host
