#include <gmock/gmock.h>

#include "items_test.h"
#include "menu_audio_util.h"

namespace {

using testing::Optional;

constexpr char kItems[] = R"(
  {"id": "soundoutput", "kind": "list", "name": "Sound Output",
   "displayId": "MENU_SOUND_OUTPUT", "default": "tvspeaker", "follows": "speaker",
   "options": [{"value": "tvspeaker", "name": "TV Speaker"},
               {"value": "receiver", "name": "Receiver"},
               {"value": "bluetooth", "name": "Bluetooth Speaker"}]},
  {"id": "testtone", "kind": "list", "name": "Test Tone", "displayId": "MENU_TEST_TONE",
   "default": "tvspeaker",
   "options": [{"value": "tvspeaker", "name": "TV Speaker"},
               {"value": "bluetooth", "name": "Bluetooth Speaker"}]})";

class ActiveSpeaker : public ItemsTest {
 protected:
  ActiveSpeaker() { LoadItems(kItems); }

  void SetSpeaker(const std::string& type) { m_Platform.SetKey("memory/set/speaker", type); }

  void SetSpeakerAndRefresh(const std::string& type) {
    SetSpeaker(type);
    CMenuAudioUtil::FreshSpeakerType();
  }
};

TEST_F(ActiveSpeaker, TheItemThatFollowsTheSpeakerAnswersItsType) {
  SetSpeakerAndRefresh("bluetooth");
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("bluetooth")));
  EXPECT_THAT(ValueName("soundoutput"), Optional(std::string("Bluetooth Speaker")));
}

TEST_F(ActiveSpeaker, OtherItemsDoNotFollowIt) {
  SetSpeakerAndRefresh("bluetooth");
  EXPECT_THAT(Value("testtone"), Optional(std::string("tvspeaker")));
}

TEST_F(ActiveSpeaker, AnotherSpeakerIsSeenOnlyAfterTheTypeWasReadAgain) {
  SetSpeakerAndRefresh("bluetooth");
  SetSpeaker("receiver");
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("bluetooth")));
  CMenuAudioUtil::FreshSpeakerType();
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

TEST_F(ActiveSpeaker, LoadingTheItemsReadsTheType) {
  SetSpeaker("receiver");
  CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

TEST_F(ActiveSpeaker, WithoutASpeakerTheStoredValueIsAnswered) {
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("tvspeaker")));
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("soundoutput", "receiver", false), 0);
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

TEST_F(ActiveSpeaker, AnEmptyTypeMeansThatThereIsNone) {
  SetSpeakerAndRefresh("bluetooth");
  SetSpeakerAndRefresh("");
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("tvspeaker")));
}

TEST_F(ActiveSpeaker, AMissingTypeMeansThatThereIsNone) {
  SetSpeakerAndRefresh("bluetooth");
  m_Platform.RemoveKey("memory/set/speaker");
  CMenuAudioUtil::FreshSpeakerType();
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("tvspeaker")));
}

TEST_F(ActiveSpeaker, ATypeThatCannotBeReadLeavesTheOneThatWasKnown) {
  SetSpeakerAndRefresh("bluetooth");
  m_Platform.SetKey("memory/set/speaker", 3);
  CMenuAudioUtil::FreshSpeakerType();
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("bluetooth")));
}

TEST_F(ActiveSpeaker, ATypeThatIsNotInTheListIsPassedOver) {
  CSettingsItemInfoAPI::SetItemValue("soundoutput", "receiver", false);
  SetSpeakerAndRefresh("headphones");
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

TEST_F(ActiveSpeaker, SettingTheItemStoresTheValueAndDoesNotChangeTheSpeaker) {
  SetSpeakerAndRefresh("bluetooth");
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("soundoutput", "receiver", false), 0);
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("bluetooth")));
  SetSpeakerAndRefresh("");
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

TEST_F(ActiveSpeaker, APreviewGoesBeforeTheSpeaker) {
  SetSpeakerAndRefresh("bluetooth");
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("soundoutput", "receiver", true), 0);
  EXPECT_THAT(Value("soundoutput"), Optional(std::string("receiver")));
}

}  // namespace
