// The verbs of settingsctl that set values, on a set.

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "base/json.h"
#include "bus/bus.h"
#include "settings/client.h"
#include "support/wait.h"
#include "system_test.h"

namespace {

using support::Outcome;
using testing::HasSubstr;

class ValueVerbs : public SystemTest {
 protected:
  Outcome Run(std::vector<std::string> words, const std::string& input = "") {
    words.insert(words.begin(), "settingsctl");
    return m_Set.Run(words, input);
  }

  std::string Value(const std::string& item) { return Run({"get", "--raw", item}).out; }

  void ExpectDone(const std::vector<std::string>& words, const std::string& out) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
  }

  void ExpectFailure(const std::vector<std::string>& words, int status, const std::string& err) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr(err));
    EXPECT_EQ(outcome.status, status);
  }
};

TEST_F(ValueVerbs, ToggleTurnsASwitchOnAndOff) {
  ExpectDone({"toggle", "gamemode"}, "on (On)\n");
  EXPECT_EQ(Value("gamemode"), "on\n");
  ExpectDone({"toggle", "gamemode", "--json"}, R"({"item":"gamemode","value":"off","name":"Off"})"
                                               "\n");
  EXPECT_EQ(Value("gamemode"), "off\n");
}

TEST_F(ValueVerbs, ToggleIsForSwitches) {
  ExpectFailure({"toggle", "brightness"}, 2,
                "\"brightness\" is no switch, it takes 0 to 50, step 1");
  ExpectFailure({"toggle", "audioreturn"}, 2, "\"audioreturn\" is no switch, it takes off, auto");
  ExpectFailure({"toggle", "picture"}, 2,
                "\"picture\" is no switch, it is a group, it has no value");
  ExpectFailure({"toggle", "picturereset"}, 2, "\"picturereset\" is no switch, it is an action");
  ExpectFailure({"toggle", "gamemod"}, 10, "no item \"gamemod\"; nearest: gamemode");
  EXPECT_EQ(Value("brightness"), "25\n");
}

#if SETTINGS_SLOWDOWN == \
    1  // what is instrumented is too slow for a shell, which is offered nothing
TEST_F(ValueVerbs, VerbsAreOfferedWhatTheyTakeOfTheWholeMenu) {
  const std::vector<std::string> withValue =
      base::TryParseJson(Run({"export", "--json"}).out).value().getMemberNames();
  std::vector<std::string> switches;
  std::vector<std::string> describe = {"describe", "--json"};
  describe.insert(describe.end(), withValue.begin(), withValue.end());
  std::istringstream descriptions(Run(describe).out);
  for (std::string line; std::getline(descriptions, line);) {
    const Json::Value item = base::TryParseJson(line).value();
    if (item["kind"] == "switch") {
      switches.push_back(item["item"].asString());
    }
  }
  ASSERT_FALSE(switches.empty());
  const auto offered = [this](const std::string& verb) {
    std::string text;
    // An offer that takes too long on a busy machine is none.
    support::WaitUntil([&] { return !(text = Run({"complete", "--", verb, ""}).out).empty(); });
    std::vector<std::string> items;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      items.push_back(line.substr(0, line.find('\t')));
    }
    return items;
  };
  EXPECT_THAT(offered("toggle"), testing::UnorderedElementsAreArray(switches));
  EXPECT_THAT(offered("step"), testing::UnorderedElementsAreArray(withValue));
  EXPECT_THAT(offered("get"), testing::UnorderedElementsAreArray(withValue));
}
#endif

TEST_F(ValueVerbs, StepGoesThroughTheNumbersOfARange) {
  ExpectDone({"step", "brightness"}, "26\n");
  ExpectDone({"step", "brightness", "-3"}, "23\n");
  ExpectDone({"step", "brightness", "27"}, "50\n");
  ExpectDone({"step", "sounddelay", "25"}, "250 (250 ms)\n");
  for (const char* number : {"0.3", "0.4", "0.5", "0.6"}) {
    ExpectDone({"step", "menutransparency"}, std::string(number) + "\n");
  }
}

TEST_F(ValueVerbs, AWholeNumberIsDecimalWhateverItBeginsWith) {
  ExpectDone({"step", "brightness", "010"}, "35\n");
  ExpectDone({"step", "brightness", "-010"}, "25\n");
  ExpectDone({"step", "brightness", "009"}, "34\n");
}

