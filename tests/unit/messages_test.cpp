#include <climits>
#include <string>
#include <vector>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

using Command = SettingsServiceCommand;

TEST(FillMessage, CarriesTheTextOfASuccess) {
  const auto message = Command::m_FillMessage(0, -1, "text", true, SETTINGS_MESSAGE_TYPE_STRING);
  EXPECT_EQ(Text(message.body),
            R"({"call_api_success":true,"connect_server":true,"return_data":"text"})");
  EXPECT_EQ(message.type, 0);
}

TEST(FillMessage, CarriesAnEmptyTextForAFailure) {
  for (const bool flag : {false, true}) {
    const auto message = Command::m_FillMessage(-1, -1, "text", flag, SETTINGS_MESSAGE_TYPE_STRING);
    EXPECT_EQ(Text(message.body),
              R"({"call_api_success":false,"connect_server":true,"return_data":""})");
  }
}

TEST(FillMessage, CarriesTheFlagOfASuccess) {
  EXPECT_EQ(Text(Command::m_FillMessage(0, -1, "text", true, SETTINGS_MESSAGE_TYPE_BOOL).body),
            R"({"call_api_success":true,"connect_server":true,"return_data":true})");
  EXPECT_EQ(Text(Command::m_FillMessage(0, -1, "text", false, SETTINGS_MESSAGE_TYPE_BOOL).body),
            R"({"call_api_success":true,"connect_server":true,"return_data":false})");
}

TEST(FillMessage, CarriesFalseForAFailure) {
  for (const bool flag : {false, true}) {
    const auto message = Command::m_FillMessage(-1, -1, "text", flag, SETTINGS_MESSAGE_TYPE_BOOL);
    EXPECT_EQ(Text(message.body),
              R"({"call_api_success":false,"connect_server":true,"return_data":false})");
  }
}

TEST(FillMessage, TakesOnlyTheGivenValueForAFailure) {
  for (const int result : {INT_MIN, -3, -2, 0, 1, INT_MAX}) {
    SCOPED_TRACE(result);
    EXPECT_EQ(
        Text(Command::m_FillMessage(result, -1, "text", false, SETTINGS_MESSAGE_TYPE_STRING).body),
        R"({"call_api_success":true,"connect_server":true,"return_data":"text"})");
    EXPECT_EQ(Text(Command::m_FillMessage(result, -1, "", true, SETTINGS_MESSAGE_TYPE_BOOL).body),
              R"({"call_api_success":true,"connect_server":true,"return_data":true})");
  }
}

TEST(FillMessage, LetsTheCallerNameTheValueThatMeansFailure) {
  EXPECT_EQ(Text(Command::m_FillMessage(0, 0, "text", true, SETTINGS_MESSAGE_TYPE_STRING).body),
            R"({"call_api_success":false,"connect_server":true,"return_data":""})");
  EXPECT_EQ(Text(Command::m_FillMessage(-1, 0, "text", true, SETTINGS_MESSAGE_TYPE_STRING).body),
            R"({"call_api_success":true,"connect_server":true,"return_data":"text"})");
  EXPECT_EQ(Text(Command::m_FillMessage(0, 0, "text", true, SETTINGS_MESSAGE_TYPE_BOOL).body),
            R"({"call_api_success":false,"connect_server":true,"return_data":false})");
  EXPECT_EQ(Text(Command::m_FillMessage(-1, 0, "text", true, SETTINGS_MESSAGE_TYPE_BOOL).body),
            R"({"call_api_success":true,"connect_server":true,"return_data":true})");
}

TEST(FillMessage, IsEmptyForEveryOtherType) {
  // Beyond the names of the type, but of its range.
  for (const int type : {2, 3}) {
    for (const int result : {0, -1}) {
      const auto message = Command::m_FillMessage(result, -1, "text", true,
                                                  static_cast<settings_message_type_e>(type));
      EXPECT_EQ(Text(message.body), "{}");
    }
  }
}

std::string MenuID(const std::string& request) {
  Nuvra::TCMessage message;
  message.body = Parsed(request);
  return Command::m_GetMenuID(message);
}

TEST(GetMenuID, GivesTheIdentifierOfTheRequest) {
  EXPECT_EQ(MenuID(R"({"method": "x", "data": {"menuID": "brightness"}})"), "brightness");
}

TEST(GetMenuID, GivesNothingForAMissingOne) {
  EXPECT_EQ(MenuID(R"({})"), "");
  EXPECT_EQ(MenuID(R"({"data": null})"), "");
  EXPECT_EQ(MenuID(R"({"data": {}})"), "");
  EXPECT_EQ(MenuID(R"({"data": {"menuID": null}})"), "");
  EXPECT_EQ(MenuID(R"({"menuID": "brightness"})"), "");
  EXPECT_EQ(MenuID(R"({"data": {"menuid": "brightness"}})"), "");
}

TEST(GetMenuID, GivesANumberOrABoolAsItsText) {
  EXPECT_EQ(MenuID(R"({"data": {"menuID": 17}})"), "17");
  EXPECT_EQ(MenuID(R"({"data": {"menuID": true}})"), "true");
}

