#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "service_test.h"

namespace {

class Dispatch : public CreatedServiceTest {
 protected:
  // The calls of the library in the trace, with "|" between them; takes the whole trace.
  std::string TakeLibraryCalls() {
    constexpr std::string_view kLibrary = "CSettingsItemInfoAPI::";
    std::string calls;
    for (const std::string& line : fake.TakeTrace()) {
      if (line.starts_with(kLibrary)) {
        calls += (calls.empty() ? "" : "|") + line.substr(kLibrary.size());
      }
    }
    return calls;
  }

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

TEST_F(Dispatch, LogsATextResult) {
  fake.SetItem("brightness", {.value = "50"});
  Send(R"({"method": "GetItemValue", "data": {"menuID": "brightness"}})");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand GetItemValue |  Enter GetItemValue \n
    CSettingsItemInfoAPI::GetItemValue("brightness") -> 0: "50", "50"
    I SettingsServiceCommand GetItemValue | 0 [50]\n
    I SettingsService IfMessageReceived | ret_data = 50\n
  )");
}

TEST_F(Dispatch, LogsABoolResultAsItsText) {
  fake.SetItem("brightness", {.value = "50"});
  Send(R"({"method": "SetItemValue", "data": {"menuID": "brightness", "Value": "60"}})");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = brightness\n
    CSettingsItemInfoAPI::SetItemValue("brightness", "60", false) -> 0
    I SettingsService IfMessageReceived | ret_data = true\n
  )");
  Send(R"({"method": "SetItemValue", "data": {"menuID": "unknown", "Value": "60"}})");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = unknown\n
    CSettingsItemInfoAPI::SetItemValue("unknown", "60", false) -> -1
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_F(Dispatch, LogsNoEmptyResult) {
  fake.SetItem("brightness", {.value = ""});
  Send(R"({"method": "GetItemValue", "data": {"menuID": "brightness"}})");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand GetItemValue |  Enter GetItemValue \n
    CSettingsItemInfoAPI::GetItemValue("brightness") -> 0: "", ""
    I SettingsServiceCommand GetItemValue | 0 []\n
  )");
}

// The methods, with what the library is asked for "x" and "v" by "a" as they do, and the reply
// when nothing is known of any of them.
struct Method {
  const char* name;
  const char* calls;
  const char* reply;
  // The library takes the texts as strings, not as C strings.
  bool asStrings = false;
};

constexpr Method kMethods[] = {
    {"GetItemDisplayName", R"(GetItemDisplayName("x") -> -1)", kFailureWithText},
    {"GetItemDisplayID", R"(GetItemDisplayID("x") -> -1)", kFailureWithText},
    {"GetItemEnable", R"(GetItemEnable("x", false) -> -1)", kFailureWithBool},
    {"GetItemVisible", R"(GetItemVisible("x") -> -1)", kFailureWithBool},
    {"GetItemVisibleAsync", R"(GetItemVisible("x") -> -1)", kNoResult},
    {"GetItemPathEnable", R"(GetItemPathEnable("x") -> -1)", kFailureWithBool},
    {"GetItemPathEnableAsync", R"(GetItemPathEnable("x") -> -1)", kNoResult},
    {"GetItemPathVisible", R"(GetItemPathVisible("x") -> -1)", kFailureWithBool},
    {"GetItemValueName", R"(GetItemValue("x") -> -1)", kFailureWithText},
    {"GetItemValue", R"(GetItemValue("x") -> -1)", kFailureWithText},
    {"SetItemValue", R"(SetItemValue("x", "v", false) -> -1)", kFailureWithBool},
    {"GetItemChildList", R"(GetSubItemsListByString("x") -> "")", kFailureWithText},
    {"GetItemDataList", R"(GetItemDataListByString("x") -> "")", kFailureWithText},
    {"GetItemDataEnable", R"(GetSubListItemEnable("x", "v") -> -1)", kFailureWithBool},
    {"GetItemDataVisible", R"(GetSubListItemVisible("x", "v") -> -1)", kFailureWithBool},
    {"GetItemPath", R"(GetSettingsItemPathByString("x") -> -1)", kFailureWithText, true},
    {"GetItemMinMaxStepValue",
     R"(GetItemMinValue("x", true) -> false|GetItemMaxValue("x", true) -> false|GetItemStepValue("x", true) -> false)",
     R"({"call_api_success":false,"connect_server":true,"return_data":"","return_max":0,"return_min":0,"return_step":0})"},
    {"DisableItem", R"(DisableItem("x", "a") -> false)", kNoResult, true},
    {"EnableItem", R"(EnableItem("x", "a") -> false)", kNoResult, true},
    {"RemoveDisabledItemsByAppname", R"(RemoveDisabledItemsByAppname("a") -> false: [])", kNoResult,
     true},
    {"DisableItemsByList", R"(DisableItemsByList(["x"], "a") -> false: [])", kNoResult, true},
    {"IsItemEnabled", R"(IsItemEnabled("x") -> false)",
     R"({"call_api_success":true,"connect_server":true,"return_data":false})", true},
    {"GetDisablerAppNamesByMenuId", R"(GetDisablerAppNamesByMenuId("x") -> false: [])",
     kFailureWithText, true},
    {"GetDisabledItemsList", "GetDisabledItemsList() -> false: []", kFailureWithText},
};