TEST_F(ValueVerbs, StepGoesThroughAListInTheOrderOfTheMenu) {
  while (Run({"step", "picturemode", "-1"}).status == 0) {
  }
  ExpectFailure({"step", "picturemode", "-1"}, 1,
                "\"picturemode\" is dynamic and its first value is dynamic");
  std::string seen = Value("picturemode");
  for (Outcome outcome; (outcome = Run({"step", "picturemode"})).status == 0;) {
    seen += Value("picturemode");
  }
  EXPECT_EQ(seen, Run({"values", "picturemode"}).out);
}

TEST_F(ValueVerbs, StepPassesOverTheValuesThatTheMenuHides) {
  ExpectDone({"values", "gamepicture"}, "standard\nrpg\nrts\nfps\nsports\n");
  EXPECT_EQ(Run({"visible", "gamepicture", "--value", "rts"}).out, "no\n");
  ExpectDone({"step", "gamepicture", "2"}, "fps (FPS)\n");
  ExpectDone({"step", "gamepicture", "-1"}, "rpg (RPG)\n");
  ExpectFailure({"step", "gamepicture", "3"}, 1,
                "\"gamepicture\" is rpg and its last value is sports");
  // One that is set, by whomever, has its neighbours all the same.
  ExpectDone({"set", "gamepicture", "rts"}, "");
  ExpectDone({"step", "gamepicture"}, "fps (FPS)\n");
  ExpectDone({"set", "gamepicture", "rts"}, "");
  ExpectDone({"step", "gamepicture", "-2"}, "standard (Standard)\n");
  m_Set.Run({"setctl", "key", "set", "memory/set/source/type", "hdmi"});
  ExpectDone({"step", "gamepicture", "2"}, "rts (RTS)\n");
}

TEST_F(ValueVerbs, StepTellsTheLastValueApartFromTheLastThatTheMenuShows) {
  EXPECT_EQ(Run({"values", "inputlag"}).out, "standard\nfast\nfastest\n");
  EXPECT_EQ(Run({"visible", "inputlag", "--value", "fastest"}).out, "no\n");
  ExpectFailure({"step", "inputlag"}, 1,
                "\"inputlag\" is fast and the last value that the menu shows is fast\n");
  ExpectFailure({"step", "inputlag", "-2"}, 1,
                "\"inputlag\" is fast and its first value is standard\n");
  m_Set.Run({"setctl", "key", "set", "memory/set/source/type", "hdmi"});
  ExpectDone({"step", "inputlag"}, "fastest (Fastest)\n");
  ExpectFailure({"step", "inputlag"}, 1, "\"inputlag\" is fastest and its last value is fastest\n");
  // Shown or not, the item has it.
  m_Set.Run({"setctl", "key", "set", "memory/set/source/type", "tv"});
  ExpectFailure({"step", "inputlag"}, 1, "\"inputlag\" is fastest and its last value is fastest\n");
}

TEST_F(ValueVerbs, StepDoesNotGoBeyondTheBounds) {
  ExpectFailure({"step", "brightness", "26"}, 1,
                "\"brightness\" is 25 and its highest value is 50");
  ExpectFailure({"step", "brightness", "-26"}, 1, "\"brightness\" is 25 and its lowest value is 0");
  ExpectFailure({"step", "brightness", "2147483647"}, 1, "its highest value is 50");
  ExpectFailure({"step", "picturemode", "100"}, 1, "its last value is filmmaker");
  EXPECT_EQ(Value("brightness"), "25\n");
  EXPECT_EQ(Value("picturemode"), "standard\n");
}

TEST_F(ValueVerbs, StepNeedsAValueAndAWholeNumberOfSteps) {
  ExpectFailure({"step", "picture"}, 2, "\"picture\" is a group, it has no value");
  ExpectFailure({"step", "picturereset"}, 2, "\"picturereset\" is an action, it has no value");
  ExpectFailure({"step", "brightness", "0"}, 2, "0 steps");
  ExpectFailure({"step", "brightness", "much"}, 2, "much");
  ExpectFailure({"step", "brightnes"}, 10, "nearest: brightness");
}

