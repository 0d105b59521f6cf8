#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

using Texts = std::vector<std::string>;

class IsItemEnabled : public CreatedServiceTest {
 protected:
  std::string Ask(const std::string& data) { return Send(Request("IsItemEnabled", data)); }

  void ExpectAsked(const std::string& menuID, const std::string& answer,
                   fakes::Place where = fakes::Place::Current()) {
    ExpectTrace(R"(
      {request}
      CSettingsItemInfoAPI::IsItemEnabled(")" +
                    menuID + "\") -> " + answer + R"(
      I SettingsService IfMessageReceived | ret_data = )" +
                    answer + R"(\n
    )",
                where);
  }

  void ExpectIllTyped(const std::string& exception, fakes::Place where = fakes::Place::Current()) {
    Let("exception", exception);
    ExpectTrace(R"(
      {request}
      E SettingsServiceCommand IsItemEnabled | Exception occured! [{exception}]\n
      I SettingsService IfMessageReceived | ret_data = false\n
    )",
                where);
  }
};

TEST_F(IsItemEnabled, IsWhatTheLibrarySays) {
  fake.SetItem("x", {});
  for (const bool enabled : {false, true}) {
    fake.SetDisabledItems({.enabled = enabled});
    EXPECT_EQ(Ask(R"({"menuID":"x"})"), SuccessWith(enabled));
    ExpectAsked("x", enabled ? "true" : "false");
  }
}

TEST_F(IsItemEnabled, IsASuccessForAnUnknownItemToo) {
  fake.Fail("CSettingsItemInfoAPI::IsItemEnabled");
  EXPECT_EQ(Ask(R"({"menuID":"unknown"})"), SuccessWith(false));
  ExpectAsked("unknown", "false");
}

TEST_F(IsItemEnabled, IsTrueForAnUnknownItemWhenTheLibrarySaysSo) {
  fake.SetItem("x", {});
  fake.SetDisabledItems({.enabled = true});
  EXPECT_EQ(Ask(R"({"menuID":"unknown"})"), SuccessWith(true));
  ExpectAsked("unknown", "true");
}

TEST_F(IsItemEnabled, IsAskedOfTheItemWithoutANameWhenTheRequestNamesNone) {
  fake.SetDisabledItems({.enabled = true});
  for (const char* data : {"null", "{}", R"({"menuID":null})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), SuccessWith(true));
    ExpectAsked("", "true");
  }
  EXPECT_EQ(Send(R"({"method":"IsItemEnabled"})"), SuccessWith(true));
  ExpectAsked("", "true");
}

TEST_F(IsItemEnabled, IsAskedOfTheTextOfANumber) {
  EXPECT_EQ(Ask(R"({"menuID":17})"), SuccessWith(false));
  ExpectAsked("17", "false");
}

TEST_F(IsItemEnabled, IsRefusedForDataThatIsNoObject) {
  for (const char* data : {R"("x")", "17", "true", R"(["menuID"])"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), kIllTypedWithBool);
    ExpectIllTyped("in Json::Value::resolveReference(key, end): requires objectValue");
  }
}

