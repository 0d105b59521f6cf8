#include <climits>
#include <ostream>
#include <stdexcept>
#include <string>

#include "service_test.h"

namespace {

// The methods whose answer is a text and a number.
struct TextDescription {
  const char* method;
  const char* call;
  std::string fakes::Item::*text;
  int fakes::Item::*result;
  // Both in the log.
  const char* resultLine;
};

constexpr TextDescription kTextDescriptions[] = {
    {"GetItemPath", "GetSettingsItemPathByString", &fakes::Item::path, &fakes::Item::pathResult,
     " Return Value : {result}, Path String : {reported} "},
    {"GetItemDisplayID", "GetItemDisplayID", &fakes::Item::displayID, &fakes::Item::displayIDResult,
     "{result} [{reported}]"},
    {"GetItemDisplayName", "GetItemDisplayName", &fakes::Item::displayName,
     &fakes::Item::displayNameResult, "{result} [{reported}]"},
};

void PrintTo(const TextDescription& description, std::ostream* stream) {
  *stream << description.method;
}

class ItemText : public CreatedServiceTest, public testing::WithParamInterface<TextDescription> {
 protected:
  ItemText() {
    Let("method", description.method);
    Let("call", description.call);
  }

  // The reply for an item of which the library gives this text with this result.
  std::string AskFor(const std::string& text, int result) {
    fakes::Item item;
    item.*description.text = text;
    item.*description.result = result;
    fake.SetItem("x", item);
    Let("text", text);
    Let("result", std::to_string(result));
    return Send(Request(description.method, R"({"menuID":"x"})"));
  }

  void ExpectReported(const std::string& reported, fakes::Place where = fakes::Place::Current()) {
    Let("reported", reported);
    ExpectTrace(std::string(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::{call}("x") -> {result}: "{text}"
      I SettingsServiceCommand {method} | )") +
                    description.resultLine + R"(\n
      I SettingsService IfMessageReceived | ret_data = {reported}\n
    )",
                where);
  }

  const TextDescription description = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, ItemText, testing::ValuesIn(kTextDescriptions),
                         [](const auto& info) { return info.param.method; });

TEST_P(ItemText, IsTheResult) {
  EXPECT_EQ(AskFor("Picture [x]", 0), SuccessWith("Picture [x]"));
  ExpectReported("Picture [x]");
}

TEST_P(ItemText, IsTheResultWithEveryNumberButTheFailure) {
  for (const int result : {INT_MIN, -2, 1, INT_MAX}) {
    EXPECT_EQ(AskFor("text", result), SuccessWith("text"));
    ExpectReported("text");
  }
}

TEST_P(ItemText, CanBeEmpty) { EXPECT_EQ(AskFor("", 0), SuccessWith("")); }

TEST_P(ItemText, IsEmptyWhenTheLibraryGaveNoneWithoutFailing) {
  fake.Fail("CSettingsItemInfoAPI::" + std::string(description.call), {.code = -2});
  EXPECT_EQ(AskFor("text", 0), SuccessWith(""));
}

TEST_P(ItemText, IsCutTo511CharactersWhereItComesInABuffer) {
  const bool inABuffer = description.text != &fakes::Item::path;
  for (const int length : {511, 512, 513, 600}) {
    const std::string text(length, 'x');
    const std::string reported = inABuffer ? std::string(511, 'x') : text;
    EXPECT_EQ(AskFor(text, 0), SuccessWith(reported));
    ExpectReported(reported);
  }
}

TEST_P(ItemText, IsCutWithinACharacterThatReachesBeyondTheBuffer) {
  const bool inABuffer = description.text != &fakes::Item::path;
  const std::string text = std::string(510, 'x') + "üü";
  const std::string reported = inABuffer ? std::string(510, 'x') + "\xc3" : text;
  EXPECT_EQ(AskFor(text, 0), SuccessWith(reported));
  ExpectReported(reported);
}

// The methods whose answer is a list, in a text of the library's own form.
struct ListDescription {
  const char* method;
  const char* call;
  std::string fakes::Item::*list;
};

constexpr ListDescription kListDescriptions[] = {
    {"GetItemDataList", "GetItemDataListByString", &fakes::Item::dataList},
    {"GetItemChildList", "GetSubItemsListByString", &fakes::Item::childList},
};

void PrintTo(const ListDescription& description, std::ostream* stream) {
  *stream << description.method;
}

class ItemList : public CreatedServiceTest, public testing::WithParamInterface<ListDescription> {
 protected:
  ItemList() {
    Let("method", description.method);
    Let("call", description.call);
  }