TEST_F(ValueVerbs, AsJsonSetTellsTheValueAsItIsKept) {
  const auto toldBySet = [this](const std::string& item, const std::string& value, bool preview) {
    std::vector<std::string> words = {"set", item, value, "--json"};
    if (preview) {
      words.emplace_back("--preview");
    }
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.err, "");
    const Json::Value told = base::TryParseJson(outcome.out).value_or(Json::Value());
    EXPECT_EQ(told["item"], item);
    EXPECT_EQ(told["preview"], preview);
    return told["value"].asString() + "\n";
  };
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"brightness", "26.00", "26\n"},
      {"brightness", "027", "27\n"},
      {"zoomlevel", "1.5", "1.50\n"},
      {"picturemode", "movie", "movie\n"},
      {"gamemode", "on", "on\n"}};
  for (const bool preview : {true, false}) {
    for (const auto& [item, typed, kept] : cases) {
      EXPECT_EQ(toldBySet(item, typed, preview), kept);
      EXPECT_EQ(Value(item), kept);
    }
  }
  // What follows the speaker is kept all the same.
  ASSERT_EQ(m_Set.Run({"setctl", "speaker", "optical"}).status, 0);
  ASSERT_TRUE(support::WaitUntil([&] { return Value("soundoutput") == "optical\n"; }));
  EXPECT_EQ(toldBySet("soundoutput", "receiver", false), "receiver\n");
}

// Another value than an item's present one, as a file can have it.
Json::Value AnotherValue(settings::Client& client, const std::string& item,
                         const std::string& value) {
  if (const auto range = client.GetItemMinMaxStepValue(item)) {
    const double number = std::stod(value) == range->max ? range->min : range->max;
    return Json::Value(number);
  }
  const auto values = client.GetItemDataList(item).value_or(std::vector<std::string>());
  if (values == std::vector<std::string>{"off", "on"}) {
    return Json::Value(value == "off");
  }
  const auto other = std::find_if(values.begin(), values.end(),
                                  [&](const std::string& each) { return each != value; });
  return other == values.end() ? Json::Value() : Json::Value(*other);
}

TEST_F(ValueVerbs, ThatWhichIsExportedIsImportedForTheWholeMenu) {
  settings::Client client(m_Set.Bus().Address());
  const std::string before = Run({"export"}).out;
  Json::Value others = base::TryParseJson(before).value();
  EXPECT_GT(others.size(), 200u);
  EXPECT_EQ(Run({"import", "-"}, before).out, "") << "nothing differs";
  for (const std::string& item : others.getMemberNames()) {
    EXPECT_EQ(others[item], client.GetItemValue(item).value_or("")) << item;
    others[item] = AnotherValue(client, item, others[item].asString());
  }

  const Outcome dry = Run({"import", "-", "--dry-run"}, others.toStyledString());
  EXPECT_EQ(dry.status, 0) << dry.err;
  EXPECT_EQ(std::count(dry.out.begin(), dry.out.end(), '\n'), others.size());
  EXPECT_EQ(Run({"export"}).out, before);
  const Outcome done = Run({"import", "-"}, others.toStyledString());
  EXPECT_EQ(done.out, dry.out);
  EXPECT_EQ(done.status, 0) << done.err;
  const Json::Value after = base::TryParseJson(Run({"export", "--json"}).out).value();
  for (const std::string& item : others.getMemberNames()) {
    const Json::Value& wanted = others[item];
    if (wanted.isDouble()) {
      EXPECT_DOUBLE_EQ(std::stod(after[item].asString()), wanted.asDouble()) << item;
    } else {
      EXPECT_EQ(after[item].asString(),
                wanted.isBool() ? (wanted.asBool() ? "on" : "off") : wanted.asString())
          << item;
    }
  }

  EXPECT_EQ(Run({"import", "-"}, before).status, 0);
  EXPECT_EQ(Run({"export"}).out, before);
}

TEST_F(ValueVerbs, APartOfTheMenuIsExportedInItsOrder) {
  ExpectDone({"export", "brightness"}, "{\n  \"brightness\": \"25\"\n}\n");
  ExpectDone({"export", "picture/expertsettings/brightness", "--json"},
             "{\"brightness\":\"25\"}\n");
  ExpectDone({"export", "picturereset"}, "{}\n");
  ExpectFailure({"export", "brigthness"}, 10, "no item \"brigthness\"; nearest: brightness");
  const std::string game = Run({"export", "game", "--json"}).out;
  EXPECT_LT(game.find("gamemode"), game.find("autogamemode"));
}

