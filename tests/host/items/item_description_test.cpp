#include <gmock/gmock.h>
#include <json/json.h>

#include <sstream>

#include "dlog.h"
#include "items_test.h"

namespace {

using Api = CSettingsItemInfoAPI;
using testing::Optional;

constexpr char kItems[] = R"(
  {"id": "picture", "kind": "group", "name": "Picture", "displayId": "MENU_PICTURE", "items": [
    {"id": "picturemode", "kind": "list", "name": "Picture Mode",
     "displayId": "MENU_PICTURE_MODE", "default": "standard",
     "options": [{"value": "dynamic", "name": "Dynamic"},
                 {"value": "standard", "name": "Standard"}]},
    {"id": "expert", "kind": "group", "name": "Expert Settings", "displayId": "MENU_EXPERT",
     "items": [
      {"id": "tint", "kind": "range", "name": "Tint", "displayId": "MENU_TINT",
       "min": -1.5, "max": 4, "step": 0.5, "default": 0},
      {"id": "delay", "kind": "range", "name": "Delay", "displayId": "MENU_DELAY",
       "min": -5, "max": 245, "step": 10, "default": 5, "kept": {"min": 0, "step": 1}}]}]},
  {"id": "odd", "kind": "list", "name": "Odd", "displayId": "MENU_ODD", "default": "a,b",
   "options": [{"value": "a,b", "name": "A"}, {"value": "\"c\"", "name": "C"},
               {"value": "한국어", "name": "D"}]},
  {"id": "gamemode", "kind": "switch", "name": "Game Mode", "displayId": "MENU_GAME_MODE",
   "default": "off"},
  {"id": "reset", "kind": "action", "name": "Reset", "displayId": "MENU_RESET"})";

class ItemDescription : public ItemsTest {
 protected:
  ItemDescription() { LoadItems(kItems); }

  static std::optional<std::string> Path(const std::string& menuID) {
    std::string path = "before";
    const int result = Api::GetSettingsItemPathByString(menuID, path);
    if (result == 0) {
      return path;
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(path, "before");
    return std::nullopt;
  }

  struct Bounds {
    double min;
    double max;
    double step;
    bool operator==(const Bounds&) const = default;
  };

  static std::optional<Bounds> BoundsOf(const char* menuID, bool displayed) {
    constexpr double kUntouched = 12345;
    Bounds bounds{kUntouched, kUntouched, kUntouched};
    const bool min = Api::GetItemMinValue(menuID, &bounds.min, displayed);
    const bool max = Api::GetItemMaxValue(menuID, &bounds.max, displayed);
    const bool step = Api::GetItemStepValue(menuID, &bounds.step, displayed);
    if (min && max && step) {
      return bounds;
    }
    EXPECT_FALSE(min || max || step);
    EXPECT_EQ(bounds, (Bounds{kUntouched, kUntouched, kUntouched}));
    return std::nullopt;
  }
};

TEST_F(ItemDescription, EveryItemHasADisplayIdentifierAndAName) {
  EXPECT_THAT(DisplayId("picturemode"), Optional(std::string("MENU_PICTURE_MODE")));
  EXPECT_THAT(DisplayName("picturemode"), Optional(std::string("Picture Mode")));
  EXPECT_THAT(DisplayId("picture"), Optional(std::string("MENU_PICTURE")));
  EXPECT_THAT(DisplayName("reset"), Optional(std::string("Reset")));
}

TEST_F(ItemDescription, AnUnknownItemHasNone) {
  for (const char* menuID : {"nosuchitem", "", "picturemod", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(DisplayId(menuID), std::nullopt);
    EXPECT_EQ(DisplayName(menuID), std::nullopt);
  }
}

TEST_F(ItemDescription, ALongNameIsCutAtACharacter) {
  std::string name = "x";
  while (name.size() < 600) {
    name += "\u97f3";
  }
  LoadItems(R"({"id": "long", "kind": "action", "displayId": "MENU_LONG", "name": ")" + name +
            "\"}");
  EXPECT_THAT(DisplayName("long"), Optional(name.substr(0, 511)));
  LoadItems(R"({"id": "long", "kind": "action", "displayId": "MENU_LONG", "name": "x)" + name +
            "\"}");
  EXPECT_THAT(DisplayName("long"), Optional("x" + name.substr(0, 508)));
}

TEST_F(ItemDescription, APathLeadsFromTheTopOfTheMenuDownToTheItem) {
  EXPECT_THAT(Path("picture"), Optional(std::string("picture")));
  EXPECT_THAT(Path("picturemode"), Optional(std::string("picture/picturemode")));
  EXPECT_THAT(Path("tint"), Optional(std::string("picture/expert/tint")));
}

TEST_F(ItemDescription, AnUnknownItemHasNoPath) {
  EXPECT_EQ(Path("nosuchitem"), std::nullopt);
  EXPECT_EQ(Path(""), std::nullopt);
  EXPECT_EQ(Path(std::string("picture\0", 8)), std::nullopt);
}

TEST_F(ItemDescription, TheValuesOfAListAreAJsonArrayInItsOrder) {
  EXPECT_EQ(Api::GetItemDataListByString("picturemode"), R"(["dynamic","standard"])");
}

TEST_F(ItemDescription, TheValuesOfASwitchAreListed) {
  EXPECT_EQ(Api::GetItemDataListByString("gamemode"), R"(["off","on"])");
}

