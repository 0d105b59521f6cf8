#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "catalogue_directory.h"
#include "items/catalogue.h"

namespace {

using host::Catalogue;
using host::CatalogueError;
using host::CatalogueProblem;
using host::CheckCatalogue;
using testing::ElementsAre;
using testing::HasSubstr;

// One catalogue with one mistake: the whole file, where the mistake is, and a part of the message.
struct Mistake {
  const char* title;
  std::string text;
  int line;
  const char* item;
  const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* stream) { *stream << mistake.title; }

// The items begin on line 2.
std::string Items(const std::string& items) { return "{\"items\": [\n" + items + "\n]}\n"; }

std::string Action(const std::string& members) {
  return Items("{\"kind\": \"action\", " + members + "}");
}

std::string List(const std::string& members, const std::string& options) {
  return Items(R"({"id": "mode", "kind": "list", "name": "Mode", "displayId": "MODE",)"
               "\n" +
               members + "\n\"options\": [" + options + "]}");
}

std::string Switch(const std::string& members) {
  return Items(R"({"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME",)"
               "\n" +
               members + "}");
}

std::string Range(const std::string& members) {
  return Items(R"({"id": "tint", "kind": "range", "name": "Tint", "displayId": "TINT",)"
               "\n" +
               members + "}");
}

constexpr char kItem[] = R"({"id": "a", "kind": "action", "name": "A", "displayId": "A"})";
constexpr char kOption[] = R"({"value": "x", "name": "X"})";

const Mistake kMistakes[] = {
    {"an empty file", "", 1, "", "not JSON"},
    {"a broken file", "{\"items\": [\n{\"id\" \"a\"}\n]}", 2, "", "not JSON: Missing ':'"},
    {"a comment", "{\"items\": [\n// no\n1]}", 2, "", "not JSON"},
    {"text after the end", "{\"items\": []}\n}", 2, "", "not JSON: Extra non-whitespace"},
    {"text behind a zero byte", "{\"items\": [" + std::string(kItem) + "]}\n" + '\0' + "x", 2, "",
     "not JSON: nothing may follow the object"},
    {"a number with leading zeros",
     Range("\"min\": 0, \"max\": 50, \"step\": 1,\n\"default\": 007"), 4, "",
     "not JSON: leading zeros are not allowed"},
    {"a number with leading zeros that is of no use",
     "{\"$schema\":\n[01], \"items\": [" + std::string(kItem) + "]}", 2, "",
     "not JSON: leading zeros are not allowed"},
    {"a line end in a text", "{\"$schema\": \"a\n\", \"items\": [" + std::string(kItem) + "]}", 1,
     "", "not JSON: control character in a string"},
    {"a byte order mark", "\xEF\xBB\xBF{\"items\": [" + std::string(kItem) + "]}", 1, "",
     "begins with a byte order mark; save it as UTF-8 without one"},
    {"a text in UTF-16", "\xFF\xFE{", 1, "",
     "begins with the byte order mark of UTF-16; save it as UTF-8 without one"},
    {"a member that occurs twice", "{\"items\": [\n{\"id\": \"a\",\n\"id\": \"b\"}]}", 3, "",
     "not JSON: Duplicate key: 'id'"},
    {"a nesting beyond all measure", std::string(5000, '['), 0, "", "stackLimit"},
    {"a list instead of an object", "\n[]", 1, "", "the file must be one object"},
    {"no items", "{\n}", 1, "", "member \"items\" is missing"},
    {"an unknown member of the file",
     "{\"items\": [\n" + std::string(R"({"id": "a",
       "kind": "action", "name": "A", "displayId": "A"}],)") +
         "\n\"version\": 1}",
     4, "", "unknown member \"version\": a file of items takes $schema, items"},
    {"items that are no list", "{\"items\":\n{}}", 2, "", "\"items\" must be a list"},
    {"an empty list of items", "{\"items\":\n[]}", 2, "", "at least one item"},
    {"an item that is no object", Items("\"a\""), 2, "", "an item must be an object"},

    {"a missing identifier", Action(R"("name": "A", "displayId": "A")"), 2, "",
     "member \"id\" is missing: an item of kind action needs it"},
    {"an identifier that is no text", Action(R"("id": 1, "name": "A", "displayId": "A")"), 2, "",
     "\"id\" must be a non-empty string"},
    {"an identifier with capitals", Action(R"("id": "A", "name": "A", "displayId": "A")"), 2, "",
     "identifier \"A\" must begin with a lowercase letter"},
    {"an identifier with a slash", Action(R"("id": "a/b", "name": "A", "displayId": "A")"), 2, "",
     "identifier \"a/b\""},
    {"an identifier that begins with a digit",
     Action(R"("id": "1a", "name": "A", "displayId": "A")"), 2, "", "identifier \"1a\""},
    {"a long identifier",
     Action("\"id\": \"" + std::string(65, 'a') + R"(", "name": "A", "displayId": "A")"), 2, "",
     "at most 64"},
    {"a missing kind", Items(R"({"id": "a", "name": "A", "displayId": "A"})"), 2, "a",
     "member \"kind\" is missing"},
    {"an unknown kind", Items(R"({"id": "a", "kind": "slider"})"), 2, "a", "unknown kind"},
    {"a kind that is no text", Items(R"({"id": "a", "kind": 1})"), 2, "a", "unknown kind"},
    {"a missing name", Action(R"("id": "a", "displayId": "A")"), 2, "a",
     "member \"name\" is missing"},
    {"an empty name", Action(R"("id": "a", "name": "", "displayId": "A")"), 2, "a",
     "\"name\" must be a non-empty string"},
    {"a name with a control character", Action(R"("id": "a", "name": "A\u0000", "displayId": "A")"),
     2, "a", "\"name\" must be a non-empty string"},
    {"a name that is not UTF-8", Action("\"id\": \"a\", \"name\": \"\xff\", \"displayId\": \"A\""),
     2, "a", "\"name\" must be a non-empty string"},
    {"a missing display identifier", Action(R"("id": "a", "name": "A")"), 2, "a",
     "member \"displayId\" is missing"},
    {"a display identifier with small letters",
     Action(R"("id": "a", "name": "A", "displayId": "Menu")"), 2, "a", "\"displayId\" \"Menu\""},
    {"an unknown member of an item",
     Action("\"id\": \"a\", \"name\": \"A\", \"displayId\": \"A\",\n\"key\": \"db/a\""), 3, "a",
     "unknown member \"key\": an item of kind action takes id, kind, name, displayId"},
    {"a group without items",
     Items(R"({"id": "a", "kind": "group", "name": "A", "displayId": "A"})"), 2, "a",
     "member \"items\" is missing"},
    {"an empty group",
     Items("{\"id\": \"a\", \"kind\": \"group\", \"name\": \"A\", \"displayId\": \"A\",\n"
           "\"items\": []}"),
     3, "a", "at least one item"},

    {"an identifier that is used twice",
     Items(R"({"id": "a", "kind": "action", "name": "A", "displayId": "A"},)"
           "\n"
           R"({"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on"})"),
     3, "a", "identifier is already used, at menu.json:2"},
    {"an identifier that is used twice by items with values",
     Items(R"({"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on"},)"
           "\n"
           R"({"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on"})"),
     3, "a", "identifier is already used"},
    {"a key that is used twice",
     Items(R"({"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on"},)"
           "\n"
           R"({"id": "b", "kind": "switch", "name": "B", "displayId": "B", "default": "on",
              "key": "db/menu/a"})"),
     3, "b", "key \"db/menu/a\" is already used by \"a\" at menu.json:2"},
    {"a display identifier for two names",
     Items(R"({"id": "a", "kind": "action", "name": "A", "displayId": "TEXT"},)"
           "\n"
           R"({"id": "b", "kind": "action", "name": "B", "displayId": "TEXT"})"),
     3, "b", "\"displayId\" \"TEXT\" already stands for another name, at menu.json:2"},

    {"a missing default", List("", kOption), 2, "mode", "member \"default\" is missing"},
    {"a default that is no option", List("\"default\": \"y\",", kOption), 3, "mode",
     "default \"y\" is not one of the options"},
    {"a default that is no text", List("\"default\": 1,", kOption), 3, "mode",
     "\"default\" must be a non-empty string"},
    {"an empty list of options", List("\"default\": \"x\",", ""), 4, "mode", "at least one option"},
    {"an option that is no object", List("\"default\": \"x\",", std::string(kOption) + ", 1"), 4,
     "mode", "an option must be an object"},
    {"an option without a name", List("\"default\": \"x\",", R"({"value": "x"})"), 4, "mode",
     "member \"name\" is missing: an option needs it"},
    {"an option without a value",
     List("\"default\": \"x\",", std::string(kOption) + ",\n{\"name\": \"Y\"}"), 5, "mode",
     "member \"value\" is missing"},
    {"an unknown member of an option",
     List("\"default\": \"x\",", R"({"value": "x", "name": "X", "icon": "x"})"), 4, "mode",
     "unknown member \"icon\": an option takes value, name"},
    {"an option value that occurs twice",
     List("\"default\": \"x\",", std::string(kOption) + ",\n" + kOption), 5, "mode",
     "option \"x\" occurs twice"},
    {"an option value without end",
     List("\"default\": \"x\",",
          std::string(kOption) + R"(, {"name": "Y", "value": ")" + std::string(256, 'y') + "\"}"),
     4, "mode", "a value has at most 255 bytes"},
    {"an option that is no integer", List("\"storage\": \"int\", \"default\": \"x\",", kOption), 4,
     "mode", "option \"x\" cannot be stored as an int"},
    {"an option that is an integer in another form",
     List("\"storage\": \"int\", \"default\": \"04\",", R"({"value": "04", "name": "4"})"), 4,
     "mode", "option \"04\" cannot be stored as an int"},
    {"an option beyond the integers",
     List("\"storage\": \"int\", \"default\": \"4000000000\",",
          R"({"value": "4000000000", "name": "4"})"),
     4, "mode", "option \"4000000000\" cannot be stored as an int"},
    {"an unknown storage", List("\"storage\": \"double\", \"default\": \"x\",", kOption), 3, "mode",
     "unknown storage \"double\""},
    {"an unknown thing to follow", List("\"follows\": \"sun\", \"default\": \"x\",", kOption), 3,
     "mode", "\"follows\" \"sun\" is unknown"},

    {"a key in no store", List("\"key\": \"etc/a\", \"default\": \"x\",", kOption), 3, "mode",
     "key \"etc/a\" must begin with db/ or memory/"},
    {"a key of nothing", List("\"key\": \"db/\", \"default\": \"x\",", kOption), 3, "mode",
     "key \"db/\""},
    {"a key with an empty part", List("\"key\": \"db//a\", \"default\": \"x\",", kOption), 3,
     "mode", "key \"db//a\""},
    {"a key with a space", List("\"key\": \"db/a b\", \"default\": \"x\",", kOption), 3, "mode",
     "key \"db/a b\""},
    {"a long key",
     List("\"key\": \"db/" + std::string(253, 'a') + "\", \"default\": \"x\",", kOption), 3, "mode",
     "at most 255 bytes"},
    {"a key among the previews",
     List("\"key\": \"memory/menu/preview/a\", \"default\": \"x\",", kOption), 3, "mode",
     "not be in memory/menu/preview/"},
    {"the key of the disabled items",
     List("\"key\": \"memory/menu/disabled_items\", \"default\": \"x\",", kOption), 3, "mode",
     "key \"memory/menu/disabled_items\" is reserved for the set: choose another"},
    {"the key of the speaker",
     List("\"key\": \"memory/set/speaker\", \"default\": \"x\",", kOption), 3, "mode",
     "key \"memory/set/speaker\" is reserved for the set"},
    {"the key of a reset",
     Switch("\"default\": \"on\",\n\"key\": \"memory/menu/general/reset/progressing\""), 4, "game",
     "key \"memory/menu/general/reset/progressing\" is reserved for the set"},
    {"an identifier whose key is taken",
     Items("\n{\"id\": \"refresh_menu\", \"kind\": \"switch\", \"name\": \"A\", "
           "\"displayId\": \"A\", \"default\": \"on\"}"),
     3, "refresh_menu", "key \"db/menu/refresh_menu\" is reserved for the set"},

    {"a switch that is neither on nor off", Switch("\"default\": \"yes\""), 3, "game",
     "must be \"on\" or \"off\""},
    {"a switch that is a truth value", Switch("\"default\": true"), 3, "game",
     "\"default\" must be a non-empty string"},
    {"a switch without a default", Switch("\"storage\": \"int\""), 2, "game",
     "member \"default\" is missing"},

    {"a range without a bound", Range(R"("min": 0, "step": 1, "default": 0)"), 2, "tint",
     "member \"max\" is missing"},
    {"a bound that is no number", Range(R"("min": "0", "max": 5, "step": 1, "default": 0)"), 3,
     "tint", "\"min\" must be a number"},
    {"a bound with an exponent", Range(R"("min": 0, "max": 1e2, "step": 1, "default": 0)"), 3,
     "tint", "\"max\" must be a number like"},
    {"bounds the wrong way round", Range(R"("min": 6, "max": 5, "step": 1, "default": 5)"), 3,
     "tint", "\"min\" must be below \"max\""},
    {"bounds without room", Range(R"("min": 5, "max": 5, "step": 1, "default": 5)"), 3, "tint",
     "\"min\" must be below \"max\""},
    {"a step of nothing", Range(R"("min": 0, "max": 5, "step": 0, "default": 0)"), 3, "tint",
     "\"step\" must be above 0"},
    {"a step back", Range(R"("min": 0, "max": 5, "step": -1, "default": 0)"), 3, "tint",
     "\"step\" must be above 0"},
    {"an upper bound between two steps", Range(R"("min": 0, "max": 5, "step": 2, "default": 0)"), 3,
     "tint", "\"max\" must be min plus a whole number of steps"},
    {"a number of too many digits",
     Range(R"("min": 0, "max": 2000000000, "step": 1, "default": 0)"), 3, "tint", "nine digits"},
    {"a default between two steps", Range(R"("min": 0, "max": 4, "step": 2, "default": 1)"), 3,
     "tint", "default 1 is not min plus a whole number of steps"},
    {"a default above the range", Range(R"("min": 0, "max": 4, "step": 2, "default": 6.0)"), 3,
     "tint", "default 6.0 is not"},
    {"fractions stored as integers",
     Range(R"("storage": "int", "min": 0, "max": 1, "step": 0.5, "default": 0)"), 3, "tint",
     "fractions cannot be stored as an int"},
    {"whole numbers stored as integers that are kept as fractions",
     Range(R"("storage": "int", "min": 0, "max": 9, "step": 1, "default": 0,
              "kept": {"min": 0, "step": 0.1})"),
     3, "tint", "fractions cannot be stored as an int"},
    {"a unit that is no text", Range(R"("min": 0, "max": 5, "step": 1, "default": 0, "unit": 1)"),
     3, "tint", "\"unit\" must be a non-empty string"},
    {"a scale that is no object",
     Range(R"("min": 0, "max": 5, "step": 1, "default": 0, "kept": 10)"), 3, "tint",
     "\"kept\" must be an object"},
    {"a scale without a step",
     Range("\"min\": 0, \"max\": 5, \"step\": 1, \"default\": 0,\n\"kept\": {\"min\": 0}"), 4,
     "tint", "member \"step\" is missing: \"kept\" needs it"},
    {"a range with a scale of what is shown",
     Range("\"min\": 0, \"max\": 5, \"step\": 1, \"default\": 0,\n"
           "\"shown\": {\"min\": 0, \"step\": 10}"),
     4, "tint", "unknown member \"shown\""},
    {"an unknown member of a scale", Range(R"("min": 0, "max": 5, "step": 1, "default": 0,
              "kept": {"min": 0, "step": 1, "max": 5})"),
     4, "tint", "unknown member \"max\": \"kept\" takes min, step"},
    {"a scale that runs backwards",
     Range(R"("min": 0, "max": 5, "step": 1, "default": 0, "kept": {"min": 0, "step": -1})"), 3,
     "tint", "\"step\" of \"kept\" must be above 0"},

    {"an empty index", "{\"files\":\n[]}", 2, "", "at least one file name"},
    {"an index that is no list", "{\"files\":\n\"a.json\"}", 2, "", "must be a list"},
    {"a file that has no name", "{\"files\":\n[1]}", 2, "", "a file name must not contain"},
    {"a file in another directory", "{\"files\":\n[\"../a.json\"]}", 2, "",
     "must not contain \"/\""},
    {"an index with items", "{\"files\": [\"good.json\"],\n\"items\": []}", 2, "",
     "unknown member \"items\": an index takes $schema, files"},
    {"a file that is named twice", "{\"files\": [\"good.json\",\n\"good.json\"]}", 2, "",
     "file \"good.json\" is named twice"},
};

