#include <climits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fixture.h"
#include "settings_item_info_api.h"

namespace {

using Api = CSettingsItemInfoAPI;
using Texts = std::vector<std::string>;

class FakeItemAnswers : public fakes::FakePlatformTest {
 protected:
  FakeItemAnswers() {
    Api::InitSettingsItemInfoAPI();
    fake.TakeTrace();
  }
};

TEST_F(FakeItemAnswers, ToStateQuestionsAreWhatTheTestChose) {
  fake.SetItem("x", {.visible = INT_MIN,
                     .enabled = -1,
                     .pathVisible = 0,
                     .pathEnabled = 2,
                     .valueVisible = {{"on", 3}},
                     .valueEnabled = {{"on", INT_MAX}}});
  EXPECT_EQ(Api::GetItemVisible("x"), INT_MIN);
  EXPECT_EQ(Api::GetItemEnable("x", true), -1);
  EXPECT_EQ(Api::GetItemPathVisible("x"), 0);
  EXPECT_EQ(Api::GetItemPathEnable("x"), 2);
  EXPECT_EQ(Api::GetSubListItemVisible("x", "on"), 3);
  EXPECT_EQ(Api::GetSubListItemEnable("x", "on"), INT_MAX);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemVisible("x") -> -2147483648
    CSettingsItemInfoAPI::GetItemEnable("x", true) -> -1
    CSettingsItemInfoAPI::GetItemPathVisible("x") -> 0
    CSettingsItemInfoAPI::GetItemPathEnable("x") -> 2
    CSettingsItemInfoAPI::GetSubListItemVisible("x", "on") -> 3
    CSettingsItemInfoAPI::GetSubListItemEnable("x", "on") -> 2147483647
  )");
}

TEST_F(FakeItemAnswers, ToStateQuestionsAreYesUnlessTheTestSaysOtherwise) {
  fake.SetItem("x", {});
  EXPECT_EQ(Api::GetItemVisible("x"), 1);
  EXPECT_EQ(Api::GetItemEnable("x", false), 1);
  EXPECT_EQ(Api::GetItemPathVisible("x"), 1);
  EXPECT_EQ(Api::GetItemPathEnable("x"), 1);
}