TEST_F(ItemDescription, AListStringIsReadBackAsItWas) {
  const std::string text = Api::GetItemDataListByString("odd");
  EXPECT_EQ(text, R"(["a,b","\"c\"","한국어"])");
  Json::Value list;
  std::istringstream(text) >> list;
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0].asString(), "a,b");
  EXPECT_EQ(list[1].asString(), "\"c\"");
  EXPECT_EQ(list[2].asString(), "한국어");
}

TEST_F(ItemDescription, WhatHasNoListOfValuesAnswersAnEmptyText) {
  for (const char* menuID :
       {"tint", "picture", "reset", "nosuchitem", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(Api::GetItemDataListByString(menuID), "");
  }
}

TEST_F(ItemDescription, TheItemsRightBelowAGroupAreListedInMenuOrder) {
  EXPECT_EQ(Api::GetSubItemsListByString("picture"), R"(["picturemode","expert"])");
  EXPECT_EQ(Api::GetSubItemsListByString("expert"), R"(["tint","delay"])");
}

TEST_F(ItemDescription, TheTopOfTheMenuIsListedForAnEmptyIdentifier) {
  EXPECT_EQ(Api::GetSubItemsListByString(""), R"(["picture","odd","gamemode","reset"])");
}

TEST_F(ItemDescription, WhatHasNothingBelowItAnswersAnEmptyText) {
  for (const char* menuID :
       {"picturemode", "gamemode", "reset", "nosuchitem", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(Api::GetSubItemsListByString(menuID), "");
  }
}

TEST_F(ItemDescription, ARangeHasBoundsAndAStep) {
  EXPECT_THAT(BoundsOf("tint", false), Optional(Bounds{-1.5, 4, 0.5}));
}

TEST_F(ItemDescription, WhatIsKeptHasTheSameBoundsUnlessTheItemSaysOtherwise) {
  EXPECT_THAT(BoundsOf("tint", true), Optional(Bounds{-1.5, 4, 0.5}));
  EXPECT_THAT(BoundsOf("delay", false), Optional(Bounds{0, 25, 1}));
  EXPECT_THAT(BoundsOf("delay", true), Optional(Bounds{-5, 245, 10}));
}

TEST_F(ItemDescription, WhatIsNoRangeHasNoBounds) {
  for (const char* menuID : {"picturemode", "gamemode", "picture", "reset", "nosuchitem",
                             static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(BoundsOf(menuID, true), std::nullopt);
    EXPECT_EQ(BoundsOf(menuID, false), std::nullopt);
  }
}

class LoadingItems : public ItemDescription {
 protected:
  static void ExpectEveryQueryToFail() {
    EXPECT_EQ(Value("picturemode"), std::nullopt);
    EXPECT_EQ(Api::SetItemValue("picturemode", "dynamic", false), -1);
    EXPECT_EQ(DisplayId("picturemode"), std::nullopt);
    EXPECT_EQ(DisplayName("picturemode"), std::nullopt);
    EXPECT_EQ(Path("picturemode"), std::nullopt);
    EXPECT_EQ(Api::GetItemDataListByString("picturemode"), "");
    EXPECT_EQ(Api::GetSubItemsListByString("picture"), "");
    EXPECT_EQ(Api::GetSubItemsListByString(""), "");
    EXPECT_EQ(BoundsOf("tint", true), std::nullopt);
  }
};

TEST_F(LoadingItems, AMissingCatalogueIsLoggedAndEveryQueryFails) {
  RemoveCatalogue();
  Api::InitSettingsItemInfoAPI();
  ASSERT_EQ(m_Platform.Log().size(), 1u);
  EXPECT_EQ(m_Platform.Log()[0].priority, DLOG_ERROR);
  EXPECT_EQ(m_Platform.Log()[0].tag, "settings-items");
  EXPECT_THAT(
      m_Platform.Log()[0].text,
      testing::EndsWith("catalogue/menu.json: cannot be read: No such file or directory\n"));
  ExpectEveryQueryToFail();
}

TEST_F(LoadingItems, EveryMistakeOfACatalogueIsLoggedAndEveryQueryFails) {
  WriteCatalogue(R"({"items": [
{"id": "a", "kind": "slider", "name": "A", "displayId": "MENU_A"},
{"id": "b", "kind": "action", "name": "B"}]})");
  Api::InitSettingsItemInfoAPI();
  ASSERT_EQ(m_Platform.Log().size(), 2u);
  EXPECT_THAT(m_Platform.Log()[0].text, testing::HasSubstr("menu.json:2: a: unknown kind"));
  EXPECT_THAT(m_Platform.Log()[1].text, testing::HasSubstr("menu.json:3: b: member \"displayId\""));
  ExpectEveryQueryToFail();
}

TEST_F(LoadingItems, LoadingAgainReplacesTheItems) {
  LoadItems(R"({"id": "other", "kind": "action", "name": "Other", "displayId": "MENU_OTHER"})");
  EXPECT_THAT(DisplayName("other"), Optional(std::string("Other")));
  EXPECT_EQ(DisplayName("picturemode"), std::nullopt);
}

TEST_F(LoadingItems, ACorrectedCatalogueCanBeLoadedAfterABrokenOne) {
  WriteCatalogue("{");
  Api::InitSettingsItemInfoAPI();
  m_Platform.Reset();
  LoadItems(kItems);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("standard")));
}

}  // namespace