class CatalogueMistake : public testing::TestWithParam<Mistake> {
 protected:
  CatalogueMistake() {
    m_Directory.Write("good.json", Action(R"("id": "good", "name": "Good", "displayId": "GOOD")"));
  }

  CatalogueDirectory m_Directory;
};

TEST_P(CatalogueMistake, IsReportedWithFileLineAndItem) {
  const Mistake& mistake = GetParam();
  const auto file = m_Directory.Write("menu.json", mistake.text);
  const std::vector<CatalogueProblem> problems = CheckCatalogue(file);
  ASSERT_FALSE(problems.empty());
  const CatalogueProblem& problem = problems.front();
  EXPECT_EQ(problem.file, file);
  EXPECT_EQ(problem.line, mistake.line) << problem.message;
  EXPECT_EQ(problem.item, mistake.item) << problem.message;
  EXPECT_THAT(problem.message, HasSubstr(mistake.message));
}

INSTANTIATE_TEST_SUITE_P(EveryOne, CatalogueMistake, testing::ValuesIn(kMistakes),
                         [](const auto& info) {
                           std::string name = info.param.title;
                           std::replace_if(
                               name.begin(), name.end(), [](char c) { return !std::isalnum(c); },
                               '_');
                           return name;
                         });

class CatalogueProblems : public testing::Test {
 protected:
  std::vector<std::string> Check(const std::string& text) const {
    std::vector<std::string> texts;
    for (const CatalogueProblem& problem : CheckCatalogue(m_Directory.Write("menu.json", text))) {
      texts.push_back(std::to_string(problem.line) + " " + problem.item);
    }
    return texts;
  }