TEST_F(FakeItemAnswers, ToStateQuestionsFailForWhatIsUnknown) {
  fake.SetItem("x", {.valueVisible = {{"on", 1}}, .valueEnabled = {{"on", 1}}});
  EXPECT_EQ(Api::GetItemVisible("y"), -1);
  EXPECT_EQ(Api::GetItemEnable("y", false), -1);
  EXPECT_EQ(Api::GetItemPathVisible("y"), -1);
  EXPECT_EQ(Api::GetItemPathEnable("y"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("y", "on"), -1);
  EXPECT_EQ(Api::GetSubListItemEnable("y", "on"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("x", "off"), -1);
  EXPECT_EQ(Api::GetSubListItemEnable("x", "off"), -1);
}

TEST_F(FakeItemAnswers, ToStateQuestionsCanBeMadeToFail) {
  fake.SetItem("x", {.valueVisible = {{"on", 1}}});
  fake.Fail("CSettingsItemInfoAPI::GetItemVisible", {.on = "x"});
  fake.Fail("CSettingsItemInfoAPI::GetSubListItemVisible", {.code = -7});
  EXPECT_EQ(Api::GetItemVisible("x"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("x", "on"), -7);
}

TEST_F(FakeItemAnswers, AreTextsWithTheResultsThatTheTestChose) {
  fake.SetItem("x", {.path = "Picture > X",
                     .pathResult = 4,
                     .displayID = "MENU_X",
                     .displayIDResult = -5,
                     .displayName = "The X",
                     .displayNameResult = 6});
  std::string path;
  char displayID[SETTINGS_ITEM_TEXT_SIZE] = {};
  char displayName[SETTINGS_ITEM_TEXT_SIZE] = {};
  EXPECT_EQ(Api::GetSettingsItemPathByString("x", path), 4);
  EXPECT_EQ(Api::GetItemDisplayID("x", displayID), -5);
  EXPECT_EQ(Api::GetItemDisplayName("x", displayName), 6);
  EXPECT_EQ(path, "Picture > X");
  EXPECT_STREQ(displayID, "MENU_X");
  EXPECT_STREQ(displayName, "The X");
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetSettingsItemPathByString("x") -> 4: "Picture > X"
    CSettingsItemInfoAPI::GetItemDisplayID("x") -> -5: "MENU_X"
    CSettingsItemInfoAPI::GetItemDisplayName("x") -> 6: "The X"
  )");
}

TEST_F(FakeItemAnswers, AreNoTextsWhenTheResultIsTheFailure) {
  fake.SetItem("x", {.path = "p",
                     .pathResult = -1,
                     .displayID = "i",
                     .displayIDResult = -1,
                     .displayName = "n",
                     .displayNameResult = -1});
  std::string path;
  char text[SETTINGS_ITEM_TEXT_SIZE] = {};
  for (const char* menuID : {"x", "unknown"}) {
    EXPECT_EQ(Api::GetSettingsItemPathByString(menuID, path), -1);
    EXPECT_EQ(Api::GetItemDisplayID(menuID, text), -1);
    EXPECT_EQ(Api::GetItemDisplayName(menuID, text), -1);
    EXPECT_EQ(path, "");
    EXPECT_STREQ(text, "");
  }
  fake.Fail("CSettingsItemInfoAPI::GetSettingsItemPathByString", {.code = -3});
  fake.Fail("CSettingsItemInfoAPI::GetItemDisplayID", {.code = -4});
  EXPECT_EQ(Api::GetSettingsItemPathByString("x", path), -3);
  EXPECT_EQ(Api::GetItemDisplayID("x", text), -4);
}

TEST_F(FakeItemAnswers, LeaveATextThatDoesNotFitWithoutItsEnd) {
  fake.SetItem("x", {.displayID = std::string(600, 'i')});
  char text[SETTINGS_ITEM_TEXT_SIZE] = {};
  EXPECT_EQ(Api::GetItemDisplayID("x", text), 0);
  EXPECT_EQ(std::string(text, sizeof(text)), std::string(SETTINGS_ITEM_TEXT_SIZE, 'i'));
}

TEST_F(FakeItemAnswers, AreListsThatAreEmptyForWhatIsUnknown) {
  fake.SetItem("x", {.dataList = "off,on", .childList = "a,b"});
  EXPECT_EQ(Api::GetItemDataListByString("x"), "off,on");
  EXPECT_EQ(Api::GetSubItemsListByString("x"), "a,b");
  EXPECT_EQ(Api::GetItemDataListByString("y"), "");
  EXPECT_EQ(Api::GetSubItemsListByString("y"), "");
  fake.Fail("CSettingsItemInfoAPI::GetItemDataListByString", {.on = "x"});
  EXPECT_EQ(Api::GetItemDataListByString("x"), "");
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemDataListByString("x") -> "off,on"
    CSettingsItemInfoAPI::GetSubItemsListByString("x") -> "a,b"
    CSettingsItemInfoAPI::GetItemDataListByString("y") -> ""
    CSettingsItemInfoAPI::GetSubItemsListByString("y") -> ""
    CSettingsItemInfoAPI::GetItemDataListByString("x") -> ""
  )");
}

TEST_F(FakeItemAnswers, AreTheBoundsAndTheStepOfARange) {
  fake.SetItem("x", {.min = -0.5, .max = 100.0, .step = 0.1});
  double min = 0.0;
  double max = 0.0;
  double step = 0.0;
  EXPECT_TRUE(Api::GetItemMinValue("x", &min, true));
  EXPECT_TRUE(Api::GetItemMaxValue("x", &max, false));
  EXPECT_TRUE(Api::GetItemStepValue("x", &step, true));
  EXPECT_EQ(min, -0.5);
  EXPECT_EQ(max, 100.0);
  EXPECT_EQ(step, 0.1);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: -0.5
    CSettingsItemInfoAPI::GetItemMaxValue("x", false) -> true: 100
    CSettingsItemInfoAPI::GetItemStepValue("x", true) -> true: 0.1
  )");
}

TEST_F(FakeItemAnswers, AreNoBoundsOrStepWhereTheTestSetNone) {
  fake.SetItem("x", {.max = 1.0});
  double value = 0.0;
  EXPECT_FALSE(Api::GetItemMinValue("x", &value, true));
  EXPECT_FALSE(Api::GetItemStepValue("x", &value, true));
  EXPECT_FALSE(Api::GetItemMaxValue("unknown", &value, true));
  fake.Fail("CSettingsItemInfoAPI::GetItemMaxValue");
  EXPECT_FALSE(Api::GetItemMaxValue("x", &value, true));
  EXPECT_EQ(value, 0.0);
}

