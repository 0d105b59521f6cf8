#include "settingsctl/format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/json.h"
#include "base/width.h"
#include "common.h"
#include "settingsctl/call_arguments.h"
#include "settingsctl/tree.h"
#include "text.h"

namespace {

using settingsctl::ParseCallArguments;

TEST(Format, AValueIsPrintedWithItsName) {
  EXPECT_EQ(settingsctl::ValueText("standard", "Standard"), "standard (Standard)");
}

TEST(Format, ANameThatSaysNothingNewIsLeftOut) {
  EXPECT_EQ(settingsctl::ValueText("25", "25"), "25");
  EXPECT_EQ(settingsctl::ValueText("25", ""), "25");
}

TEST(Format, ValuesAndNamesAreEscaped) {
  EXPECT_EQ(settingsctl::ValueText("a\n", "\x1b"), "a\\n (\\x1b)");
}

TEST(Format, AReplyIsPrintedMemberByMember) {
  Json::Value body;
  body["connect_server"] = true;
  body["call_api_success"] = false;
  body["return_data"] = "a\n\x7f";
  EXPECT_EQ(settingsctl::ReplyText(body),
            "call_api_success: false\nconnect_server: true\nreturn_data: \"a\\n\\x7f\"");
}

TEST(Format, ASignalIsOneLine) {
  const settings::Signal signal{"settings_service_signal", 3, "{\"a\":\n1}", ":1.7"};
  EXPECT_EQ(settingsctl::SignalText("NOW", signal), "NOW :1.7 3 {\"a\":\\n1}");
  EXPECT_EQ(settingsctl::SignalJson("NOW", signal),
            R"({"time":"NOW","sender":":1.7","name":"settings_service_signal","type":3,)"
            R"("body":{"a":1}})");
}

TEST(Format, ASignalBodyThatIsNotJsonIsAString) {
  EXPECT_EQ(settingsctl::SignalJson("NOW", {"n", 1, "oops", ":1.7"}),
            R"({"time":"NOW","sender":":1.7","name":"n","type":1,"body":"oops"})");
}

TEST(CallArguments, TheFirstOneWithoutAnEqualsSignIsTheItem) {
  EXPECT_EQ(base::WriteJson(ParseCallArguments({"picturemode", "Value=movie"}).data),
            R"({"Value":"movie","menuID":"picturemode"})");
}

TEST(CallArguments, ThereMayBeNone) {
  EXPECT_EQ(base::WriteJson(ParseCallArguments({}).data), "{}");
  EXPECT_EQ(base::WriteJson(ParseCallArguments({}).members), "{}");
}

TEST(CallArguments, AValueReachesFromTheFirstEqualsSignToTheEnd) {
  EXPECT_EQ(ParseCallArguments({"a=b=c"}).data["a"], "b=c");
  EXPECT_EQ(ParseCallArguments({"a="}).data["a"], "");
  EXPECT_EQ(ParseCallArguments({"a=:=1"}).data["a"], ":=1");
  EXPECT_EQ(ParseCallArguments({"a=5"}).data["a"], "5");
}

using settingsctl::Branch;
using settingsctl::Draw;
using settingsctl::Paper;

std::vector<Branch> Menu() {
  Branch game{"gamemode", "게임 모드", "on", "켜기", true, true, {}, {}};
  Branch delay{"inputdelay", "입력 지연 시간",     "low", "낮음", true,
               false,        {"org.example.film"}, {}};
  Branch group{"game", "게임", std::nullopt, "", true, true, {}, {game, delay}};
  return {group};
}

TEST(TreeDrawing, TakesAsMuchRoomAsItNeedsWhereThereIsNoTerminal) {
  EXPECT_THAT(
      Draw(Menu(), {}),
      testing::ElementsAre("게임                     game", "├─ 게임 모드       켜기  gamemode",
                           "└─ 입력 지연 시간  낮음  inputdelay  disabled by org.example.film"));
}

TEST(TreeDrawing, ShortensNotesFirstAndIdsLast) {
  EXPECT_THAT(
      Draw(Menu(), {false, 50}),
      testing::ElementsAre("게임                     game", "├─ 게임 모드       켜기  gamemode",
                           "└─ 입력 지연 시간  낮음  inputdelay  disabled by …"));
  EXPECT_THAT(
      Draw(Menu(), {false, 41}),
      testing::ElementsAre("게임                     game", "├─ 게임 모드       켜기  gamemode",
                           "└─ 입력 지연 시간  낮음  inputdelay  dis…"));
  EXPECT_THAT(Draw(Menu(), {false, 25}),
              testing::ElementsAre("게임           game", "├─ 게임 모드   gamemode",
                                   "└─ 입력 지연…  inputdelay"));
}

TEST(TreeDrawing, FitsEveryWidth) {
  std::vector<Branch> deep = Menu();
  for (int level = 0; level < 20; ++level) {
    deep = {{"level", "깊이", "1", "값", true, false, {"org.example.a", "org.example.b"}, deep}};
  }
  for (const std::vector<Branch>& menu : {Menu(), deep}) {
    for (std::size_t width = 4; width < 150; ++width) {
      for (const std::string& line : Draw(menu, {false, width})) {
        EXPECT_LE(base::DisplayWidth(line), width) << line;
      }
    }
  }
}

TEST(CallArguments, ColonAndEqualsSignTakeJson) {
  const Json::Value data =
      ParseCallArguments({"a:=true", "b:=5", R"(c:=["x"])", R"(d:="s")", "e:=null"}).data;
  EXPECT_EQ(base::WriteJson(data), R"({"a":true,"b":5,"c":["x"],"d":"s","e":null})");
}

TEST(CallArguments, PidAndCallbackGoBesideTheDataAsNumbers) {
  const auto arguments = ParseCallArguments({"picturemode", "pid=5", "callback=-7"});
  EXPECT_EQ(base::WriteJson(arguments.data), R"({"menuID":"picturemode"})");
  EXPECT_EQ(base::WriteJson(arguments.members), R"({"callback":-7,"pid":5})");
}

TEST(CallArguments, PidAndCallbackAreTheSameNumbersAsJson) {
  const auto arguments = ParseCallArguments({"pid:=-2147483648", "callback:=2147483647"});
  EXPECT_EQ(base::WriteJson(arguments.members), R"({"callback":2147483647,"pid":-2147483648})");
}

std::string Refusal(const std::vector<std::string>& arguments) {
  try {
    ParseCallArguments(arguments);
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.Code(), tools::ExitCode::kUsage);
    return failure.what();
  }
  return "none";
}

