#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "catalogue_directory.h"
#include "items/catalogue.h"

namespace {

using host::CatalogueProblem;
using host::CheckCatalogue;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A rule that stands alone on line 7 of its file, the line of its mistake, and a part of the
// message.
struct Mistake {
  const char* title;
  const char* rule;
  int line;
  const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* stream) { *stream << mistake.title; }

constexpr char kItems[] = R"({"items": [
{"id": "mode", "kind": "list", "name": "Mode", "displayId": "MODE", "default": "a", "options": [{"value": "a", "name": "A"}, {"value": "b", "name": "B"}]},
{"id": "tint", "kind": "range", "name": "Tint", "displayId": "TINT", "min": 0, "max": 10, "step": 2.5, "default": 0},
{"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off"},
{"id": "area", "kind": "group", "name": "Area", "displayId": "AREA", "items": [{"id": "reset", "kind": "action", "name": "Reset", "displayId": "RESET"}]},
)";

std::string WithRule(const std::string& rule) {
  return kItems +
         (R"({"id": "asked", "kind": "action", "name": "Asked", "displayId": "ASKED", "visible":)"
          "\n" +
          rule + "\n}]}\n");
}

const Mistake kMistakes[] = {
    {"a truth value", "true", 7, "a rule must be an object like"},
    {"a text", "\"hdmi\"", 7, "a rule must be an object like"},
    {"a list", R"([{"source": "tv"}])", 7, "a rule must be an object like"},
    {"null", "null", 7, "a rule must be an object like"},
    {"an empty object", "{}", 7, "a rule must have one of the members all, any, not, item"},
    {"an unknown combination", R"({"none": [{"source": "tv"}]})", 7,
     "a rule must have one of the members"},
    {"a combination in capitals", R"({"ALL": [{"source": "tv"}]})", 7,
     "a rule must have one of the members"},
    {"two conditions in one", "{\"item\": \"mode\", \"is\": \"a\",\n\"source\": \"tv\"}", 8,
     "unknown member \"source\": a rule on an item takes item, is"},
    {"two combinations in one", "{\"all\": [{\"source\": \"tv\"}],\n\"not\": {\"source\": \"av\"}}",
     8, "unknown member \"not\": an \"all\" rule takes all"},
    {"an unknown member", "{\"source\": \"tv\",\n\"is\": true}", 8,
     "unknown member \"is\": a rule on the source takes source"},

    {"an empty all", "{\"all\":\n[]}", 8, "\"all\" must be a list of at least one rule"},
    {"an empty any", "{\"any\":\n[]}", 8, "\"any\" must be a list of at least one rule"},
    {"an all that is no list", R"({"all": {"source": "tv"}})", 7, "\"all\" must be a list"},
    {"an any that is no list", R"({"any": true})", 7, "\"any\" must be a list"},
    {"a not of a list", R"({"not": [{"source": "tv"}]})", 7, "a rule must be an object like"},
    {"a mistake inside combinations",
     "{\"all\": [{\"source\": \"tv\"},\n{\"any\": [{\"not\":\n{\"source\": \"moon\"}}]}]}", 9,
     "\"source\" must be one of \"tv\", \"hdmi\""},

    {"an item without a value to compare", R"({"item": "mode"})", 7,
     "member \"is\" is missing: a rule on an item needs it"},
    {"an item that is no text", R"({"item": 1, "is": "a"})", 7,
     "\"item\" must be a non-empty string"},
    {"an unknown item", R"({"item": "nosuch", "is": "a"})", 7,
     "rule on \"nosuch\", which is not an item"},
    {"a path instead of an item", R"({"item": "area/reset", "is": "a"})", 7,
     "rule on \"area/reset\", which is not an item"},
    {"a group", "{\"item\":\n\"area\", \"is\": \"a\"}", 8,
     "rule on \"area\", which has no value: it is a group"},
    {"an action", R"({"item": "reset", "is": "a"})", 7,
     "rule on \"reset\", which has no value: it is an action"},
    {"a value that the list does not have", R"({"item": "mode", "is": "c"})", 7,
     R"("mode" is never "c": its values are "a", "b")"},
    {"a value among good ones", "{\"item\": \"mode\", \"is\": [\"a\", \"b\",\n\"c\"]}", 8,
     "\"mode\" is never \"c\""},
    {"the name of a value", R"({"item": "mode", "is": "A"})", 7, "\"mode\" is never \"A\""},
    {"a number for a list", R"({"item": "mode", "is": 1})", 7, "\"mode\" is never 1"},
    {"a truth value for a switch", R"({"item": "game", "is": true})", 7,
     R"("game" is never true: its values are "off", "on")"},
    {"a number above a range", R"({"item": "tint", "is": 12.5})", 7,
     "\"tint\" is never 12.5: its values are the numbers from 0.0 to 10.0 in steps of 2.5"},
    {"a number between two steps", R"({"item": "tint", "is": 1})", 7, "\"tint\" is never 1"},
    {"a text for a range", R"({"item": "tint", "is": "2.5"})", 7, "\"tint\" is never \"2.5\""},
    {"no values at all", "{\"item\": \"mode\", \"is\":\n[]}", 8,
     "\"is\" must be a value, or a list of at least one value"},
    {"lists in a list", R"({"item": "mode", "is": [["a"]]})", 7, "\"mode\" is never [\"a\"]"},
    {"null for an item", R"({"item": "mode", "is": null})", 7, "\"mode\" is never null"},

    {"a key in no store", R"({"key": "etc/a", "is": 1})", 7,
     "key \"etc/a\" must begin with db/ or memory/"},
    {"a key with an empty part", R"({"key": "db//a", "is": 1})", 7, "key \"db//a\""},
    {"a key of a preview", R"({"key": "memory/menu/preview/mode", "is": "a"})", 7,
     "not be in memory/menu/preview/"},
    {"a key that is no text", R"({"key": 1, "is": 1})", 7, "\"key\" must be a non-empty string"},
    {"a key without a value to compare", R"({"key": "db/a"})", 7,
     "member \"is\" is missing: a rule on a key needs it"},
    {"a truth value for a key", "{\"key\": \"db/a\", \"is\":\ntrue}", 8,
     "\"is\" of a rule on a key must be a string without control characters or a 32-bit integer"},
    {"a fraction for a key", R"({"key": "db/a", "is": 1.5})", 7, "\"is\" of a rule on a key"},
    {"a whole number written as a fraction for a key", R"({"key": "db/a", "is": 1.0})", 7,
     "\"is\" of a rule on a key"},
    {"a number beyond the integers for a key", R"({"key": "db/a", "is": 2147483648})", 7,
     "\"is\" of a rule on a key"},
    {"texts and integers for a key", R"({"key": "db/a", "is": [1, "a"]})", 7,
     "a list of strings only or integers only"},
    {"no values for a key", R"({"key": "db/a", "is": []})", 7, "\"is\" of a rule on a key"},
    {"a control character for a key", R"({"key": "db/a", "is": "a\n"})", 7,
     "\"is\" of a rule on a key"},

    {"a feature that is no key", R"({"feature": "gamebar", "is": true})", 7,
     "feature \"gamebar\" must contain only letters"},
    {"a feature with an empty part", R"({"feature": "a//b", "is": true})", 7, "feature \"a//b\""},
    {"a feature with a space", R"({"feature": "a/b c", "is": true})", 7, "feature \"a/b c\""},
    {"a feature that is no text", R"({"feature": true, "is": true})", 7,
     "\"feature\" must be a non-empty string"},
    {"a text for a feature", R"({"feature": "a/b", "is": "true"})", 7,
     "\"is\" of a rule on a feature must be true, false or a 32-bit integer"},
    {"truth values and integers for a feature", R"({"feature": "a/b", "is": [true, 1]})", 7,
     "a list of Booleans only or integers only"},
    {"a fraction for a feature", R"({"feature": "a/b", "is": 0.5})", 7,
     "\"is\" of a rule on a feature"},
    {"no values for a feature", R"({"feature": "a/b", "is": []})", 7,
     "\"is\" of a rule on a feature"},

    {"an unknown source", R"({"source": "HDMI"})", 7,
     R"("source" must be one of "tv", "hdmi", "component", "av", "scart", "pc", "usb", "app")"},
    {"an unknown source among good ones", "{\"source\": [\"tv\",\n\"moon\"]}", 8,
     "\"source\" must be one of"},
    {"a source that is a number", R"({"source": 1})", 7, "\"source\" must be one of"},
    {"no sources", R"({"source": []})", 7, "\"source\" must be one of"},

    {"a speaker without a name", R"({"speaker": ""})", 7, "\"speaker\" must be a non-empty string"},
    {"a speaker that is a number among good ones", "{\"speaker\": [\"receiver\",\n1]}", 8,
     "\"speaker\" must be a non-empty string"},
    {"no speakers", R"({"speaker": []})", 7, "\"speaker\" must be a non-empty string"},

    {"an action over itself", R"({"item": "asked", "is": "a"})", 7,
     "rule on \"asked\", which has no value: it is an action"},
};

class RuleMistake : public testing::TestWithParam<Mistake> {
 protected:
  CatalogueDirectory m_Directory;
};

TEST_P(RuleMistake, IsReportedOnceWithFileLineAndItem) {
  const auto& [title, rule, line, message] = GetParam();
  const auto file = m_Directory.Write("menu.json", WithRule(rule));
  const std::vector<CatalogueProblem> problems = CheckCatalogue(file);
  ASSERT_FALSE(problems.empty());
  EXPECT_EQ(problems.front().file, file);
  EXPECT_EQ(problems.front().line, line) << problems.front().message;
  EXPECT_EQ(problems.front().item, "asked");
  EXPECT_THAT(problems.front().message, HasSubstr(message));
  EXPECT_EQ(problems.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(EveryOne, RuleMistake, testing::ValuesIn(kMistakes), [](const auto& info) {
  std::string name = info.param.title;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
  return name;
});

class RuleProblems : public testing::Test {
 protected:
  // "line item: message" of each problem.
  std::vector<std::string> Check(const std::string& text) const {
    std::vector<std::string> texts;
    for (const auto& problem : CheckCatalogue(m_Directory.Write("menu.json", text))) {
      texts.push_back(std::to_string(problem.line) + " " + problem.item + ": " + problem.message);
    }
    return texts;
  }

  // Switches on one line each, from line 2 on; each rule is a member, or empty.
  std::vector<std::string> CheckSwitches(
      const std::vector<std::pair<std::string, std::string>>& switches) const {
    std::string text = "{\"items\": [";
    std::string comma;
    for (const auto& [id, rule] : switches) {
      text += comma + "\n" + R"({"id": ")" + id +
              R"(", "kind": "switch", "name": "S", "displayId": "S", "default": "on")" + rule + "}";
      comma = ",";
    }
    return Check(text + "]}");
  }

  static std::string Visible(const std::string& id) {
    return R"(, "visible": {"item": ")" + id + R"(", "is": "on"})";
  }
  static std::string Enabled(const std::string& id) {
    return R"(, "enabled": {"not": {"any": [{"source": "tv"}, {"item": ")" + id +
           R"(", "is": "on"}]}})";
  }

  CatalogueDirectory m_Directory;
};