TEST_F(ValueVerbs, WhatCannotBeImportedIsListedAndTheRestIsSet) {
  const std::string file =
      R"({"brightness": 51, "brigthness": 30, "gamemode": true, "picturemode": false,)"
      R"( "contrast": 40.0, "picture": "x", "sharpness": null, "sounddelay": "250"})";
  const std::string message =
      "settingsctl: \"brightness\" takes 0 to 50, step 1\n"
      "settingsctl: no item \"brigthness\"; nearest: brightness\n"
      "settingsctl: \"picturemode\" takes dynamic, standard, movie, filmmaker\n"
      "settingsctl: \"picture\" is a group, it has no value\n"
      "settingsctl: \"sharpness\" takes 0 to 20, step 1\n"
      "settingsctl: 5 of 8 values not set\n";
  const std::string set =
      "gamemode: off → on\n"
      "contrast: 45 → 40\n"
      "sounddelay: 0 → 250\n";
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"import", "-", "--dry-run"}, {"import", "-"}}) {
    const Outcome outcome = Run(line, file);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, message);
    EXPECT_EQ(outcome.out, set);
  }
  EXPECT_EQ(Run({"get", "gamemode", "contrast", "sounddelay", "brightness", "--raw"}).out,
            "on\n40\n250\n25\n");
}

TEST_F(ValueVerbs, AnItemIsImportedByItsPathAndItsNumberPrintedAsItIsKept) {
  const std::string file =
      R"({"picture/expertsettings/brightness": 30.0, "zoomlevel": 1.5, "backlight": "036",)"
      R"( "game/contrast": 3, "autogamemode": "off"})";
  const std::string set =
      "brightness: 25 → 30\n"
      "zoomlevel: 1.00 → 1.50\n"
      "backlight: 35 → 36\n"
      "autogamemode: on → off\n";
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"import", "-", "--dry-run"}, {"import", "-"}}) {
    const Outcome outcome = Run(line, file);
    EXPECT_EQ(outcome.status, 10);
    EXPECT_EQ(outcome.out, set);
    EXPECT_EQ(outcome.err,
              "settingsctl: no item \"game/contrast\"; nearest: picture/expertsettings/contrast\n"
              "settingsctl: 1 of 5 values not set\n");
  }
  EXPECT_EQ(Run({"get", "brightness", "zoomlevel", "backlight", "autogamemode", "--raw"}).out,
            "30\n1.50\n36\noff\n");
}

TEST_F(ValueVerbs, ImportTellsProgramsWhatItSetAndWhatNot) {
  const Outcome outcome =
      Run({"import", "-", "--json"}, R"({"gamemode": true, "picturemode": "sepia"})");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, R"({"item":"gamemode","from":"off","value":"on"})"
                         "\n"
                         R"({"item":"picturemode","value":"sepia",)"
                         R"("refused":"\"picturemode\" takes dynamic, standard, movie, filmmaker"})"
                         "\n");
}

TEST_F(ValueVerbs, ItemsThatDoNotExistDoNotKeepOthersFromBeingImported) {
  const Outcome outcome = Run({"import", "-"}, R"({"brigthness": 30, "brightness": 30})");
  EXPECT_EQ(outcome.status, 10);
  EXPECT_THAT(outcome.err, HasSubstr("no item \"brigthness\"; nearest: brightness\n"));
  EXPECT_EQ(outcome.out, "brightness: 25 → 30\n");
}

