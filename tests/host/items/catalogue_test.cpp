#include "items/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "catalogue_directory.h"

namespace {

using host::Catalogue;
using host::InputKind;
using host::Item;
using host::ItemKind;
using host::RuleInput;
using host::RuleKind;
using host::Storage;
using testing::ElementsAre;

class CatalogueTest : public testing::Test {
 protected:
  Catalogue Load(const std::string& items) const {
    return Catalogue::Load(m_Directory.Write("menu.json", "{\"items\": [" + items + "]}"));
  }

  static std::vector<std::string> Ids(const Catalogue& catalogue) {
    std::vector<std::string> ids;
    for (const Item& item : catalogue.Items()) {
      ids.push_back(item.id);
    }
    return ids;
  }

  static constexpr char kAction[] =
      R"({"id": "reset", "kind": "action", "name": "Reset", "displayId": "MENU_RESET"})";

  CatalogueDirectory m_Directory;
};

TEST_F(CatalogueTest, AnItemIsFoundByItsIdentifier) {
  const Catalogue catalogue = Load(kAction);
  const Item* item = catalogue.Find("reset");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->id, "reset");
  EXPECT_EQ(item->kind, ItemKind::kAction);
  EXPECT_EQ(item->name, "Reset");
  EXPECT_EQ(item->displayId, "MENU_RESET");
  EXPECT_FALSE(item->value);
  EXPECT_EQ(catalogue.Find("reset2"), nullptr);
  EXPECT_EQ(catalogue.Find(""), nullptr);
}

TEST_F(CatalogueTest, GroupsAndItemsFormATree) {
  const Catalogue catalogue = Load(R"(
    {"id": "a", "kind": "group", "name": "A", "displayId": "A", "items": [
      {"id": "b", "kind": "group", "name": "B", "displayId": "B", "items": [
        {"id": "c", "kind": "action", "name": "C", "displayId": "C"}]},
      {"id": "d", "kind": "action", "name": "D", "displayId": "D"}]},
    {"id": "e", "kind": "action", "name": "E", "displayId": "E"})");
  EXPECT_THAT(Ids(catalogue), ElementsAre("a", "b", "c", "d", "e"));
  EXPECT_THAT(catalogue.Find("a")->children, ElementsAre(1, 3));
  EXPECT_THAT(catalogue.Find("b")->children, ElementsAre(2));
  EXPECT_EQ(catalogue.Find("c")->parent, 1u);
  EXPECT_EQ(catalogue.Find("e")->parent, host::kNoItem);
  EXPECT_EQ(catalogue.Path(*catalogue.Find("c")), "a/b/c");
  EXPECT_EQ(catalogue.Path(*catalogue.Find("e")), "e");
}

TEST_F(CatalogueTest, StorageAndKeyHaveDefaultsByKind) {
  const Catalogue catalogue = Load(R"(
    {"id": "l", "kind": "list", "name": "L", "displayId": "L", "default": "x",
     "options": [{"value": "x", "name": "X"}]},
    {"id": "s", "kind": "switch", "name": "S", "displayId": "S", "default": "on"},
    {"id": "r", "kind": "range", "name": "R", "displayId": "R", "default": 1,
     "min": 0, "max": 2, "step": 1},
    {"id": "f", "kind": "range", "name": "F", "displayId": "F", "default": 1,
     "min": 0, "max": 2, "step": 0.5})");
  EXPECT_EQ(catalogue.Find("l")->value->storage, Storage::kString);
  EXPECT_EQ(catalogue.Find("s")->value->storage, Storage::kInt);
  EXPECT_EQ(catalogue.Find("r")->value->storage, Storage::kInt);
  EXPECT_EQ(catalogue.Find("f")->value->storage, Storage::kString);
  EXPECT_EQ(catalogue.Find("l")->value->key, "db/menu/l");
}

