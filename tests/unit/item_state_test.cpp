#include <climits>
#include <ostream>
#include <stdexcept>
#include <string>

#include "service_test.h"

namespace {

// The methods that ask the library one question about an item and answer yes or no.
struct StateQuery {
  const char* method;
  // The library's function, and its arguments as in the trace.
  const char* call;
  const char* arguments;
  // The answer in the log.
  const char* answerLine;
  // It asks about one value of the item, and logs which.
  bool aboutValue;
};

constexpr StateQuery kStateQueries[] = {
    {"GetItemVisible", "GetItemVisible", R"("{menuID}")", "{answer} ", false},
    {"GetItemEnable", "GetItemEnable", R"("{menuID}", false)", "{answer}", false},
    {"GetItemPathVisible", "GetItemPathVisible", R"("{menuID}")", "{answer} ", false},
    {"GetItemPathEnable", "GetItemPathEnable", R"("{menuID}")", "{answer}", false},
    {"GetItemDataVisible", "GetSubListItemVisible", R"("{menuID}", "{value}")",
     " Return Value : {answer} ", true},
    {"GetItemDataEnable", "GetSubListItemEnable", R"("{menuID}", "{value}")",
     " Return Value : {answer} ", true},
};

void PrintTo(const StateQuery& query, std::ostream* stream) { *stream << query.method; }

class ItemState : public CreatedServiceTest, public testing::WithParamInterface<StateQuery> {
 protected:
  ItemState() {
    Let("method", query.method);
    LetTheQuestionBe("mode", "on");
  }

  std::string Ask(const std::string& data) { return Send(Request(query.method, data)); }

  // The item "mode", whose value "on" it can be asked about.
  void SetAnswer(int answer) {
    fake.SetItem("mode", {.visible = answer,
                          .enabled = answer,
                          .pathVisible = answer,
                          .pathEnabled = answer,
                          .valueVisible = {{"on", answer}},
                          .valueEnabled = {{"on", answer}}});
  }

  // What the library is expected to be asked about.
  void LetTheQuestionBe(const std::string& menuID, const std::string& value) {
    Let("menuID", menuID);
    Let("value", value);
  }

  // The trace up to the library's answer, which ends it.
  std::string Question(const std::string& answer) const {
    return std::string(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n)") +
           (query.aboutValue ? R"(
      I SettingsServiceCommand {method} | MenuID = {menuID}, Value = {value}\n)"
                             : "") +
           "\nCSettingsItemInfoAPI::" + query.call + "(" + query.arguments + ")" + answer + "\n";
  }

  // The trace of a question with this answer and this result of the reply.
  void ExpectAnswered(int answer, bool result, fakes::Place where = fakes::Place::Current()) {
    Let("answer", std::to_string(answer));
    Let("result", result ? "true" : "false");
    ExpectTrace(
        Question(" -> {answer}") + "I SettingsServiceCommand {method} | " + query.answerLine + R"(\n
      I SettingsService IfMessageReceived | ret_data = {result}\n
    )",
        where);
  }

  // The trace of a request that was not understood.
  void ExpectIllTyped(const std::string& exception, fakes::Place where = fakes::Place::Current()) {
    Let("exception", exception);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      E SettingsServiceCommand {method} | Exception occured! [{exception}]\n
      I SettingsService IfMessageReceived | ret_data = false\n
    )",
                where);
  }

  const StateQuery query = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, ItemState, testing::ValuesIn(kStateQueries),
                         [](const auto& info) { return info.param.method; });

TEST_P(ItemState, IsYesForEveryAnswerButZeroAndTheFailure) {
  for (const int answer : {INT_MIN, -2, 1, 2, INT_MAX}) {
    SetAnswer(answer);
    EXPECT_EQ(Ask(R"({"menuID":"mode","Value":"on"})"), SuccessWith(true));
    ExpectAnswered(answer, true);
  }
}

TEST_P(ItemState, IsNoForTheAnswerZero) {
  SetAnswer(0);
  EXPECT_EQ(Ask(R"({"menuID":"mode","Value":"on"})"), SuccessWith(false));
  ExpectAnswered(0, false);
}

