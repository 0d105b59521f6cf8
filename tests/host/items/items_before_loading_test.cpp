#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "menu_audio_util.h"
#include "platform_double.h"
#include "settings_item_info_api.h"

// A program of its own: nothing in it ever loads the items.

namespace {

using Api = CSettingsItemInfoAPI;

TEST(ItemsBeforeLoading, EveryQueryFailsAndLeavesItsOutputs) {
  char name[SETTINGS_ITEM_TEXT_SIZE] = "name";
  char text[SETTINGS_ITEM_TEXT_SIZE] = "text";
  EXPECT_EQ(Api::GetItemValue("picturemode", name, text), -1);
  EXPECT_EQ(Api::GetItemDisplayID("picturemode", text), -1);
  EXPECT_EQ(Api::GetItemDisplayName("picturemode", name), -1);
  EXPECT_STREQ(name, "name");
  EXPECT_STREQ(text, "text");

  std::string path = "path";
  EXPECT_EQ(Api::GetSettingsItemPathByString("picturemode", path), -1);
  EXPECT_EQ(path, "path");

  double number = 7;
  EXPECT_FALSE(Api::GetItemMinValue("brightness", &number, true));
  EXPECT_FALSE(Api::GetItemMaxValue("brightness", &number, true));
  EXPECT_FALSE(Api::GetItemStepValue("brightness", &number, true));
  EXPECT_EQ(number, 7);

  EXPECT_EQ(Api::SetItemValue("picturemode", "standard", false), -1);
  EXPECT_EQ(Api::GetItemDataListByString("picturemode"), "");
  EXPECT_EQ(Api::GetSubItemsListByString("picture"), "");
}

TEST(ItemsBeforeLoading, NoStateIsKnown) {
  EXPECT_EQ(Api::GetItemVisible("picturemode"), -1);
  EXPECT_EQ(Api::GetItemEnable("picturemode", false), -1);
  EXPECT_EQ(Api::GetItemEnable("picturemode", true), -1);
  EXPECT_EQ(Api::GetItemPathVisible("picturemode"), -1);
  EXPECT_EQ(Api::GetItemPathEnable("picturemode"), -1);
  EXPECT_EQ(Api::GetSubListItemVisible("picturemode", "standard"), -1);
  EXPECT_EQ(Api::GetSubListItemEnable("picturemode", "standard"), -1);
}

TEST(ItemsBeforeLoading, TheRecordOfDisabledItemsCanBeTakenOverButNotUsed) {
  constexpr char kMirror[] = R"({"id":"picturemode","apps":["org.example.app"]})";
  PlatformDouble::Get().SetKey("memory/menu/disabled_items", kMirror);
  Api::UpdateDisabledItemList();

  std::vector<std::string> requested = {"picturemode", "brightness"};
  std::vector<std::string> texts;
  EXPECT_FALSE(Api::DisableItem("picturemode", "org.example.app"));
  EXPECT_FALSE(Api::DisableItemsByList(requested, texts, "org.example.app"));
  EXPECT_FALSE(Api::EnableItem("picturemode", "org.example.app"));
  EXPECT_FALSE(Api::RemoveDisabledItemsByAppname(texts, "org.example.app"));
  EXPECT_FALSE(Api::IsItemEnabled("brightness"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("picturemode", texts));
  EXPECT_FALSE(Api::GetDisabledItemsList(texts));
  EXPECT_TRUE(texts.empty());
  EXPECT_EQ(PlatformDouble::Get().Writes(), 0);
  EXPECT_TRUE(PlatformDouble::Get().Log().empty());
}

TEST(ItemsBeforeLoading, TheSpeakerTypeCanBeReadAlready) {
  CMenuAudioUtil::FreshSpeakerType();
  char text[SETTINGS_ITEM_TEXT_SIZE] = "text";
  EXPECT_EQ(Api::GetItemValue("soundoutput", text, text), -1);
}

}  // namespace
