#include <gtest/gtest.h>

#include "items_test.h"

namespace {

using Api = CSettingsItemInfoAPI;

// One key hides what it names, another greys it out.
constexpr char kItems[] = R"(
  {"id": "picture", "kind": "group", "name": "Picture", "displayId": "PICTURE",
   "visible": {"not": {"key": "memory/hide", "is": "picture"}},
   "enabled": {"not": {"key": "memory/grey", "is": "picture"}}, "items": [
    {"id": "expert", "kind": "group", "name": "Expert", "displayId": "EXPERT",
     "visible": {"not": {"key": "memory/hide", "is": "expert"}},
     "enabled": {"not": {"key": "memory/grey", "is": "expert"}}, "items": [
      {"id": "tone", "kind": "list", "name": "Tone", "displayId": "TONE", "default": "cool",
       "visible": {"not": {"key": "memory/hide", "is": "tone"}},
       "enabled": {"not": {"key": "memory/grey", "is": "tone"}},
       "options": [
         {"value": "cool", "name": "Cool"},
         {"value": "warm", "name": "Warm",
          "visible": {"not": {"key": "memory/hide", "is": "warm"}},
          "enabled": {"not": {"key": "memory/grey", "is": "warm"}}}]}]}]},
  {"id": "brightness", "kind": "range", "name": "Brightness", "displayId": "BRIGHTNESS",
   "min": 0, "max": 5, "step": 1, "default": 0},
  {"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off"},
  {"id": "reset", "kind": "action", "name": "Reset", "displayId": "RESET"})";

constexpr bool kByRulesOnly = true;
constexpr char kApp[] = "org.example.app";

class ItemState : public ItemsTest {
 protected:
  ItemState() { LoadItems(kItems); }

  ~ItemState() override {
    std::vector<std::string> released;
    Api::RemoveDisabledItemsByAppname(released, kApp);
  }

  void Hide(const std::string& what) { m_Platform.SetKey("memory/hide", what); }
  void Grey(const std::string& what) { m_Platform.SetKey("memory/grey", what); }
};

TEST_F(ItemState, WithoutRulesEveryItemIsVisibleAndEnabled) {
  for (const char* id : {"brightness", "game", "reset"}) {
    EXPECT_EQ(Api::GetItemVisible(id), 1) << id;
    EXPECT_EQ(Api::GetItemEnable(id, false), 1) << id;
    EXPECT_EQ(Api::GetItemEnable(id, kByRulesOnly), 1) << id;
    EXPECT_EQ(Api::GetItemPathVisible(id), 1) << id;
    EXPECT_EQ(Api::GetItemPathEnable(id), 1) << id;
  }
}

TEST_F(ItemState, VisibleAndEnabledAreIndependent) {
  Hide("tone");
  EXPECT_EQ(Api::GetItemVisible("tone"), 0);
  EXPECT_EQ(Api::GetItemEnable("tone", false), 1);
  Hide("");
  Grey("tone");
  EXPECT_EQ(Api::GetItemVisible("tone"), 1);
  EXPECT_EQ(Api::GetItemEnable("tone", false), 0);
}

TEST_F(ItemState, AStateIsAskedAnewEveryTime) {
  for (int round = 0; round < 3; ++round) {
    Hide("tone");
    EXPECT_EQ(Api::GetItemVisible("tone"), 0);
    Hide("");
    EXPECT_EQ(Api::GetItemVisible("tone"), 1);
  }
}

TEST_F(ItemState, AnItemInAHiddenGroupIsVisibleButItsPathIsNot) {
  for (const char* group : {"picture", "expert"}) {
    Hide(group);
    EXPECT_EQ(Api::GetItemVisible(group), 0) << group;
    EXPECT_EQ(Api::GetItemVisible("tone"), 1) << group;
    EXPECT_EQ(Api::GetItemPathVisible("tone"), 0) << group;
    EXPECT_EQ(Api::GetItemPathEnable("tone"), 1) << group;
  }
  EXPECT_EQ(Api::GetItemPathVisible("picture"), 1) << "what lies below does not count";
}