TEST_F(RuleProblems, AGoodRuleHasNone) {
  EXPECT_THAT(Check(WithRule(R"({"all": [{"item": "mode", "is": ["a", "b"]},
    {"item": "tint", "is": [0, 2.5, 10.0]}, {"item": "game", "is": "on"},
    {"key": "db/menu/mode", "is": ["a", ""]}, {"key": "memory/a.b-c_d/E", "is": [-1, 1]},
    {"feature": "com.velmora/a_b-c.d/e", "is": [true, false]}, {"feature": "a/b", "is": 3},
    {"source": ["tv", "app"]}, {"speaker": ["receiver", "한국어"]}]})")),
              IsEmpty());
}

TEST_F(RuleProblems, AreFoundInEnabledAndInOptionsToo) {
  const std::string bad = R"({"source": "moon"})";
  EXPECT_THAT(Check(R"({"items": [{"id": "mode", "kind": "list", "name": "M", "displayId": "M",
    "visible": )" + bad +
                    R"(,
    "enabled": )" + bad +
                    R"(, "default": "a", "options": [
    {"value": "a", "name": "A", "visible": )" +
                    bad + R"(},
    {"value": "b", "name": "B", "enabled": )" +
                    bad + R"(}]}]})"),
              ElementsAre(HasSubstr("2 mode: \"source\""), HasSubstr("3 mode: \"source\""),
                          HasSubstr("4 mode: \"source\""), HasSubstr("5 mode: \"source\"")));
}