TEST(CallArguments, ARefusalNamesTheArgument) {
  EXPECT_EQ(Refusal({"item", "stray"}),
            "\"stray\" is neither KEY=VALUE nor KEY:=JSON, and an item must come right after the "
            "method");
  EXPECT_EQ(Refusal({"=x"}), "\"=x\" has no key before the =");
  EXPECT_EQ(Refusal({":=1"}), "\":=1\" has no key before the =");
  EXPECT_EQ(Refusal({"a=1", "a:=2"}), "\"a\" given twice");
  EXPECT_EQ(Refusal({"item", "menuID=other"}), "\"menuID\" given twice");
  EXPECT_EQ(Refusal({"a:=tru"}),
            "\"a:=tru\": what follows := is not JSON; write a string as KEY=TEXT");
}

TEST(CallArguments, PidAndCallbackAreWholeNumbersOf32Bits) {
  const std::string taken = " is not a whole number from -2147483648 to 2147483647";
  for (const std::string key : {"pid", "callback"}) {
    for (const std::string text : {"abc", "", "1.5", "0x10", " 5", "2147483648", "-2147483649"}) {
      EXPECT_EQ(Refusal({"item", key + "=" + text}), key + ": \"" + text + "\"" + taken);
    }
    for (const std::string json : {"null", "true", "1.5", "\"5\"", "[5]", "{}", "2147483648"}) {
      EXPECT_EQ(Refusal({"item", key + ":=" + json}), key + ": " + tools::Quote(json) + taken);
    }
  }
}

}  // namespace
