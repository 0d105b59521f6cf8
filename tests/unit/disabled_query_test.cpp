#include <ostream>
#include <string>
#include <vector>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

using Texts = std::vector<std::string>;

class IsItemEnabled : public CreatedServiceTest {};

TEST_F(IsItemEnabled, IsWhatTheLibrarySaysAlsoOfAnUnknownItem) {
  fake.SetDisabledItems({.enabled = true});
  EXPECT_EQ(Send(Request("IsItemEnabled", R"({"menuID":"unknown"})")), SuccessWith(true));
  ExpectTrace(R"(
    {request}
    CSettingsItemInfoAPI::IsItemEnabled("unknown") -> true
    I SettingsService IfMessageReceived | ret_data = true\n
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

  std::string Ask() { return Send(Request(query.method, R"({"menuID":"x"})")); }

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