TEST_F(RuleProblems, TheOptionsOfASwitchTakeNoRules) {
  EXPECT_THAT(CheckSwitches({{"a", R"(, "options": [])"}}),
              ElementsAre(HasSubstr("unknown member \"options\"")));
}

TEST_F(RuleProblems, AnotherWordForIsIsUnknownAndIsIsMissed) {
  EXPECT_THAT(Check(WithRule(R"({"item": "mode", "in": ["a"]})")),
              ElementsAre("7 asked: unknown member \"in\": a rule on an item takes item, is",
                          "7 asked: member \"is\" is missing: a rule on an item needs it"));
}

TEST_F(RuleProblems, EveryRuleWithAMistakeIsReported) {
  EXPECT_THAT(CheckSwitches({{"a", Visible("no1") + Enabled("no2")}, {"b", Visible("no3")}}),
              ElementsAre(HasSubstr("2 a: rule on \"no1\""), HasSubstr("2 a: rule on \"no2\""),
                          HasSubstr("3 b: rule on \"no3\"")));
}

TEST_F(RuleProblems, ARuleOverAnItemInAnotherFileIsJudged) {
  m_Directory.Write("one.json", WithRule(R"({"item": "later", "is": "maybe"})"));
  m_Directory.Write("two.json", R"({"items": [
    {"id": "later", "kind": "switch", "name": "L", "displayId": "L", "default": "on",
     "visible": {"item": "mode", "is": "x"}}]})");
  const auto problems =
      CheckCatalogue(m_Directory.Write("menu.json", R"({"files": ["one.json", "two.json"]})"));
  ASSERT_THAT(problems, SizeIs(2));
  EXPECT_EQ(problems[0].file.filename(), "one.json");
  EXPECT_EQ(problems[0].line, 7);
  EXPECT_THAT(problems[0].message, HasSubstr("\"later\" is never \"maybe\""));
  EXPECT_EQ(problems[1].file.filename(), "two.json");
  EXPECT_EQ(problems[1].line, 3);
  EXPECT_EQ(problems[1].item, "later");
}