TEST_P(ItemState, IsAFailureWhenTheLibraryCannotAnswer) {
  EXPECT_EQ(Ask(R"({"menuID":"mode","Value":"on"})"), kFailureWithBool);
  ExpectAnswered(-1, false);
}

TEST_P(ItemState, IsAskedOfTheItemWithoutANameWhenTheRequestNamesNone) {
  LetTheQuestionBe("", "");
  for (const char* data :
       {"null", "{}", R"({"menuID":null,"Value":null})", R"({"MenuID":"mode"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), kFailureWithBool);
    ExpectAnswered(-1, false);
  }
  EXPECT_EQ(Send(R"({"method":")" + std::string(query.method) + "\"}"), kFailureWithBool);
  ExpectAnswered(-1, false);
}

TEST_P(ItemState, IsAskedOfTheEmptyValueWhenTheRequestNamesNone) {
  LetTheQuestionBe("mode", "");
  fake.SetItem("mode", {.valueVisible = {{"", 1}}, .valueEnabled = {{"", 1}}});
  for (const char* data : {R"({"menuID":"mode"})", R"({"menuID":"mode","Value":null})",
                           R"({"menuID":"mode","value":"on"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), SuccessWith(true));
    ExpectAnswered(1, true);
  }
}

TEST_P(ItemState, IsAskedOfTheTextOfANumberOrABool) {
  LetTheQuestionBe("17", "true");
  fake.SetItem("17", {.valueVisible = {{"true", 1}}, .valueEnabled = {{"true", 1}}});
  EXPECT_EQ(Ask(R"({"menuID":17,"Value":true})"), SuccessWith(true));
  ExpectAnswered(1, true);
}

TEST_P(ItemState, IsAskedOfTheTextsUpToAZeroInThem) {
  SetAnswer(1);
  EXPECT_EQ(Ask(R"({"menuID":"mode\u0000x","Value":"on\u0000y"})"), SuccessWith(true));
  ExpectAnswered(1, true);
}

TEST_P(ItemState, IsRefusedForDataThatIsNoObject) {
  for (const char* data : {R"("mode")", "17", "true", R"(["menuID","mode"])"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), kIllTypedWithBool);
    ExpectIllTyped("in Json::Value::resolveReference(key, end): requires objectValue");
  }
}

TEST_P(ItemState, IsRefusedForAnIdentifierWithoutText) {
  SetAnswer(1);
  for (const char* data : {R"({"menuID":{},"Value":"on"})", R"({"menuID":{"a":1},"Value":"on"})",
                           R"({"menuID":["mode"],"Value":"on"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), kIllTypedWithBool);
    ExpectIllTyped("Type is not convertible to string");
  }
}

TEST_P(ItemState, IsRefusedForAValueWithoutTextWhereAValueIsAskedAbout) {
  SetAnswer(1);
  for (const char* data :
       {R"({"menuID":"mode","Value":{}})", R"({"menuID":"mode","Value":{"a":1}})",
        R"({"menuID":"mode","Value":["on"]})"}) {
    SCOPED_TRACE(data);
    const std::string reply = Ask(data);
    if (query.aboutValue) {
      EXPECT_EQ(reply, kIllTypedWithBool);
      ExpectIllTyped("Type is not convertible to string");
    } else {
      EXPECT_EQ(reply, SuccessWith(true));
      ExpectAnswered(1, true);
    }
  }
}

TEST_P(ItemState, IsAnErrorAfterAJsonExceptionOfTheLibrary) {
  fake.Fail("CSettingsItemInfoAPI::" + std::string(query.call), {.exception = JsonException()});
  EXPECT_EQ(Ask(R"({"menuID":"mode","Value":"on"})"), kIllTypedWithBool);
  ExpectTrace(Question(" throws") + R"(
    E SettingsServiceCommand {method} | Exception occured! [broken]\n
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_P(ItemState, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::" + std::string(query.call), {.exception = OtherException()});
  EXPECT_THROW(Ask(R"({"menuID":"mode","Value":"on"})"), std::runtime_error);
  ExpectTrace(Question(" throws"));
}

}  // namespace
