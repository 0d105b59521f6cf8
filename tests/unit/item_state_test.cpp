#include <climits>
#include <ostream>
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
    {"GetItemVisible", "GetItemVisible", R"("mode")", "{answer} ", false},
    {"GetItemEnable", "GetItemEnable", R"("mode", false)", "{answer}", false},
    {"GetItemPathVisible", "GetItemPathVisible", R"("mode")", "{answer} ", false},
    {"GetItemPathEnable", "GetItemPathEnable", R"("mode")", "{answer}", false},
    {"GetItemDataVisible", "GetSubListItemVisible", R"("mode", "on")", " Return Value : {answer} ",
     true},
    {"GetItemDataEnable", "GetSubListItemEnable", R"("mode", "on")", " Return Value : {answer} ",
     true},
};

void PrintTo(const StateQuery& query, std::ostream* stream) { *stream << query.method; }

class ItemState : public CreatedServiceTest, public testing::WithParamInterface<StateQuery> {};

INSTANTIATE_TEST_SUITE_P(Method, ItemState, testing::ValuesIn(kStateQueries),
                         [](const auto& info) { return info.param.method; });

TEST_P(ItemState, IsNoForTheAnswerZeroAndYesForEveryOtherThatIsNoFailure) {
  const StateQuery query = GetParam();
  Let("method", query.method);
  for (const int answer : {INT_MIN, -2, 0, 1, 2, INT_MAX}) {
    fake.SetItem("mode", {.visible = answer,
                          .enabled = answer,
                          .pathVisible = answer,
                          .pathEnabled = answer,
                          .valueVisible = {{"on", answer}},
                          .valueEnabled = {{"on", answer}}});
    Let("answer", std::to_string(answer));
    Let("result", answer != 0 ? "true" : "false");
    EXPECT_EQ(Send(Request(query.method, R"({"menuID":"mode","Value":"on"})")),
              SuccessWith(answer != 0));
    ExpectTrace(std::string(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
    )") +
                (query.aboutValue ? R"(
      I SettingsServiceCommand {method} | MenuID = mode, Value = on\n
    )"
                                  : "") +
                "CSettingsItemInfoAPI::" + query.call + "(" + query.arguments + ") -> {answer}\n" +
                "I SettingsServiceCommand {method} | " + query.answerLine + R"(\n
      I SettingsService IfMessageReceived | ret_data = {result}\n
    )");
  }
}

}  // namespace