// One mistake, one report: the item may be missing, or lack the value, because of its own.
TEST_F(RuleProblems, ARuleOverAnItemWithAMistakeIsNotReportedAsWell) {
  EXPECT_THAT(CheckSwitches({{"a", Visible("b")}, {"b", R"(, "colour": "red")"}}), SizeIs(1));
  EXPECT_THAT(Check(R"({"items": [{"id": "b", "kind": "slider"},
    {"id": "a", "kind": "action", "name": "A", "displayId": "A",
     "visible": {"item": "b", "is": "on"}}]})"),
              ElementsAre("1 b: unknown kind: use \"group\", \"switch\", \"list\", \"range\" or "
                          "\"action\""));
  EXPECT_THAT(Check(R"({"items": [{"id": "b", "kind": "list", "name": "B", "displayId": "B",
     "default": "x", "options": [{"value": "x", "name": "X"}, {"value": 5, "name": "Y"}]},
    {"id": "a", "kind": "action", "name": "A", "displayId": "A",
     "visible": {"item": "b", "is": "5"}}]})"),
              ElementsAre(HasSubstr("2 b: \"value\" must be a non-empty string")));
}

TEST_F(RuleProblems, WhileAFileCannotBeReadNoItemIsReportedAsUnknown) {
  m_Directory.Write("one.json", WithRule(R"({"item": "inother", "is": "x"})"));
  const auto problems =
      CheckCatalogue(m_Directory.Write("menu.json", R"({"files": ["one.json", "no.json"]})"));
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].file.filename(), "no.json");
}

// Rules ask for values, which depend on no rule.
TEST_F(RuleProblems, ItemsMayAskForThemselvesAndForEachOther) {
  EXPECT_THAT(CheckSwitches({{"a", Visible("a")}}), IsEmpty());
  EXPECT_THAT(CheckSwitches({{"a", Enabled("b")}, {"b", Enabled("a") + Visible("a")}}), IsEmpty());
  EXPECT_THAT(CheckSwitches({{"a", Visible("b")}, {"b", Visible("c")}, {"c", Enabled("a")}}),
              IsEmpty());
}

TEST_F(RuleProblems, ARuleMayBeNestedDeep) {
  std::string rule = R"({"source": "tv"})";
  for (int depth = 0; depth < 200; ++depth) {
    rule = R"({"not": {"all": [)" + rule + "]}}";
  }
  EXPECT_THAT(Check(WithRule(rule)), IsEmpty());
}

}  // namespace