TEST_F(IsItemEnabled, IsRefusedForAnIdentifierWithoutText) {
  for (const char* data : {R"({"menuID":{}})", R"({"menuID":["x"]})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), kIllTypedWithBool);
    ExpectIllTyped("Type is not convertible to string");
  }
}

TEST_F(IsItemEnabled, IsAnErrorAfterAJsonExceptionOfTheLibrary) {
  fake.Fail("CSettingsItemInfoAPI::IsItemEnabled", {.exception = JsonException()});
  EXPECT_EQ(Ask(R"({"menuID":"x"})"), kIllTypedWithBool);
  ExpectTrace(R"(
    {request}
    CSettingsItemInfoAPI::IsItemEnabled("x") throws
    E SettingsServiceCommand IsItemEnabled | Exception occured! [broken]\n
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_F(IsItemEnabled, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::IsItemEnabled", {.exception = OtherException()});
  EXPECT_THROW(Ask(R"({"menuID":"x"})"), std::runtime_error);
  ExpectTrace(R"(
    {request}
    CSettingsItemInfoAPI::IsItemEnabled("x") throws
  )");
}

// The methods whose answer is a list.
struct ListQuery {
  const char* method;
  const char* arguments;
  // What the library gives.
  Texts fakes::DisabledItems::*list;
  // One of them in the log, before its text.
  const char* elementLine;
};

constexpr ListQuery kListQueries[] = {
    {"GetDisablerAppNamesByMenuId", R"("x")", &fakes::DisabledItems::disablers, "disabler app : "},
    {"GetDisabledItemsList", "", &fakes::DisabledItems::items, "Disabled Item : "},
};

void PrintTo(const ListQuery& query, std::ostream* stream) { *stream << query.method; }

class DisabledItemsQuery : public CreatedServiceTest,
                           public testing::WithParamInterface<ListQuery> {
 protected:
  DisabledItemsQuery() { Let("method", query.method); }

  std::string Ask(const std::string& data = R"({"menuID":"x"})") {
    return Send(Request(query.method, data));
  }

  void SetAnswer(bool answered, const Texts& texts) {
    fakes::DisabledItems answers;
    answers.answered = answered;
    answers.*query.list = texts;
    fake.SetDisabledItems(answers);
  }

  // The trace up to the library's answer, which ends it.
  std::string Question(const std::string& answer) const {
    return R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::{method}()" +
           std::string(query.arguments) + ")" + answer + "\n";
  }

  // The line of one element.
  std::string Element(const std::string& text) const {
    return "I SettingsServiceCommand {method} | " + std::string(query.elementLine) + text + "\\n\n";
  }

  const ListQuery query = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, DisabledItemsQuery, testing::ValuesIn(kListQueries),
                         [](const auto& info) { return info.param.method; });

TEST_P(DisabledItemsQuery, IsAnsweredWithAnArrayInTheLibrarysOrderAsText) {
  SetAnswer(true, {"b", "a", "b"});
  EXPECT_EQ(Ask(), SuccessWith("[\n\t\"b\",\n\t\"a\",\n\t\"b\"\n]\n"));
  ExpectTrace(Question(R"( -> true: ["b", "a", "b"])") + Element("b") + Element("a") +
              Element("b") + R"(
    I SettingsService IfMessageReceived | ret_data = [\n\x09"b",\n\x09"a",\n\x09"b"\n]\n\n
  )");
}

TEST_P(DisabledItemsQuery, IsAnsweredWithTextThatIsJsonAgain) {
  const Texts texts = {"with \"quotes\"", "two\nlines", "", "back\\slash"};
  SetAnswer(true, texts);
  const Json::Value body = Parsed(Ask());
  const Json::Value array = Parsed(body["return_data"].asString());
  Json::Value expected(Json::arrayValue);
  for (const std::string& text : texts) {
    expected.append(text);
  }
  EXPECT_EQ(array, expected);
  EXPECT_EQ(body["return_data"], expected.toStyledString());
}

TEST_P(DisabledItemsQuery, IsAnsweredWithTheEmptyArrayWhenThereIsNone) {
  SetAnswer(true, {});
  EXPECT_EQ(Ask(), SuccessWith("[]\n"));
  ExpectTrace(Question(" -> true: []") + R"(
    I SettingsService IfMessageReceived | ret_data = []\n\n
  )");
}

TEST_P(DisabledItemsQuery, IsAFailureWhenTheLibrarySaysSoWhateverItGave) {
  SetAnswer(false, {});
  EXPECT_EQ(Ask(), kFailureWithText);
  ExpectTrace(Question(" -> false: []"));
  SetAnswer(false, {"a"});
  EXPECT_EQ(Ask(), kFailureWithText);
  ExpectTrace(Question(R"( -> false: ["a"])"));
}

TEST_P(DisabledItemsQuery, IsAnErrorAfterAJsonExceptionOfTheLibrary) {
  fake.Fail("CSettingsItemInfoAPI::" + std::string(query.method), {.exception = JsonException()});
  EXPECT_EQ(Ask(), kIllTypedWithText);
  ExpectTrace(Question(" throws") + R"(
    E SettingsServiceCommand {method} | Exception occured! [broken]\n
  )");
}

TEST_P(DisabledItemsQuery, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::" + std::string(query.method), {.exception = OtherException()});
  EXPECT_THROW(Ask(), std::runtime_error);
  ExpectTrace(Question(" throws"));
}

TEST_P(DisabledItemsQuery, IsRefusedForAnIllTypedRequestOnlyWhereAnItemIsAskedAbout) {
  SetAnswer(true, {});
  struct IllTyped {
    const char* data;
    const char* exception;
  };
  for (const IllTyped& illTyped :
       {IllTyped{R"("x")", "in Json::Value::resolveReference(key, end): requires objectValue"},
        IllTyped{"17", "in Json::Value::resolveReference(key, end): requires objectValue"},
        IllTyped{R"(["x"])", "in Json::Value::resolveReference(key, end): requires objectValue"},
        IllTyped{R"({"menuID":{}})", "Type is not convertible to string"},
        IllTyped{R"({"menuID":["x"]})", "Type is not convertible to string"}}) {
    SCOPED_TRACE(illTyped.data);
    const std::string reply = Ask(illTyped.data);
    if (query.method == std::string("GetDisabledItemsList")) {
      EXPECT_EQ(reply, SuccessWith("[]\n"));
      ExpectTrace(Question(" -> true: []") + R"(
        I SettingsService IfMessageReceived | ret_data = []\n\n
      )");
    } else {
      EXPECT_EQ(reply, kIllTypedWithText);
      Let("exception", illTyped.exception);
      ExpectTrace(R"(
        {request}
        I SettingsServiceCommand {method} |  Enter {method} \n
        E SettingsServiceCommand {method} | Exception occured! [{exception}]\n
      )");
    }
  }
}

class DisablersQuery : public CreatedServiceTest {};

TEST_F(DisablersQuery, AsksForTheItemWithoutANameWhenTheRequestNamesNone) {
  for (const char* request : {R"({"method":"GetDisablerAppNamesByMenuId"})",
                              R"({"data":{},"method":"GetDisablerAppNamesByMenuId"})",
                              R"({"menuID":"x","method":"GetDisablerAppNamesByMenuId"})"}) {
    SCOPED_TRACE(request);
    EXPECT_EQ(Send(request), kFailureWithText);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand GetDisablerAppNamesByMenuId |  Enter GetDisablerAppNamesByMenuId \n
      CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId("") -> false: []
    )");
  }
}

class UpdateDisabledItemList : public fakes::FakePlatformTest {};

TEST_F(UpdateDisabledItemList, MakesTheLibraryReloadItsRecord) {
  SettingsServiceCommand::UpdateDisabledItemList();
  // Without the "d" of its name.
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateDisabledItemList | UpdateDisableItemList\n
    CSettingsItemInfoAPI::UpdateDisabledItemList()
  )");
}

}  // namespace