TEST_F(FakeItemAnswers, AreBoundsAndStepsWithAFalseResultWhereTheTestChoseIt) {
  fake.SetItem("x", {.min = 1.0, .max = 2.0, .step = 3.0, .minResult = false, .stepResult = false});
  double min = 0.0;
  double max = 0.0;
  double step = 0.0;
  EXPECT_FALSE(Api::GetItemMinValue("x", &min, true));
  EXPECT_TRUE(Api::GetItemMaxValue("x", &max, true));
  EXPECT_FALSE(Api::GetItemStepValue("x", &step, true));
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemMinValue("x", true) -> false: 1
    CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> true: 2
    CSettingsItemInfoAPI::GetItemStepValue("x", true) -> false: 3
  )");
  EXPECT_EQ(min, 1.0);
  EXPECT_EQ(step, 3.0);
}

TEST_F(FakeItemAnswers, AreOfTheWholeIdentifierWhereItComesAsAString) {
  const std::string withZero("x\0y", 3);
  fake.SetItem("x", {.path = "cut"});
  fake.SetItem(withZero, {.path = "whole"});
  std::string path;
  EXPECT_EQ(Api::GetSettingsItemPathByString(withZero, path), 0);
  EXPECT_EQ(path, "whole");
}

TEST_F(FakeItemAnswers, FailBeforeTheLibraryIsInitialised) {
  fake.Reset();
  fake.SetItem("x", {.valueEnabled = {{"on", 1}}, .dataList = "off,on", .min = 1.0});
  std::string path;
  char text[SETTINGS_ITEM_TEXT_SIZE] = {};
  double value = 0.0;
  EXPECT_EQ(Api::GetItemEnable("x", false), -1);
  EXPECT_EQ(Api::GetSubListItemEnable("x", "on"), -1);
  EXPECT_EQ(Api::GetSettingsItemPathByString("x", path), -1);
  EXPECT_EQ(Api::GetItemDisplayName("x", text), -1);
  EXPECT_EQ(Api::GetItemDataListByString("x"), "");
  EXPECT_FALSE(Api::GetItemMinValue("x", &value, true));
}

TEST_F(FakeItemAnswers, ComeWithAComplaintAboutOutputsThatAreNotEmpty) {
  std::string path = "old";
  char text[SETTINGS_ITEM_TEXT_SIZE] = {};
  text[SETTINGS_ITEM_TEXT_SIZE - 1] = 'x';
  double value = 1.0;
  Api::GetSettingsItemPathByString("x", path);
  Api::GetItemDisplayID("x", text);
  Api::GetItemStepValue("x", &value, true);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetSettingsItemPathByString("x") -> -1 !! output not empty
    CSettingsItemInfoAPI::GetItemDisplayID("x") -> -1 !! text buffer not zero-filled
    CSettingsItemInfoAPI::GetItemStepValue("x", true) -> false !! output not zero
  )");
}

TEST_F(FakeItemAnswers, ComeWithAComplaintOnEveryThreadButThatOfTheMainLoop) {
  std::thread([] { Api::GetItemVisible("x"); }).join();
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemVisible("x") -> -1 !! not on the main-loop thread
  )");
}

class FakeDisabledItems : public FakeItemAnswers {};

TEST_F(FakeDisabledItems, AreUnchangedEnabledByNobodyAndUnknownUnlessTheTestSaysOtherwise) {
  Texts requested = {"x"};
  Texts given;
  EXPECT_FALSE(Api::EnableItem("x", "app"));
  EXPECT_FALSE(Api::DisableItem("x", "app"));
  EXPECT_FALSE(Api::DisableItemsByList(requested, given, "app"));
  EXPECT_FALSE(Api::RemoveDisabledItemsByAppname(given, "app"));
  EXPECT_FALSE(Api::IsItemEnabled("x"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("x", given));
  EXPECT_FALSE(Api::GetDisabledItemsList(given));
  EXPECT_EQ(given, Texts());
}

TEST_F(FakeDisabledItems, ChangeAsTheTestChose) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"b", "a"}});
  Texts requested = {"a", "b", "c"};
  Texts disabled;
  Texts released;
  EXPECT_TRUE(Api::EnableItem("x", "app"));
  EXPECT_TRUE(Api::DisableItem("x", "app"));
  EXPECT_TRUE(Api::DisableItemsByList(requested, disabled, "app"));
  EXPECT_TRUE(Api::RemoveDisabledItemsByAppname(released, "app"));
  EXPECT_EQ(requested, (Texts{"a", "b", "c"}));
  EXPECT_EQ(disabled, (Texts{"b", "a"}));
  EXPECT_EQ(released, (Texts{"b", "a"}));
  ExpectTrace(R"(
    CSettingsItemInfoAPI::EnableItem("x", "app") -> true
    CSettingsItemInfoAPI::DisableItem("x", "app") -> true
    CSettingsItemInfoAPI::DisableItemsByList(["a", "b", "c"], "app") -> true: ["b", "a"]
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("app") -> true: ["b", "a"]
  )");
}