  CatalogueDirectory m_Directory;
};

TEST_F(CatalogueProblems, AllMistakesAreReportedInTheOrderOfTheLines) {
  EXPECT_THAT(Check(R"({"items": [
    {"id": "a", "kind": "group", "name": "A", "displayId": "A", "items": [
      {"id": "b", "kind": "switch", "name": "B", "displayId": "B",
       "default": "maybe"},
      {"id": "c", "kind": "range", "name": "C", "displayId": "C", "min": 0,
       "max": 10, "step": 4,
       "default": 0}],
     "colour": "red"},
    {"id": "b", "kind": "action", "name": "B", "displayId": "B"}]})"),
              ElementsAre("4 b", "6 c", "8 a", "9 b"));
}

// The daemon shows the status of the record in use, and the menu the language, by an item each.
TEST_F(CatalogueProblems, KeysBesideThoseOfTheSetAreFree) {
  for (const char* key : {"memory/settings", "memory/set", "memory/menu/disabled_items_shown",
                          "db/menu/virtualaim/aimtype", "db/menu_widget/language"}) {
    EXPECT_THAT(Check(List("\"key\": \"" + std::string(key) + "\", \"default\": \"x\",", kOption)),
                ElementsAre())
        << key;
  }
}

TEST_F(CatalogueProblems, AMistakeIsReportedOnce) {
  for (const Mistake& mistake : kMistakes) {
    m_Directory.Write("good.json", Action(R"("id": "good", "name": "Good", "displayId": "GOOD")"));
    const auto problems = Check(mistake.text);
    EXPECT_EQ(problems.size(), 1u) << mistake.title << ": " << testing::PrintToString(problems);
  }
}

