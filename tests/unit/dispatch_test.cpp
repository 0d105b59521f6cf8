#include <string>

#include "service_test.h"

namespace {

class Dispatch : public CreatedServiceTest {
 protected:
  // Expects the answer to a request that matches no method.
  void ExpectNoMatch(const std::string& request) {
    SCOPED_TRACE(request);
    EXPECT_EQ(Send(request), R"({"return_data":""})");
    ExpectTrace(R"(
      {request}
      E SettingsService IfMessageReceived | There is no matched method\n
    )");
  }
};

TEST_F(Dispatch, LogsSenderReplyAddressAndTextOfARequest) {
  EXPECT_EQ(Send(R"({"method": "NoSuchMethod", "data": {"menuID": "brightness"}})"),
            R"({"return_data":""})");
  ExpectTrace(R"(
    I SettingsService IfMessageReceived | IfMessageReceived!! message: [from:org.example.menu] [rsp:{reply}] [message:{"data":{"menuID":"brightness"},"method":"NoSuchMethod"}]\n
    E SettingsService IfMessageReceived | There is no matched method\n
  )");
}

TEST_F(Dispatch, AnswersAnUnknownMethodWithAnEmptyResult) {
  ExpectNoMatch(R"({"method": "NoSuchMethod"})");
}

TEST_F(Dispatch, AnswersAMissingMethodWithAnEmptyResult) {
  ExpectNoMatch(R"({})");
  ExpectNoMatch(R"({"data": {"menuID": "brightness"}})");
  ExpectNoMatch(R"({"Method": "GetItemValue"})");
}

TEST_F(Dispatch, AnswersAnEmptyMethodWithAnEmptyResult) { ExpectNoMatch(R"({"method": ""})"); }

TEST_F(Dispatch, TakesAMethodThatIsANumberABoolOrNullForItsText) {
  ExpectNoMatch(R"({"method": 17})");
  ExpectNoMatch(R"({"method": 1.5})");
  ExpectNoMatch(R"({"method": true})");
  ExpectNoMatch(R"({"method": null})");
}

TEST_F(Dispatch, ComparesTheWholeMethodAndItsCase) {
  fake.SetItem("brightness", {.value = "50"});
  for (const char* method :
       {"getItemValue", "GETITEMVALUE", "GetItemValue ", " GetItemValue", "GetItemValu",
        "GetItemValues", "GetItemValueNames", "setItemValue", "SetItemValu"}) {
    ExpectNoMatch(R"({"data":{"menuID":"brightness"},"method":")" + std::string(method) + "\"}");
  }
}

TEST_F(Dispatch, LetsTheExceptionOfAMethodWithoutTextLeaveBeforeAnythingElseHappens) {
  for (const char* request : {R"({"method": {"name": "GetItemValue"}})", R"({"method": {}})",
                              R"({"method": ["GetItemValue"]})", R"({"method": []})"}) {
    SCOPED_TRACE(request);
    Nuvra::TCMessage reply;
    EXPECT_THROW(Send(request, reply), Json::LogicError);
    EXPECT_EQ(Text(reply.body), R"({"return_data":""})");
    ExpectTrace("{request}");
  }
}

TEST_F(Dispatch, FollowsADisablingRequestByTheWatchThoughTheLibraryRefusedIt) {
  fake.SetKey("memory/menu/disabled_items", "y by another");
  EXPECT_EQ(Send(Request("DisableItem", R"({"appName":"a","menuID":"x"})")), kNoResult);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand DisableItem | Disabled x from a\n
    CSettingsItemInfoAPI::DisableItem("x", "a") -> false
    vconf_get_str("memory/menu/disabled_items") -> "y by another"
    I SettingsService m_FlagDisableItemEmpty | Disable[y by another]\n
    app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
    I SettingsService m_RegisterAppTerminateCB | Finish\n
  )");
}

TEST_F(Dispatch, ReplacesWhatTheReplyHeldBefore) {
  Nuvra::TCMessage reply;
  reply.body["return_data"] = "old";
  Send(R"({"method": "NoSuchMethod"})", reply);
  EXPECT_EQ(Text(reply.body), R"({"return_data":""})");
}

}  // namespace
