#include <gmock/gmock.h>

#include "system_test.h"

namespace {

using testing::HasSubstr;

class Values : public SystemTest {};

TEST_F(Values, ARequestPrintsExactlyTheReplyBody) {
  EXPECT_EQ(Request(R"({"method":"GetItemValue","data":{"menuID":"picturemode"}})"),
            R"({"call_api_success":true,"connect_server":true,"return_data":"standard"})"
            "\n");
}

TEST_F(Values, AStoredValueIsReadBack) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "17"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "brightness"}).out, "17\n");
}

TEST_F(Values, AFailedStringReplyIsEmptyAndAFailedBoolReplyIsFalse) {
  EXPECT_EQ(Request(R"({"method":"GetItemValue","data":{"menuID":"nosuchitem"}})"),
            R"({"call_api_success":false,"connect_server":true,"return_data":""})"
            "\n");
  EXPECT_EQ(Request(R"({"method":"SetItemValue","data":{"menuID":"nosuchitem","Value":"1"}})"),
            R"({"call_api_success":false,"connect_server":true,"return_data":false})"
            "\n");
}

TEST_F(Values, AnIllTypedMemberIsAnsweredByAnErrorReply) {
  EXPECT_EQ(Request(R"({"method":"GetItemValue","data":"picturemode"})"),
            R"({"call_api_success":false,"connect_server":false,"return_data":""})"
            "\n");
  EXPECT_EQ(Request(R"({"method":"SetItemValue",)"
                    R"("data":{"menuID":"gamemode","Value":"on","PreViewFlag":"yes"}})"),
            R"({"call_api_success":false,"connect_server":false,"return_data":false})"
            "\n");
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "gamemode"}).out, "off (Off)\n");
}

TEST_F(Values, AValueOutsideListOrRangeIsRefusedAndStoresNothing) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "picturemode", "sepia"}).status, 1);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "picturemode"}).out, "standard (Standard)\n");
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "51"}).status, 1);
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/brightness"}).status, 10);
}

TEST_F(Values, AnUnknownMethodIsAnsweredByTheEmptyResultAlone) {
  EXPECT_EQ(Request(R"({"method":"NoSuchMethod"})"), "{\"return_data\":\"\"}\n");
  EXPECT_EQ(Request(R"({"method":"getitemvalue"})"), "{\"return_data\":\"\"}\n");
  EXPECT_EQ(Request("{}"), "{\"return_data\":\"\"}\n");
  EXPECT_TRUE(m_Set.WaitForLog("There is no matched method"));
}

TEST_F(Values, AKeyThatAnotherProgramWroteIsTheItemsValue) {
  EXPECT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/auto_power_off", "6"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "autopoweroff"}).out, "6 (6 hours)\n");
}

TEST_F(Values, TheSpeakerIsDetectedAfreshForEachQuestionAboutTheSoundOutput) {
  const std::string before = m_Set.Run({"settingsctl", "get", "soundoutput"}).out;
  ASSERT_EQ(m_Set.Run({"setctl", "key", "set", "memory/set/speaker", "bluetooth"}).status, 0);
  const std::string after = m_Set.Run({"settingsctl", "get", "soundoutput"}).out;
  EXPECT_NE(before, after);
  EXPECT_THAT(after, HasSubstr("bluetooth"));
}

TEST_F(Values, AStoredValueSurvivesAKillRightAfterTheReply) {
  for (int round = 0; round < 20; ++round) {
    const std::string value = std::to_string(round % 50 + 1);
    ASSERT_EQ(m_Set.Run({"settingsctl", "set", "brightness", value}).status, 0);
    m_Set.KillDaemon();
    m_Set.StartDaemon();
    ASSERT_EQ(m_Set.Run({"settingsctl", "get", "brightness"}).out, value + "\n");
  }
}

}  // namespace