// What a change of an input touches can be told from the catalogue alone, each input once.
TEST_F(CatalogueTest, WhatRulesAskForLeadsToTheItemsThatAsk) {
  const Catalogue catalogue = Load(R"(
    {"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on",
     "visible": {"all": [{"source": "hdmi"}, {"not": {"key": "db/k", "is": 1}}]},
     "enabled": {"speaker": ["receiver", "optical"]}},
    {"id": "b", "kind": "list", "name": "B", "displayId": "B", "default": "x",
     "enabled": {"any": [{"item": "a", "is": "on"}, {"key": "db/k", "is": [2, 3]}]},
     "options": [{"value": "x", "name": "X", "visible": {"source": ["tv", "av"]}},
                 {"value": "y", "name": "Y", "enabled": {"feature": "f/g", "is": true}},
                 {"value": "z", "name": "Z", "enabled": {"feature": "f/g", "is": 2}}]},
    {"id": "c", "kind": "action", "name": "C", "displayId": "C",
     "visible": {"all": [{"item": "a", "is": "off"}, {"key": "db/k", "is": "1"}]}})");
  const host::Rules& rules = catalogue.AllRules();
  std::map<RuleInput, std::set<std::string>> askers;
  for (const RuleInput& input : rules.inputs) {
    EXPECT_TRUE(askers.try_emplace(input).second) << input.name;
  }
  const auto add = [&](const Item& item, const host::States& states) {
    for (const host::RuleIndex rule : {states.visible, states.enabled}) {
      for (auto node = rule; rule != host::kNoRule && node < rules.nodes[rule].end; ++node) {
        const RuleKind kind = rules.nodes[node].kind;
        if (kind == RuleKind::kNumber || kind == RuleKind::kText) {
          askers.at(rules.inputs[rules.nodes[node].input]).insert(item.id);
        }
      }
    }
  };
  for (const Item& item : catalogue.Items()) {
    add(item, item.states);
    if (item.id == "b") {
      for (const auto& option : std::get<std::vector<host::Option>>(item.value->values)) {
        add(item, option.states);
      }
    }
  }
  const std::map<RuleInput, std::set<std::string>> expected = {
      {{InputKind::kTextKey, 0, "memory/set/source/type", "tv"}, {"a", "b"}},
      {{InputKind::kIntKey, 0, "db/k", ""}, {"a", "b"}},
      {{InputKind::kSpeaker, 0, "", "tvspeaker"}, {"a"}},
      {{InputKind::kItem, 0, "", ""}, {"b", "c"}},
      {{InputKind::kBoolFeature, 0, "f/g", ""}, {"b"}},
      {{InputKind::kIntFeature, 0, "f/g", ""}, {"b"}},
      {{InputKind::kTextKey, 0, "db/k", ""}, {"c"}},
  };
  EXPECT_EQ(askers, expected);
}

TEST_F(CatalogueTest, AnIndexNamesTheFilesInMenuOrder) {
  m_Directory.Write("one.json", R"({"items": [
    {"id": "one", "kind": "action", "name": "One", "displayId": "ONE"}]})");
  m_Directory.Write("two.json", R"({"items": [
    {"id": "two", "kind": "action", "name": "Two", "displayId": "TWO"}]})");
  const auto index = m_Directory.Write(
      "menu.json", R"({"$schema": "any.json", "files": ["two.json", "one.json"]})");
  EXPECT_THAT(Ids(Catalogue::Load(index)), ElementsAre("two", "one"));
}

TEST_F(CatalogueTest, TwoItemsMayShareOneText) {
  const Catalogue catalogue = Load(R"(
    {"id": "a", "kind": "action", "name": "Expert", "displayId": "EXPERT"},
    {"id": "b", "kind": "action", "name": "Expert", "displayId": "EXPERT"})");
  EXPECT_EQ(catalogue.Items().size(), 2u);
}

TEST_F(CatalogueTest, AMovedCatalogueStillFindsItsItems) {
  Catalogue first = Load(kAction);
  const Item* item = first.Find("reset");
  const Catalogue second = std::move(first);
  EXPECT_EQ(second.Find("reset"), item);
}

TEST_F(CatalogueTest, GroupsMayLieDeepInEachOther) {
  std::string items = kAction;
  for (int depth = 0; depth < 200; ++depth) {
    const std::string id = "g" + std::to_string(depth);
    items = R"({"id": ")" + id +
            R"(", "kind": "group", "name": "G", "displayId": "G", "items": [)" + items + "]}";
  }
  const Catalogue catalogue = Load(items);
  EXPECT_EQ(catalogue.Items().size(), 201u);
  EXPECT_THAT(catalogue.Path(*catalogue.Find("reset")), testing::EndsWith("g2/g1/g0/reset"));
}

TEST_F(CatalogueTest, ACatalogueWithoutMistakesHasNoProblems) {
  const auto file = m_Directory.Write("menu.json", "{\"items\": [" + std::string(kAction) + "]}");
  EXPECT_TRUE(host::CheckCatalogue(file).empty());
}

}  // namespace