TEST_F(CatalogueProblems, ProblemsNameTheFileOfTheIndexThatTheyAreIn) {
  m_Directory.Write("one.json", Action(R"("id": "a", "name": "A", "displayId": "A")"));
  m_Directory.Write("two.json", Action(R"("id": "a", "name": "A", "displayId": "A")"));
  const auto problems = CheckCatalogue(
      m_Directory.Write("menu.json", "{\"files\": [\"one.json\", \"two.json\",\n\"no.json\"]}"));
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0].file, m_Directory.Path() / "two.json");
  EXPECT_THAT(problems[0].message, HasSubstr("at one.json:2"));
  EXPECT_EQ(problems[1].file, m_Directory.Path() / "no.json");
  EXPECT_EQ(problems[1].message, "cannot be read: No such file or directory");
}

TEST_F(CatalogueProblems, AnIndexCannotNameAnIndex) {
  m_Directory.Write("inner.json", R"({"files": ["menu.json"]})");
  EXPECT_THAT(Check(R"({"files": ["inner.json"]})"), ElementsAre("1 ", "1 "));
}

TEST_F(CatalogueProblems, ADirectoryIsNoCatalogue) {
  const auto problems = CheckCatalogue(m_Directory.Path());
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].message, "cannot be read: Is a directory");
  EXPECT_EQ(problems[0].line, 0);
}

TEST_F(CatalogueProblems, LoadingThrowsAllOfThemAndSaysTheFirst) {
  const auto file = m_Directory.Write("menu.json", "{\"items\": [\n1,\n2]}");
  try {
    Catalogue::Load(file);
    FAIL() << "the catalogue was loaded";
  } catch (const CatalogueError& error) {
    EXPECT_EQ(error.Problems().size(), 2u);
    EXPECT_EQ(error.what(), file.string() + ":2: an item must be an object");
  }
}

TEST(CatalogueProblem, ItsTextLeavesOutWhatItDoesNotHave) {
  EXPECT_EQ(host::ToText({"menu.json", 3, "tint", "wrong"}), "menu.json:3: tint: wrong");
  EXPECT_EQ(host::ToText({"menu.json", 3, "", "wrong"}), "menu.json:3: wrong");
  EXPECT_EQ(host::ToText({"menu.json", 0, "", "wrong"}), "menu.json: wrong");
}

}  // namespace