  // The reply for an item of which the library gives this list.
  std::string AskFor(const std::string& list) {
    fakes::Item item;
    item.*description.list = list;
    fake.SetItem("x", item);
    Let("list", list);
    return Send(Request(description.method, R"({"menuID":"x"})"));
  }

  const ListDescription description = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, ItemList, testing::ValuesIn(kListDescriptions),
                         [](const auto& info) { return info.param.method; });

TEST_P(ItemList, IsTheResultAsTheLibraryGaveIt) {
  // Of any length, and with any first character.
  for (const std::string& list :
       {std::string("a, b;c "), std::string(" "), std::string("0"), std::string("ü,ö"),
        std::string("\xf0\x9f\x93\xba"), std::string(2000, 'x')}) {
    EXPECT_EQ(AskFor(list), SuccessWith(list));
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::{call}("x") -> "{list}"
      I SettingsServiceCommand {method} | {method} : [{list}]\n
      I SettingsService IfMessageReceived | ret_data = {list}\n
    )");
  }
}

TEST_P(ItemList, IsAFailureWhenItIsEmpty) {
  EXPECT_EQ(AskFor(""), kFailureWithText);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::{call}("x") -> ""
    I SettingsServiceCommand {method} | {method} : []\n
  )");
}

TEST_P(ItemList, IsAFailureWhenItsFirstByteIsZero) {
  EXPECT_EQ(AskFor(std::string("\0a,b", 4)), kFailureWithText);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::{call}("x") -> "\x00a,b"
    I SettingsServiceCommand {method} | {method} : []\n
  )");
}

TEST_P(ItemList, IsTheResultToItsEndThoughAZeroStandsInIt) {
  const std::string list("a\0b", 3);
  EXPECT_EQ(AskFor(list), SuccessWith(list));
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::{call}("x") -> "a\x00b"
    I SettingsServiceCommand {method} | {method} : [a]\n
    I SettingsService IfMessageReceived | ret_data = a\n
  )");
}

class ItemRange : public CreatedServiceTest {
 protected:
  // The body of the reply for the item "x".
  Json::Value Ask() { return Parsed(Send(kRequest)); }

  static constexpr char kRequest[] = R"({"data":{"menuID":"x"},"method":"GetItemMinMaxStepValue"})";
};

TEST_F(ItemRange, IsItsBoundsAndItsStepAndNoOtherResult) {
  fake.SetItem("x", {.min = -0.5, .max = 100.0, .step = 0.25});
  EXPECT_EQ(
      Send(kRequest),
      R"({"call_api_success":true,"connect_server":true,"return_data":"","return_max":100.0,"return_min":-0.5,"return_step":0.25})");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand GetItemMinMaxStepValue |  Enter GetItemMinMaxStepValue \n
    CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: -0.5
    CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> true: 100
    CSettingsItemInfoAPI::GetItemStepValue("x", true) -> true: 0.25
    I SettingsServiceCommand GetItemMinMaxStepValue |  Return Value : 1, 1, 1, min : -0.500000, max : 100.000000, step : 0.250000 \n
  )");
}

TEST_F(ItemRange, IsMadeOfRealsEvenWhereTheyAreWhole) {
  fake.SetItem("x", {.min = 0.0, .max = 100.0, .step = 1.0});
  const Json::Value body = Ask();
  EXPECT_EQ(body["return_min"].type(), Json::realValue);
  EXPECT_EQ(body["return_max"].type(), Json::realValue);
  EXPECT_EQ(body["return_step"].type(), Json::realValue);
  EXPECT_EQ(body["return_min"], 0.0);
  EXPECT_EQ(body["return_max"], 100.0);
  EXPECT_EQ(body["return_step"], 1.0);
}