TEST_F(FakeDisabledItems, AreToldAsTheTestChose) {
  fake.SetDisabledItems(
      {.enabled = true, .answered = true, .disablers = {"app"}, .items = {"y", "x"}});
  Texts appNames;
  Texts items;
  EXPECT_TRUE(Api::IsItemEnabled("x"));
  EXPECT_TRUE(Api::GetDisablerAppNamesByMenuId("x", appNames));
  EXPECT_TRUE(Api::GetDisabledItemsList(items));
  EXPECT_EQ(appNames, Texts{"app"});
  EXPECT_EQ(items, (Texts{"y", "x"}));
  ExpectTrace(R"(
    CSettingsItemInfoAPI::IsItemEnabled("x") -> true
    CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId("x") -> true: ["app"]
    CSettingsItemInfoAPI::GetDisabledItemsList() -> true: ["y", "x"]
  )");
}

TEST_F(FakeDisabledItems, ComeInListsWithAFalseResultToo) {
  fake.SetDisabledItems({.changedItems = {"a"}, .disablers = {"app"}, .items = {"x"}});
  Texts requested;
  Texts disabled;
  Texts appNames;
  EXPECT_FALSE(Api::DisableItemsByList(requested, disabled, "app"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("x", appNames));
  EXPECT_EQ(disabled, Texts{"a"});
  EXPECT_EQ(appNames, Texts{"app"});
}

TEST_F(FakeDisabledItems, CannotBeChangedOrToldWhenACallFailsOrTheLibraryIsNotInitialised) {
  const auto nothingWorks = [] {
    Texts requested;
    Texts given;
    EXPECT_FALSE(Api::EnableItem("x", "app"));
    EXPECT_FALSE(Api::RemoveDisabledItemsByAppname(given, "app"));
    EXPECT_FALSE(Api::IsItemEnabled("x"));
    EXPECT_FALSE(Api::GetDisabledItemsList(given));
    EXPECT_EQ(given, Texts());
  };
  const fakes::DisabledItems answers = {.changed = true,
                                        .changedItems = {"a"},
                                        .enabled = true,
                                        .answered = true,
                                        .disablers = {"app"},
                                        .items = {"x"}};
  fake.SetDisabledItems(answers);
  fake.Fail("CSettingsItemInfoAPI::EnableItem");
  fake.Fail("CSettingsItemInfoAPI::RemoveDisabledItemsByAppname");
  fake.Fail("CSettingsItemInfoAPI::IsItemEnabled");
  fake.Fail("CSettingsItemInfoAPI::GetDisabledItemsList");
  nothingWorks();
  fake.Reset();
  fake.SetDisabledItems(answers);
  nothingWorks();
}

TEST_F(FakeDisabledItems, ComeWithAComplaintAboutOutputsThatAreNotEmpty) {
  Texts old = {"old"};
  Api::RemoveDisabledItemsByAppname(old, "app");
  Api::GetDisablerAppNamesByMenuId("x", old);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("app") -> false: [] !! output not empty
    CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId("x") -> false: [] !! output not empty
  )");
}

TEST_F(FakeDisabledItems, AreTakenOverFromTheirMirrorEvenBeforeTheLibraryIsInitialised) {
  fake.Reset();
  Api::UpdateDisabledItemList();
  ExpectTrace("CSettingsItemInfoAPI::UpdateDisabledItemList()");
  fake.Fail("CSettingsItemInfoAPI::UpdateDisabledItemList",
            {.exception = std::make_exception_ptr(std::runtime_error("broken"))});
  EXPECT_THROW(Api::UpdateDisabledItemList(), std::runtime_error);
}

}  // namespace