TEST_F(Dispatch, SendsEachMethodToItsHandler) {
  std::set<std::string> names;
  for (const Method& method : kMethods) {
    SCOPED_TRACE(method.name);
    EXPECT_TRUE(names.insert(method.name).second);
    EXPECT_EQ(Send(Request(method.name,
                           R"({"Value":"v","appName":"a","menuID":"x","menuIDList":["x"]})")),
              method.reply);
    EXPECT_EQ(TakeLibraryCalls(), method.calls);
  }
  EXPECT_EQ(names.size(), 24u);
}

TEST_F(Dispatch, LosesWhatFollowsAZeroInATextOnlyWhereTheLibraryTakesACString) {
  for (const Method& method : kMethods) {
    SCOPED_TRACE(method.name);
    Send(Request(
        method.name,
        R"({"Value":"v\u0000z","appName":"a\u0000z","menuID":"x\u0000z","menuIDList":["x\u0000z"]})"));
    std::string calls = method.calls;
    for (const char* text : {R"("x")", R"("a")"}) {
      if (const auto at = calls.find(text); method.asStrings && at != std::string::npos) {
        calls.insert(at + 2, R"(\x00z)");
      }
    }
    EXPECT_EQ(TakeLibraryCalls(), calls);
  }
}

TEST_F(Dispatch, TellsMethodsApartThatBeginAlike) {
  fake.SetItem("x", {.value = "1", .valueNames = {{"1", "One"}}, .visible = 0, .pathEnabled = 0});
  const auto reply = [&](const char* method) { return Send(Request(method, R"({"menuID":"x"})")); };
  EXPECT_EQ(reply("GetItemVisible"), SuccessWith(false));
  EXPECT_EQ(reply("GetItemVisibleAsync"), kNoResult);
  EXPECT_EQ(reply("GetItemPathEnable"), SuccessWith(false));
  EXPECT_EQ(reply("GetItemPathEnableAsync"), kNoResult);
  EXPECT_EQ(reply("GetItemValue"), SuccessWith("1"));
  EXPECT_EQ(reply("GetItemValueName"), SuccessWith("One"));
  EXPECT_EQ(fake.TakeSignals().size(), 2u);
}

TEST_F(Dispatch, GivesTheReplyToTheHandlersThatFillItOnly) {
  for (const Method& method : kMethods) {
    SCOPED_TRACE(method.name);
    Nuvra::TCMessage reply;
    reply.body["mark"] = true;
    Send(Request(method.name, "{}"), reply);
    // The range is added to the reply; every other handler replaces it or leaves it alone.
    const bool keeps = method.reply == std::string(kNoResult) ||
                       method.name == std::string("GetItemMinMaxStepValue");
    EXPECT_EQ(reply.body.isMember("mark"), keeps);
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

TEST_F(Dispatch, ServesOneRequestAfterTheOther) {
  fake.SetItem("brightness", {.value = "50"});
  for (int value = 0; value < 3; ++value) {
    EXPECT_EQ(Send(R"({"method":"SetItemValue","data":{"menuID":"brightness","Value":)" +
                   std::to_string(value) + "}}"),
              R"({"call_api_success":true,"connect_server":true,"return_data":true})");
    EXPECT_EQ(Send(R"({"method": "GetItemValue", "data": {"menuID": "brightness"}})"),
              R"({"call_api_success":true,"connect_server":true,"return_data":")" +
                  std::to_string(value) + "\"}");
  }
}

}  // namespace