TEST(GetMenuID, ThrowsWhenTheIdentifierHasNoText) {
  EXPECT_THROW(MenuID(R"({"data": {"menuID": {}}})"), Json::Exception);
  EXPECT_THROW(MenuID(R"({"data": {"menuID": ["brightness"]}})"), Json::Exception);
}

TEST(GetMenuID, ThrowsWhenTheDataIsNoObject) {
  EXPECT_THROW(MenuID(R"({"data": "brightness"})"), Json::Exception);
  EXPECT_THROW(MenuID(R"({"data": 17})"), Json::Exception);
  EXPECT_THROW(MenuID(R"({"data": ["menuID"]})"), Json::Exception);
}

class AsyncResultSignal : public fakes::FakePlatformTest {};

TEST_F(AsyncResultSignal, CarriesTheAnswerAndWhatTheClientSupplied) {
  Command::m_AsyncAPISendSignal(1234, 7, SETTINGS_API_CB_ITEM_VISIBLE, "brightness", true);
  Command::m_AsyncAPISendSignal(-1, INT_MAX, SETTINGS_API_CB_ITEM_PATH_ENABLE, "", false);
  ExpectTrace(R"(
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", 1, {"callback":7,"menuID":"brightness","pid":1234,"return_data":true}) -> true
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", 2, {"callback":2147483647,"menuID":"","pid":-1,"return_data":false}) -> true
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
  )");
}

TEST_F(AsyncResultSignal, HasMembersOfTheRightTypes) {
  Command::m_AsyncAPISendSignal(1234, 7, SETTINGS_API_CB_ITEM_VISIBLE, "brightness", true);
  const auto signals = fake.TakeSignals();
  ASSERT_EQ(signals.size(), 1u);
  const Json::Value& body = signals[0].body;
  EXPECT_TRUE(body["menuID"].isString());
  EXPECT_TRUE(body["return_data"].isBool());
  EXPECT_TRUE(body["callback"].isInt());
  EXPECT_TRUE(body["pid"].isInt());
}

TEST_F(AsyncResultSignal, IsLoggedToItsEndWhenItCannotBeSent) {
  fake.Fail("SendSignal");
  Command::m_AsyncAPISendSignal(1, 2, SETTINGS_API_CB_ITEM_VISIBLE, "x", false);
  ExpectTrace(R"(
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", 1, {"callback":2,"menuID":"x","pid":1,"return_data":false}) -> false
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
  )");
}

class BlockedMenuSignal : public fakes::FakePlatformTest {
 protected:
  static void SendList(blocked_menu_status_e status, std::vector<std::string> menuIDs) {
    Command::m_BlockedMenuStateSendSignal(status, menuIDs);
  }

  // Expects one signal with this body and result.
  void ExpectSignal(const std::string& body, const std::string& result = "true",
                    fakes::Place where = fakes::Place::Current()) {
    Let("body", body);
    Let("result", result);
    ExpectTrace(R"(
      I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
      SendSignal("settings_service", "settings_service_signal", 3, {body}) -> {result}
      I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n
    )",
                where);
  }
};

TEST_F(BlockedMenuSignal, CarriesOneItemAsAList) {
  Command::m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_DISABLED, std::string("brightness"));
  ExpectSignal(R"({"menuIDList":["brightness"],"status":0})");
  Command::m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_ENABLED, std::string("brightness"));
  ExpectSignal(R"({"menuIDList":["brightness"],"status":1})");
}

TEST_F(BlockedMenuSignal, CarriesAnItemWithoutANameToo) {
  Command::m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_ENABLED, std::string());
  ExpectSignal(R"({"menuIDList":[""],"status":1})");
}

TEST_F(BlockedMenuSignal, CarriesAListInItsOrder) {
  SendList(BLOCKED_MENU_STATUS_DISABLED, {"b", "c", "a"});
  ExpectSignal(R"({"menuIDList":["b","c","a"],"status":0})");
  SendList(BLOCKED_MENU_STATUS_ENABLED, {"x"});
  ExpectSignal(R"({"menuIDList":["x"],"status":1})");
}

TEST_F(BlockedMenuSignal, CarriesAnEmptyListAsAnEmptyArray) {
  SendList(BLOCKED_MENU_STATUS_ENABLED, {});
  ExpectSignal(R"({"menuIDList":[],"status":1})");
}

TEST_F(BlockedMenuSignal, HasMembersOfTheRightTypes) {
  SendList(BLOCKED_MENU_STATUS_ENABLED, {"x"});
  const auto signals = fake.TakeSignals();
  ASSERT_EQ(signals.size(), 1u);
  EXPECT_TRUE(signals[0].body["status"].isInt());
  EXPECT_TRUE(signals[0].body["menuIDList"].isArray());
  EXPECT_TRUE(signals[0].body["menuIDList"][0].isString());
}

TEST_F(BlockedMenuSignal, IsLoggedToItsEndWhenItCannotBeSent) {
  fake.Fail("SendSignal");
  Command::m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_ENABLED, std::string("x"));
  ExpectSignal(R"({"menuIDList":["x"],"status":1})", "false");
  SendList(BLOCKED_MENU_STATUS_DISABLED, {"x", "y"});
  ExpectSignal(R"({"menuIDList":["x","y"],"status":0})", "false");
}

}  // namespace
