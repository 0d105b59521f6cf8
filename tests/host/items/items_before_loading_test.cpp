#include <gtest/gtest.h>

#include <string>

#include "menu_audio_util.h"
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

TEST(ItemsBeforeLoading, TheSpeakerTypeCanBeReadAlready) {
  CMenuAudioUtil::FreshSpeakerType();
  char text[SETTINGS_ITEM_TEXT_SIZE] = "text";
  EXPECT_EQ(Api::GetItemValue("soundoutput", text, text), -1);
}

}  // namespace