TEST_F(ItemState, AnItemInAGreyGroupIsEnabledButItsPathIsNot) {
  for (const char* group : {"picture", "expert"}) {
    Grey(group);
    EXPECT_EQ(Api::GetItemEnable(group, false), 0) << group;
    EXPECT_EQ(Api::GetItemEnable("tone", false), 1) << group;
    EXPECT_EQ(Api::GetItemPathEnable("tone"), 0) << group;
    EXPECT_EQ(Api::GetItemPathVisible("tone"), 1) << group;
  }
}

TEST_F(ItemState, APathIncludesTheItemItself) {
  Hide("tone");
  Grey("tone");
  EXPECT_EQ(Api::GetItemPathVisible("tone"), 0);
  EXPECT_EQ(Api::GetItemPathEnable("tone"), 0);
  EXPECT_EQ(Api::GetItemPathVisible("expert"), 1);
  EXPECT_EQ(Api::GetItemPathEnable("expert"), 1);
}

TEST_F(ItemState, AnItemThatAnApplicationDisablesIsEnabledByItsRulesOnly) {
  ASSERT_TRUE(Api::DisableItem("tone", kApp));
  EXPECT_EQ(Api::GetItemEnable("tone", false), 0);
  EXPECT_EQ(Api::GetItemEnable("tone", kByRulesOnly), 1);
  EXPECT_EQ(Api::GetItemPathEnable("tone"), 0);
  EXPECT_EQ(Api::GetItemVisible("tone"), 1);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "warm"), 1);
}

TEST_F(ItemState, AGroupThatAnApplicationDisablesTakesThePathsBelowAlong) {
  ASSERT_TRUE(Api::DisableItem("picture", kApp));
  EXPECT_EQ(Api::GetItemEnable("tone", false), 1);
  EXPECT_EQ(Api::GetItemPathEnable("tone"), 0);
  EXPECT_EQ(Api::GetItemPathEnable("brightness"), 1);
  ASSERT_TRUE(Api::EnableItem("picture", kApp));
  EXPECT_EQ(Api::GetItemPathEnable("tone"), 1);
}

TEST_F(ItemState, AnItemThatItsRulesDisableStaysSoWhenApplicationsLetItGo) {
  Grey("tone");
  ASSERT_TRUE(Api::DisableItem("tone", kApp));
  ASSERT_TRUE(Api::EnableItem("tone", kApp));
  EXPECT_EQ(Api::GetItemEnable("tone", false), 0);
  EXPECT_EQ(Api::GetItemEnable("tone", kByRulesOnly), 0);
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
}

TEST_F(ItemState, AValueOfAListHasStatesOfItsOwn) {
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "warm"), 1);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "warm"), 1);
  Hide("warm");
  Grey("warm");
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "warm"), 0);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "warm"), 0);
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "cool"), 1);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "cool"), 1);
  EXPECT_EQ(Api::GetItemVisible("tone"), 1);
}

TEST_F(ItemState, TheStatesOfAValueAreNotThoseOfItsItem) {
  Hide("tone");
  Grey("tone");
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "warm"), 1);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "warm"), 1);
}

TEST_F(ItemState, TheValuesOfASwitchAreVisibleAndEnabled) {
  for (const char* value : {"off", "on"}) {
    EXPECT_EQ(Api::GetSubListItemVisible("game", value), 1);
    EXPECT_EQ(Api::GetSubListItemEnable("game", value), 1);
  }
}

TEST_F(ItemState, AValueThatIsNoOptionCannotBeAskedAbout) {
  const struct {
    const char* id;
    const char* value;
  } questions[] = {{"tone", "hot"},    {"tone", ""},        {"tone", "Warm"}, {"game", "1"},
                   {"tone", nullptr},  {"brightness", "1"}, {"reset", "on"},  {"picture", "tone"},
                   {"nosuch", "warm"}, {nullptr, "warm"}};
  for (const auto& [id, value] : questions) {
    EXPECT_EQ(Api::GetSubListItemVisible(id, value), -1);
    EXPECT_EQ(Api::GetSubListItemEnable(id, value), -1);
  }
}