TEST_F(ValueVerbs, AnImportIsCompletedAlsoWhenItsOutputCannotBeWritten) {
  const std::string full = R"(exec "$0" "$@" > /dev/full)";
  const std::string nobodyReads = R"(exec > >(exit 0); wait $!; exec "$0" "$@")";
  const std::string notSet =
      "settingsctl: no item \"brigthness\"; nearest: brightness\n"
      "settingsctl: 1 of 3 values not set\n";
  const struct {
    std::string shell;
    std::string item;
    int status;
    std::string err;
  } cases[] = {
      {nobodyReads, "brightness", 0, ""},
      {full, "brightness", 1,
       "settingsctl: cannot write to standard output: No space left on device\n"},
      {nobodyReads, "brigthness", 10, notSet},
      {full, "brigthness", 10, notSet},
  };
  for (const auto& [shell, item, status, err] : cases) {
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--json"}}) {
      Run({"set", "gamemode", "off"});
      Run({"set", "contrast", "45"});
      std::vector<std::string> command = {"bash", "-c", shell, "settingsctl", "import", "-"};
      command.insert(command.end(), options.begin(), options.end());
      const Outcome outcome =
          m_Set.Run(command, R"({"gamemode": true, ")" + item + R"(": 30, "contrast": 40})");
      EXPECT_EQ(outcome.err, err);
      EXPECT_EQ(outcome.status, status);
      EXPECT_EQ(Run({"get", "gamemode", "contrast", "--raw"}).out, "on\n40\n");
    }
    Run({"set", "brightness", "25"});
  }
}

TEST_F(ValueVerbs, AnItemThatAFileHasTwiceIsRefusedBeforeAnythingIsSet) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"contrast": 40, "picture/picturemode": "movie", "picturemode": "standard"})",
       R"("picture/picturemode" and "picturemode" are one item, given twice)"},
      {R"({"contrast": 40, "picturemode": "standard", "/picture/picturemode/": "movie"})",
       R"("picturemode" and "/picture/picturemode/" are one item, given twice)"},
      {R"({"contrast": 40, "game/gamemode": true, "/game/gamemode": true})",
       R"("game/gamemode" and "/game/gamemode" are one item, given twice)"},
  };
  for (const auto& [file, problem] : cases) {
    for (const std::vector<std::string>& line :
         {std::vector<std::string>{"import", "-", "--dry-run"}, {"import", "-"}}) {
      const Outcome outcome = Run(line, file);
      EXPECT_EQ(outcome.status, 1);
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.err, "settingsctl: " + problem + "; nothing was set\n");
    }
  }
  EXPECT_EQ(Run({"get", "contrast", "picturemode", "gamemode", "--raw"}).out,
            "45\nstandard\noff\n");
}

TEST_F(ValueVerbs, ANumberIsTheSameHoweverItIsWritten) {
  for (const char* number : {"25", "25.0", "\"25.00\"", "2.5e1", "\"025\""}) {
    const Outcome outcome = Run({"import", "-"}, std::string(R"({"brightness": )") + number + "}");
    EXPECT_EQ(outcome.out, "") << number;
    EXPECT_EQ(outcome.status, 0) << number;
  }
}

TEST_F(ValueVerbs, AFileThatIsNoObjectIsRefusedWithItsPlaceBeforeAnythingIsSet) {
  const struct {
    std::string text;
    std::string where;
  } cases[] = {
      {"{\"brightness\": 30,\n \"contrast\" 5}", "line 2, column 13: expected a colon"},
      {"{\"brightness\": 30,\n \"brightness\": 31}", "line 2, column 2: duplicate member name"},
      {"{\"brightness\": 30} []", "line 1, column 20: nothing may follow the object"},
      {"\n  [30]", "line 2, column 3: expected a JSON object, item to value"},
      {"30", "line 1, column 1: expected a JSON object, item to value"},
      {"", "line 1, column 1: expected a JSON object, item to value"},
      {"\xEF\xBB\xBF{}", "line 1, column 1: begins with a byte order mark"},
  };
  for (const auto& [text, where] : cases) {
    const Outcome outcome = Run({"import", "-"}, text);
    EXPECT_EQ(outcome.status, 1) << text;
    EXPECT_EQ(outcome.out, "") << text;
    EXPECT_THAT(outcome.err, HasSubstr("standard input, " + where)) << text;
    EXPECT_THAT(outcome.err, HasSubstr("; nothing was set\n")) << text;
  }
  EXPECT_EQ(Value("brightness"), "25\n");
  ExpectFailure({"import", "/no/such/file"}, 10, "no file \"/no/such/file\"");
  ExpectFailure({"import", "/"}, 1, "cannot read \"/\": Is a directory");
}

