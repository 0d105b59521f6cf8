#include <stdexcept>
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

TEST_F(Dispatch, SendsEachMethodToItsHandler) {
  fake.SetItem("mode", {.value = "1", .valueNames = {{"1", "Standard"}}});
  EXPECT_EQ(Send(R"({"method": "GetItemValueName", "data": {"menuID": "mode"}})"),
            R"({"call_api_success":true,"connect_server":true,"return_data":"Standard"})");
  EXPECT_EQ(Send(R"({"method": "GetItemValue", "data": {"menuID": "mode"}})"),
            R"({"call_api_success":true,"connect_server":true,"return_data":"1"})");
  EXPECT_EQ(Send(R"({"method": "SetItemValue", "data": {"menuID": "mode", "Value": "2"}})"),
            R"({"call_api_success":true,"connect_server":true,"return_data":true})");
  EXPECT_EQ(fake.ItemState("mode")->value, "2");
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