TEST_F(ItemState, WhatAStoreThatCannotBeReadWouldDecideCannotBeAskedAbout) {
  m_Platform.FailReads();
  EXPECT_EQ(Api::GetItemVisible("tone"), -1);
  EXPECT_EQ(Api::GetItemEnable("tone", false), -1);
  EXPECT_EQ(Api::GetItemEnable("tone", kByRulesOnly), -1);
  EXPECT_EQ(Api::GetItemPathVisible("tone"), -1);
  EXPECT_EQ(Api::GetItemPathEnable("tone"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "warm"), -1);
  EXPECT_EQ(Api::GetSubListItemEnable("tone", "warm"), -1);
  EXPECT_EQ(Api::GetItemVisible("game"), 1);
}

TEST_F(ItemState, AnUnknownItemCannotBeAskedAbout) {
  for (const char* id : {static_cast<const char*>(nullptr), "", "nosuch", "Tone", "expert/tone"}) {
    EXPECT_EQ(Api::GetItemVisible(id), -1);
    EXPECT_EQ(Api::GetItemEnable(id, false), -1);
    EXPECT_EQ(Api::GetItemEnable(id, kByRulesOnly), -1);
    EXPECT_EQ(Api::GetItemPathVisible(id), -1);
    EXPECT_EQ(Api::GetItemPathEnable(id), -1);
  }
}

TEST_F(ItemState, AHiddenOrDisabledItemTakesValuesAllTheSame) {
  Hide("tone");
  Grey("tone");
  ASSERT_TRUE(Api::DisableItem("tone", kApp));
  EXPECT_EQ(Api::SetItemValue("tone", "warm", false), 0);
  EXPECT_EQ(Value("tone"), "warm");
  EXPECT_EQ(Api::SetItemValue("tone", "hot", false), -1);
}

TEST_F(ItemState, AHiddenOrDisabledValueCanBeSetAllTheSame) {
  Hide("warm");
  Grey("warm");
  EXPECT_EQ(Api::SetItemValue("tone", "warm", false), 0);
  EXPECT_EQ(Value("tone"), "warm");
}

TEST_F(ItemState, QuestionsWriteNothingAndLogNothing) {
  const int writes = m_Platform.Writes();
  Hide("tone");
  for (const char* id : {"picture", "tone", "brightness", "nosuch"}) {
    Api::GetItemVisible(id);
    Api::GetItemEnable(id, false);
    Api::GetItemPathVisible(id);
    Api::GetItemPathEnable(id);
    Api::GetSubListItemVisible(id, "warm");
    Api::GetSubListItemEnable(id, "warm");
  }
  EXPECT_EQ(m_Platform.Writes(), writes);
  EXPECT_TRUE(m_Platform.Log().empty());
}

TEST_F(ItemState, ACatalogueThatCannotBeLoadedLeavesNothingToAskAbout) {
  RemoveCatalogue();
  Api::InitSettingsItemInfoAPI();
  EXPECT_EQ(Api::GetItemVisible("tone"), -1);
  EXPECT_EQ(Api::GetItemPathEnable("tone"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("tone", "warm"), -1);
}

TEST_F(ItemState, TwoSwitchesCanExcludeEachOther) {
  LoadItems(R"(
    {"id": "calm", "kind": "switch", "name": "Calm", "displayId": "CALM", "default": "off",
     "enabled": {"item": "loud", "is": "off"}},
    {"id": "loud", "kind": "switch", "name": "Loud", "displayId": "LOUD", "default": "off",
     "enabled": {"item": "calm", "is": "off"}})");
  EXPECT_EQ(Api::GetItemEnable("calm", false), 1);
  EXPECT_EQ(Api::GetItemEnable("loud", false), 1);
  Api::SetItemValue("calm", "on", false);
  EXPECT_EQ(Api::GetItemEnable("calm", false), 1);
  EXPECT_EQ(Api::GetItemEnable("loud", false), 0);
  Api::SetItemValue("calm", "off", false);
  Api::SetItemValue("loud", "on", false);
  EXPECT_EQ(Api::GetItemEnable("calm", false), 0);
  EXPECT_EQ(Api::GetItemEnable("loud", false), 1);
}

}  // namespace