TEST_F(ItemRange, IsThreeZerosThatAreIntegersWhenOnePartCannotBeObtained) {
  // What the library gives of the three, and both in the log.
  struct Parts {
    fakes::Item item;
    const char* calls;
    const char* logged;
  };
  const Parts kParts[] = {
      {{.min = 1.0, .max = 2.0},
       R"(
         CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: 1
         CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> true: 2
         CSettingsItemInfoAPI::GetItemStepValue("x", true) -> false
       )",
       "1, 1, 0, min : 1.000000, max : 2.000000, step : 0.000000"},
      {{.min = 1.0, .step = 3.0},
       R"(
         CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: 1
         CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> false
         CSettingsItemInfoAPI::GetItemStepValue("x", true) -> true: 3
       )",
       "1, 0, 1, min : 1.000000, max : 0.000000, step : 3.000000"},
      {{.max = 2.0, .step = 3.0},
       R"(
         CSettingsItemInfoAPI::GetItemMinValue("x", true) -> false
         CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> true: 2
         CSettingsItemInfoAPI::GetItemStepValue("x", true) -> true: 3
       )",
       "0, 1, 1, min : 0.000000, max : 2.000000, step : 3.000000"},
      {{.step = 3.0},
       R"(
         CSettingsItemInfoAPI::GetItemMinValue("x", true) -> false
         CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> false
         CSettingsItemInfoAPI::GetItemStepValue("x", true) -> true: 3
       )",
       "0, 0, 1, min : 0.000000, max : 0.000000, step : 3.000000"},
  };
  for (const Parts& parts : kParts) {
    SCOPED_TRACE(parts.logged);
    fake.SetItem("x", parts.item);
    EXPECT_EQ(Send(kRequest), kNoRange);
    ExpectTrace(std::string(R"(
      {request}
      I SettingsServiceCommand GetItemMinMaxStepValue |  Enter GetItemMinMaxStepValue \n
    )") + parts.calls +
                R"(I SettingsServiceCommand GetItemMinMaxStepValue |  Return Value : )" +
                parts.logged + R"( \n)");
    const Json::Value body = Ask();
    EXPECT_EQ(body["return_min"].type(), Json::intValue);
    EXPECT_EQ(body["return_max"].type(), Json::intValue);
    EXPECT_EQ(body["return_step"].type(), Json::intValue);
    fake.TakeTrace();
  }
}

TEST_F(ItemRange, IsLoggedButNotReportedWhenANumberComesWithAFalseResult) {
  for (bool fakes::Item::*result :
       {&fakes::Item::minResult, &fakes::Item::maxResult, &fakes::Item::stepResult}) {
    fakes::Item item = {.min = 1.0, .max = 2.0, .step = 3.0};
    item.*result = false;
    fake.SetItem("x", item);
    const auto let = [&](const std::string& name, bool given) {
      Let(name, given ? "true" : "false");
      Let(name + " logged", given ? "1" : "0");
    };
    let("min", item.minResult);
    let("max", item.maxResult);
    let("step", item.stepResult);
    EXPECT_EQ(Send(kRequest), kNoRange);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand GetItemMinMaxStepValue |  Enter GetItemMinMaxStepValue \n
      CSettingsItemInfoAPI::GetItemMinValue("x", true) -> {min}: 1
      CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> {max}: 2
      CSettingsItemInfoAPI::GetItemStepValue("x", true) -> {step}: 3
      I SettingsServiceCommand GetItemMinMaxStepValue |  Return Value : {min logged}, {max logged}, {step logged}, min : 1.000000, max : 2.000000, step : 3.000000 \n
    )");
  }
}

TEST_F(ItemRange, IsAskedForNoFurtherAfterAnExceptionOfTheMaximum) {
  fake.SetItem("x", {.min = 1.0, .max = 2.0, .step = 3.0});
  fake.Fail("CSettingsItemInfoAPI::GetItemMaxValue", {.exception = JsonException()});
  EXPECT_EQ(Send(kRequest), kNoRange);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand GetItemMinMaxStepValue |  Enter GetItemMinMaxStepValue \n
    CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: 1
    CSettingsItemInfoAPI::GetItemMaxValue("x", true) throws
    E SettingsServiceCommand GetItemMinMaxStepValue | Exception occured! [broken]\n
  )");
}

TEST_F(ItemRange, IsNotReportedInPartsAfterAnException) {
  fake.SetItem("x", {.min = 1.0, .max = 2.0, .step = 3.0});
  fake.Fail("CSettingsItemInfoAPI::GetItemStepValue", {.exception = JsonException()});
  EXPECT_EQ(Send(kRequest), kNoRange);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand GetItemMinMaxStepValue |  Enter GetItemMinMaxStepValue \n
    CSettingsItemInfoAPI::GetItemMinValue("x", true) -> true: 1
    CSettingsItemInfoAPI::GetItemMaxValue("x", true) -> true: 2
    CSettingsItemInfoAPI::GetItemStepValue("x", true) throws
    E SettingsServiceCommand GetItemMinMaxStepValue | Exception occured! [broken]\n
  )");
}

TEST_F(ItemRange, SaysThatTheServiceWasReachedBeforeAnythingElse) {
  fake.Fail("CSettingsItemInfoAPI::GetItemMinValue", {.exception = OtherException()});
  Nuvra::TCMessage reply;
  EXPECT_THROW(Send(kRequest, reply), std::runtime_error);
  EXPECT_EQ(Text(reply.body), R"({"connect_server":true,"return_data":""})");
}

}  // namespace