TEST_F(ValueVerbs, TheDescriptionSaysWhetherAValueIsAPreview) {
  EXPECT_THAT(Run({"describe", "picturemode"}).out,
              HasSubstr("\nvalue        standard (Standard)\n"));
  Run({"set", "picturemode", "movie", "--preview"});
  EXPECT_THAT(Run({"describe", "picturemode"}).out,
              HasSubstr("\nvalue        movie (Movie), a preview\n"
                        "kept         standard (Standard)\n"
                        "values       dynamic (Dynamic), standard (Standard), movie (Movie), "
                        "filmmaker (Filmmaker)\n"));
  const Json::Value json =
      base::TryParseJson(Run({"describe", "picturemode", "--json"}).out).value();
  EXPECT_EQ(json["preview"], true);
  EXPECT_EQ(json["value"], "movie");
  EXPECT_EQ(json["kept"], "standard");
  EXPECT_EQ(json["valueNames"][3], "Filmmaker");
  Run({"set", "picturemode", "dynamic"});
  EXPECT_THAT(Run({"describe", "picturemode"}).out,
              HasSubstr("\nvalue        dynamic (Dynamic)\nvalues "));
}

TEST_F(ValueVerbs, TheDescriptionSaysWhatKindAnItemIs) {
  for (const auto& [item, kind] : {std::pair("picture", "group"),
                                   {"gamemode", "switch"},
                                   {"picturemode", "list"},
                                   {"brightness", "range"},
                                   {"picturereset", "action"}}) {
    EXPECT_THAT(Run({"describe", item}).out, HasSubstr(std::string("\nkind         ") + kind));
  }
}

TEST_F(ValueVerbs, TheNamesOfValuesAreInTheLanguageOfTheMenu) {
  ASSERT_EQ(m_Set.Run({"setctl", "language", "de_DE"}).status, 0);
  EXPECT_TRUE(support::WaitUntil([&] {
    return Run({"describe", "gamemode"}).out.find("\nvalues       off (Aus), on (Ein)\n") !=
           std::string::npos;
  })) << Run({"describe", "gamemode"}).out;
}

TEST_F(ValueVerbs, SeveralItemsAreDescribedOneBelowTheOther) {
  const std::string first = Run({"describe", "gamemode"}).out;
  const std::string second = Run({"describe", "picture"}).out;
  ExpectDone({"describe", "gamemode", "picture", "gamemode"}, first + "\n" + second + "\n" + first);
  ExpectDone(
      {"describe", "gamemode", "picture", "--json"},
      Run({"describe", "gamemode", "--json"}).out + Run({"describe", "picture", "--json"}).out);
  ExpectFailure({"describe", "gamemode", "pictur"}, 10, "no item \"pictur\"; nearest: picture");
}

TEST_F(ValueVerbs, EveryItemIsDescribed) {
  settings::Client client(m_Set.Bus().Address());
  std::vector<std::string> items = client.GetItemChildList("").value();
  for (std::size_t i = 0; i < items.size(); ++i) {
    for (const std::string& child :
         client.GetItemChildList(items[i]).value_or(std::vector<std::string>())) {
      items.push_back(child);
    }
  }
  items.insert(items.begin() + 5, "nosuchitem");
  const auto descriptions = client.DescribeItems(items);
  ASSERT_TRUE(descriptions.has_value());
  items.erase(items.begin() + 5);
  ASSERT_GT(items.size(), 300u);
  ASSERT_EQ(descriptions->size(), items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    const settings::ItemDescription& is = (*descriptions)[i];
    EXPECT_EQ(is.item, items[i]);
    const std::optional<std::string> value = client.GetItemValue(items[i]);
    EXPECT_EQ(is.kept ? std::optional(is.kept->value) : std::nullopt, value) << items[i];
    if (value) {
      EXPECT_EQ(is.kept->name, client.GetItemValueName(items[i])) << items[i];
    }
    std::vector<std::string> values;
    for (const settings::NamedValue& each : is.values) {
      values.push_back(each.value);
    }
    EXPECT_EQ(values, client.GetItemDataList(items[i]).value_or(std::vector<std::string>()));
  }
}

// The name of the error; empty when as many descriptions came.
std::string DescribeAtOnce(TelevisionSet& set, int count) {
  const bus::Connection connection = set.Bus().Connect();
  bus::Message call;
  bus::Check(sd_bus_message_new_method_call(
                 connection.get(), bus::Out(call), "org.nuvra.service.settings_service",
                 "/org/nuvra/service/settings_service", "org.nuvra.Items1", "Describe"),
             "call");
  bus::Check(sd_bus_message_open_container(call.get(), 'a', "s"), "list");
  for (int i = 0; i < count; ++i) {
    bus::Check(sd_bus_message_append(call.get(), "s", "brightness"), "item");
  }
  bus::Check(sd_bus_message_close_container(call.get()), "list");
  bus::Error error;
  bus::Message reply;
  if (sd_bus_call(connection.get(), call.get(), 0, error.Out(), bus::Out(reply)) < 0) {
    return error.Name();
  }
  const char* body = nullptr;
  bus::Check(sd_bus_message_read(reply.get(), "s", &body), "reply");
  const Json::Value items = base::TryParseJson(body).value()["items"];
  EXPECT_EQ(items.size(), static_cast<unsigned>(count));
  return "";
}

TEST_F(ValueVerbs, NoMoreThan256ItemsAreDescribedAtOnce) {
  EXPECT_EQ(DescribeAtOnce(m_Set, 256), "");
  EXPECT_EQ(DescribeAtOnce(m_Set, 257), "org.nuvra.Error.InvalidMessage");
  EXPECT_EQ(DescribeAtOnce(m_Set, 0), "");
}

TEST_F(ValueVerbs, APreviewIsEnded) {
  Run({"set", "brightness", "30"});
  Run({"set", "brightness", "40", "--preview"});
  ExpectDone({"preview", "--end", "brightness"}, "");
  EXPECT_EQ(Value("brightness"), "30\n");
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "memory/menu/preview/brightness"}).out, "\n");
  ExpectDone({"preview", "brightness", "--end", "--json"},
             R"({"item":"brightness","value":"30","preview":false})"
             "\n");
  Run({"set", "sounddelay", "40", "--preview"});
  ExpectDone({"preview", "--end", "sounddelay"}, "");
  EXPECT_EQ(Value("sounddelay"), "0\n");
}

TEST_F(ValueVerbs, WithoutAPreviewThereIsNoneToEnd) {
  ExpectDone({"preview", "--end", "brightness"}, "");
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/brightness"}).status, 10);
  ExpectFailure({"preview", "--end", "picture"}, 10, "\"picture\" is a group, it has no value");
  ExpectFailure({"preview", "--end", "brigthness"}, 10, "nearest: brightness");
  ExpectFailure({"preview", "brightness"}, 2, "--end is required");
}

TEST_F(ValueVerbs, APreviewIsNotExportedAndEndsWhenItsItemIsImported) {
  Run({"set", "brightness", "40", "--preview"});
  ExpectDone({"export", "brightness", "--json"}, "{\"brightness\":\"25\"}\n");
  EXPECT_EQ(Run({"import", "-"}, R"({"brightness": 25})").out, "brightness: 25 → 25\n");
  EXPECT_EQ(Value("brightness"), "25\n");
  EXPECT_EQ(Run({"import", "-"}, R"({"brightness": 25})").out, "");
}

TEST_F(ValueVerbs, AnImportTellsWhatWasKeptAndNotThePreviewOverIt) {
  Run({"set", "brightness", "40", "--preview"});
  EXPECT_EQ(Run({"import", "-", "--dry-run"}, R"({"brightness": 40})").out,
            "brightness: 25 → 40\n");
  EXPECT_EQ(Run({"import", "-", "--json"}, R"({"brightness": 40})").out,
            R"({"item":"brightness","from":"25","value":"40"})"
            "\n");
  EXPECT_EQ(Value("brightness"), "40\n");
  ExpectDone({"export", "brightness", "--json"}, "{\"brightness\":\"40\"}\n");
}

TEST_F(ValueVerbs, WhatFollowsTheSpeakerIsExportedAsItIsKept) {
  ASSERT_EQ(m_Set.Run({"setctl", "speaker", "optical"}).status, 0);
  ASSERT_TRUE(support::WaitUntil([&] { return Value("soundoutput") == "optical\n"; }));
  ExpectDone({"export", "soundoutput", "--json"}, "{\"soundoutput\":\"tvspeaker\"}\n");
  EXPECT_EQ(Run({"import", "-"}, R"({"soundoutput": "receiver"})").out,
            "soundoutput: tvspeaker → receiver\n");
  EXPECT_EQ(Run({"import", "-"}, R"({"soundoutput": "receiver"})").out, "");
}

}  // namespace
