#include <json/json.h>
#include <signal.h>

#include <algorithm>
#include <sstream>

#include "base/json.h"
#include "base/width.h"
#include "fixture.h"
#include "text.h"

namespace {

using support::Outcome;
using testing::HasSubstr;
using testing::Not;

void ExpectFailure(const Outcome& outcome, int status, const std::string& message) {
  ExpectFailureOf("settingsctl", outcome, status, message);
}

class SettingsctlItems : public OnBus {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(StartService()); }

  void ExpectAnswer(const std::vector<std::string>& question, bool yes) {
    SCOPED_TRACE(testing::PrintToString(question));
    const Outcome outcome = Run(question);
    EXPECT_EQ(outcome.out, yes ? "yes\n" : "no\n");
    EXPECT_EQ(outcome.status, yes ? 0 : 1);
    EXPECT_EQ(outcome.err, "");
  }
};

TEST_F(SettingsctlItems, TheDescriptionOfAnItemSaysWhatItHas) {
  ExpectOutput(Run({"describe", "picturemode"}),
               "name         Picture Mode\n"
               "kind         list\n"
               "display ID   MENU_ITEM\n"
               "path         picture/picturemode\n"
               "value        standard (Standard)\n"
               "values       standard, movie\n"
               "visible      yes\n"
               "enabled      no\n");
  const Outcome brightness = Run({"describe", "brightness"});
  EXPECT_THAT(brightness.out, HasSubstr("range        -0.5 to 50, step 0.5\n"));
  EXPECT_THAT(brightness.out, HasSubstr("visible      yes, but not the groups above it\n"));
  EXPECT_THAT(Run({"describe", "picture"}).out, HasSubstr("children     picturemode, expert\n"));
}

TEST_F(SettingsctlItems, TheDescriptionAsJsonIsComplete) {
  ExpectOutput(
      Run({"describe", "brightness", "--json"}),
      R"({"item":"brightness","name":"Brightness","kind":"range","displayId":"MENU_ITEM",)"
      R"("path":"picture/expert/brightness","value":"25","valueName":"25",)"
      R"("preview":null,"kept":null,)"
      R"("range":{"max":50,"min":-0.5,"step":0.5},"values":[],"valueNames":[],"children":[],)"
      R"("visible":true,"pathVisible":false,"enabled":true,"pathEnabled":true,)"
      R"("disabledBy":[]})"
      "\n");
}

TEST_F(SettingsctlItems, PathRangeValuesAndChildrenArePrinted) {
  ExpectOutput(Run({"path", "brightness"}), "picture/expert/brightness\n");
  ExpectOutput(Run({"range", "brightness"}), "-0.5 to 50, step 0.5\n");
  ExpectOutput(Run({"range", "brightness", "--json"}),
               "{\"item\":\"brightness\",\"min\":-0.5,\"max\":50,\"step\":0.5}\n");
  ExpectOutput(Run({"values", "picturemode"}), "standard\nmovie\n");
  ExpectOutput(Run({"values", "picturemode", "--json"}),
               "{\"item\":\"picturemode\",\"values\":[\"standard\",\"movie\"]}\n");
  ExpectOutput(Run({"children", "picture"}), "picturemode\nexpert\n");
  ExpectOutput(Run({"children", "brightness"}), "");
}

TEST_F(SettingsctlItems, AnItemOfTheOtherKindHasNoRangeOrNoValues) {
  ExpectFailure(Run({"range", "picturemode"}), 1, "\"picturemode\" has no range");
  ExpectFailure(Run({"values", "brightness"}), 1, "\"brightness\" has no list of values");
}

TEST_F(SettingsctlItems, AnUnknownItemEndsEveryVerbWith10) {
  const std::vector<std::vector<std::string>> lines = {
      {"get", "nosuch\nitem"},
      {"set", "nosuch\nitem", "refused"},
      {"describe", "nosuch\nitem"},
      {"range", "nosuch\nitem"},
      {"values", "nosuch\nitem"},
      {"path", "nosuch\nitem"},
      {"children", "nosuch\nitem"},
      {"visible", "nosuch\nitem"},
      {"enabled", "nosuch\nitem", "--path"},
      {"enabled", "nosuch\nitem", "--value", "x"},
      {"visible", "nosuch\nitem", "--async"},
      {"disable", "brightness", "nosuch\nitem", "--app", "org.example.a"},
      {"enable", "nosuch\nitem", "--app", "org.example.a"},
      {"who", "nosuch\nitem"},
      {"hold", "nosuch\nitem", "--app", "org.example.a", "--", "true"},
      {"tree", "nosuch\nitem"},
  };
  for (const std::vector<std::string>& line : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    ExpectFailure(Run(line), 10, "no item \"nosuch\\nitem\"");
  }
  ExpectOutput(Run({"disabled"}), "");
}

TEST_F(SettingsctlItems, AnUnknownItemIsAnsweredWithTheNearest) {
  ExpectFailure(Run({"describe", "brigthness"}), 10,
                ": no item \"brigthness\"; nearest: brightness\n");
  ExpectFailure(Run({"disable", "brightness", "pictur", "--app", "org.example.a"}), 10,
                ": no item \"pictur\"; nearest: picture, picturemode\n");
  ExpectFailure(Run({"path", "volume"}), 10, ": no item \"volume\"; settingsctl tree shows all\n");
}

TEST_F(SettingsctlItems, APathInTheMenuStandsForItsItem) {
  const std::string path = "picture/expert/brightness";
  const std::vector<std::vector<std::string>> lines = {
      {"get", "brightness", "--json"},
      {"set", "brightness", "30", "--json"},
      {"describe", "brightness", "--json"},
      {"range", "brightness", "--json"},
      {"path", "brightness"},
      {"children", "brightness", "--json"},
      {"visible", "brightness", "--path", "--json"},
      {"enabled", "brightness", "--async"},
      {"tree", "brightness"},
      {"disable", "brightness", "--app", "org.example.a", "--json"},
      {"who", "brightness", "--json"},
      {"hold", "brightness", "--app", "org.example.a", "--", SETTINGSCTL, "disabled"},
  };
  for (std::vector<std::string> line : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    const Outcome expected = Run(line);
    *std::find(line.begin(), line.end(), "brightness") = path;
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.out, expected.out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, expected.status);
    EXPECT_NE(outcome.out, "");
  }
  Run({"disable", "brightness", "--app", "org.example.a"});
  ExpectOutput(Run({"enable", path, "--app", "org.example.a", "--json"}),
               "{\"item\":\"brightness\",\"apps\":[]}\n");
  ExpectOutput(Run({"values", "picture/picturemode"}), "standard\nmovie\n");
  ExpectOutput(Run({"get", "/picture/expert/brightness/"}), "30\n");
}

TEST_F(SettingsctlItems, APathThatLeadsNowhereIsAnsweredWithTheNearest) {
  ExpectFailure(Run({"get", "picture/expert/brigthness"}), 10,
                ": no item \"picture/expert/brigthness\"; nearest: picture/expert/brightness\n");
  ExpectFailure(Run({"get", "picture/brightness"}), 10,
                ": no item \"picture/brightness\"; nearest: picture/expert/brightness\n");
  ExpectFailure(Run({"get", "nowhere/brigthness"}), 10, "; nearest: picture/expert/brightness\n");
  ExpectFailure(Run({"get", "no/where"}), 10,
                ": no item \"no/where\"; settingsctl tree shows all\n");
  ExpectFailure(Run({"get", "/"}), 10, ": no item \"/\"; settingsctl tree shows all\n");
}

TEST_F(SettingsctlItems, AnItemWithoutAValueSaysWhatItIs) {
  for (const char* verb : {"get", "set"}) {
    std::vector<std::string> line = {verb, "picture"};
    line.resize(line[0] == "set" ? 3 : 2, "x");
    ExpectFailure(Run(line), 10, ": \"picture\" is a group, it has no value\n");
    line[1] = "reset";
    ExpectFailure(Run(line), 10, ": \"reset\" is an action, it has no value\n");
    line[1] = "pictur";
    ExpectFailure(Run(line), 10, ": no item \"pictur\"; nearest: picture, picturemode\n");
  }
  for (const char* verb : {"range", "values"}) {
    ExpectFailure(Run({verb, "picture"}), 1, ": \"picture\" is a group, it has no value\n");
  }
  ExpectFailure(Run({"visible", "picture", "--value", "x"}), 1,
                ": \"picture\" is a group, it has no value\n");
}

TEST_F(SettingsctlItems, ARefusedValueIsAnsweredWithWhatTheItemTakes) {
  ExpectFailure(Run({"set", "brightness", "refused"}), 1,
                ": \"brightness\" takes -0.5 to 50, step 0.5\n");
  ExpectFailure(Run({"set", "picturemode", "refused"}), 1,
                ": \"picturemode\" takes standard, movie\n");
  ExpectFailure(Run({"set", "greeting", "refused"}), 1,
                ": \"greeting\" does not accept the value \"refused\"\n");
  ExpectFailure(Run({"visible", "picturemode", "--value", "moovie"}), 1,
                ": \"picturemode\" takes standard, movie\n");
  ExpectFailure(Run({"enabled", "brightness", "--value", "3"}), 1,
                ": \"brightness\" has no list of values; see settingsctl range\n");
}

TEST_F(SettingsctlItems, ALongListOfValuesIsNotPutIntoAMessage) {
  ExpectFailure(Run({"set", "language", "refused"}), 1,
                ": \"language\" has no value \"refused\"; settingsctl values language shows all\n");
  ExpectFailure(Run({"visible", "language", "--value", "lang_0"}), 1,
                ": \"language\" has no value \"lang_0\"; nearest: lang0, lang10, lang20\n");
}

TEST_F(SettingsctlItems, WhoDoesNotDisableAnItemLearnsWhoDoes) {
  ExpectFailure(Run({"enable", "brightness", "--app", "org.example.a"}), 1,
                ": \"org.example.a\" does not disable \"brightness\"; nobody does\n");
  Run({"disable", "brightness", "--app", "org.example.b"});
  ExpectFailure(Run({"enable", "brightness", "--app", "org.example.a"}), 1,
                ": \"org.example.a\" does not disable \"brightness\"; disabled by org.example.b\n");
}

TEST_F(SettingsctlItems, StatesAreAnsweredByTextAndExitCode) {
  ExpectAnswer({"visible", "brightness"}, true);
  ExpectAnswer({"visible", "brightness", "--path"}, false);
  ExpectAnswer({"enabled", "picturemode"}, false);
  ExpectAnswer({"enabled", "brightness", "--path"}, true);
  ExpectAnswer({"visible", "picturemode", "--value", "movie"}, true);
  ExpectAnswer({"visible", "picturemode", "--value", "standard"}, false);
  ExpectAnswer({"enabled", "picturemode", "--value", "movie"}, false);
  ExpectFailure(Run({"enabled", "picturemode", "--value", "sepia"}), 1,
                "\"picturemode\" takes standard, movie\n");
}

TEST_F(SettingsctlItems, StatesAreAnsweredAsJson) {
  const Outcome outcome = Run({"visible", "picturemode", "--value", "standard", "--json"});
  EXPECT_EQ(outcome.out, "{\"item\":\"picturemode\",\"value\":\"standard\",\"visible\":false}\n");
  EXPECT_EQ(outcome.status, 1);
  ExpectOutput(Run({"enabled", "brightness", "--json"}),
               "{\"item\":\"brightness\",\"enabled\":true}\n");
}

TEST_F(SettingsctlItems, AnAnswerBySignalIsTheOneToThisProcess) {
  ExpectAnswer({"visible", "brightness", "--async"}, true);
  ExpectAnswer({"visible", "expert", "--async"}, false);
  ExpectAnswer({"enabled", "brightness", "--async"}, true);
  ExpectAnswer({"enabled", "picturemode", "--async", "--path"}, false);
}

TEST_F(SettingsctlItems, OptionsThatContradictEachOtherAreWrongUsage) {
  ExpectFailure(Run({"visible", "brightness", "--async", "--path"}), 2, "--help");
  ExpectFailure(Run({"visible", "brightness", "--value", "x", "--path"}), 2, "--help");
  ExpectFailure(Run({"enabled", "brightness", "--value", "x", "--async"}), 2, "--help");
  ExpectFailure(Run({"disable", "brightness"}), 2, "--app");
  ExpectFailure(Run({"disable", "brightness", "--app", ""}), 2, "--app");
  ExpectFailure(Run({"release", "--app", "nodots"}), 2,
                "\"nodots\" is not an application ID; use one such as org.example.game");
  for (const std::string app : {"nodots", "org.freedesktop.X", "org.nuvra.service.menu"}) {
    for (const char* verb : {"disable", "enable"}) {
      ExpectFailure(Run({verb, "brightness", "--app", app}), 2,
                    "\"" + app + "\" is not an application ID");
    }
  }
}

TEST_F(SettingsctlItems, DisabledItemsAreListedUntilTheyAreReleased) {
  ExpectOutput(Run({"disable", "brightness", "expert", "--app", "org.example.a"}), "");
  ExpectOutput(Run({"disable", "brightness", "--app", "org.example.b", "--json"}),
               "{\"item\":\"brightness\",\"apps\":[\"org.example.a\",\"org.example.b\"]}\n");
  ExpectOutput(Run({"who", "brightness"}), "org.example.a\norg.example.b\n");
  ExpectOutput(Run({"disabled"}),
               "brightness: org.example.a, org.example.b\nexpert: org.example.a\n");
  ExpectOutput(Run({"enable", "brightness", "--app", "org.example.a"}), "");
  ExpectOutput(Run({"release", "--app", "org.example.a"}), "expert\n");
  ExpectOutput(Run({"disabled", "--json"}),
               "{\"item\":\"brightness\",\"apps\":[\"org.example.b\"]}\n");
  ExpectOutput(Run({"release", "--app", "org.example.b", "--json"}),
               "{\"app\":\"org.example.b\",\"items\":[\"brightness\"]}\n");
  ExpectOutput(Run({"disabled"}), "");
  ExpectOutput(Run({"who", "brightness"}), "");
}

TEST_F(SettingsctlItems, AServiceThatDoesNotDescribeItemsMayHaveApplicationsThatAreOnNoBus) {
  ExpectOutput(Run({"release", "--app", "org.example.unknown"}), "");
}

TEST_F(SettingsctlItems, AChangeThatDidNotHappenIsNotReportedAsDone) {
  ExpectFailure(Run({"disable", "brightness", "--app", "org.example.refused"}), 1,
                "did not disable \"brightness\"");
  ExpectFailure(Run({"enable", "brightness", "--app", "org.example.a"}), 1,
                "\"org.example.a\" does not disable \"brightness\"");
}

TEST_F(SettingsctlItems, HoldDisablesItemsForAsLongAsItsCommandRuns) {
  const Outcome outcome = Run({"hold", "brightness", "expert", "--app", "org.example.hold", "--",
                               "sh", "-c", "\"$0\" disabled; exit 7", SETTINGSCTL});
  EXPECT_EQ(outcome.out, "brightness: org.example.hold\nexpert: org.example.hold\n");
  EXPECT_EQ(outcome.status, 7) << outcome.err;
  ExpectOutput(Run({"disabled"}), "");
}

TEST_F(SettingsctlItems, HoldGivesItsCommandTheUsualSigpipe) {
  const Outcome outcome = Run({"hold", "brightness", "--app", "org.example.hold", "--", "sh", "-c",
                               "kill -PIPE $$; echo ignored"});
  EXPECT_EQ(outcome.status, 128 + SIGPIPE);
  EXPECT_EQ(outcome.out, "");
}

TEST_F(SettingsctlItems, HoldSeesTheEndOfItsCommandWhateverItsParentIgnores) {
  std::vector<std::string> command = {"env", "--ignore-signal=CHLD"};
  for (const std::string& word :
       Command({"hold", "brightness", "--app", "org.example.hold", "--", "sh", "-c", "exit 5"})) {
    command.push_back(word);
  }
  EXPECT_EQ(support::RunCommand(command, Variables()).status, 5);
}

TEST_F(SettingsctlItems, HoldNeedsACommandThatCanBeRun) {
  ExpectFailure(Run({"hold", "brightness", "--app", "org.example.hold"}), 2, "no command given");
  ExpectFailure(Run({"hold", "brightness", "--app", "org.example.hold", "--", "/no/such/command"}),
                127, "cannot run \"/no/such/command\"");
  ExpectFailure(Run({"hold", "brightness", "--app", "nodots", "--", "true"}), 2,
                "is not an application ID");
}

class Holding : public SettingsctlItems {
 protected:
  void SetUp() override {
    SettingsctlItems::SetUp();
    m_Hold =
        std::make_unique<Background>(Command({"hold", "brightness", "--app", "org.example.hold",
                                              "--", "sh", "-c", "echo running $$.; exec sleep 60"}),
                                     Variables());
    ASSERT_TRUE(m_Hold->WaitForOut(".\n")) << m_Hold->Err();
  }

  std::unique_ptr<Background> m_Hold;
};

TEST_F(Holding, IsRefusedToASecondProgramOfTheSameName) {
  ExpectFailure(Run({"hold", "expert", "--app", "org.example.hold", "--", "true"}), 1,
                "\"org.example.hold\" is already running");
  ExpectOutput(Run({"disabled"}), "brightness: org.example.hold\n");
}

TEST_F(Holding, EndsWhenASignalEndsTheCommand) {
  m_Hold->Process().Signal(SIGTERM);
  EXPECT_EQ(m_Hold->Process().Wait(), 128 + SIGTERM);
  ExpectOutput(Run({"disabled"}), "");
}

TEST_F(Holding, EndsWhenTheToolIsKilled) {
  m_Hold->Process().Signal(SIGKILL);
  EXPECT_TRUE(support::WaitUntil([&] { return Run({"disabled"}).out.empty(); }));
  // The command goes on.
  EXPECT_EQ(kill(std::stoi(m_Hold->Out().substr(std::string("running ").size())), SIGTERM), 0);
}

TEST_F(Holding, WaitsForAServiceThatIsAwayWhenTheCommandEnds) {
  EndService();
  m_Hold->Process().Signal(SIGTERM);
  StartService();
  EXPECT_EQ(m_Hold->Process().Wait(), 128 + SIGTERM);
  EXPECT_EQ(m_Hold->Err(), "");
}

TEST_F(SettingsctlItems, HoldSaysThatItCouldNotReleaseAndWhatTheCommandEndedWith) {
  // The command ends when the bus has seen that the service did.
  const Outcome outcome =
      Run({"hold", "brightness", "--app", "org.example.hold", "--timeout", "2", "--", "sh", "-c",
           "kill $0; while $1 disabled; do :; done >/dev/null 2>&1; exit 7",
           std::to_string(m_Service->Process().Pid()), SETTINGSCTL});
  ExpectFailure(outcome, 8,
                "the command ended with 7, but \"org.example.hold\" may still disable items: the "
                "settings service is not running on this bus; run settingsctl release --app "
                "org.example.hold");
}

TEST_F(SettingsctlItems, TheTreeShowsValuesAndStates) {
  Run({"disable", "brightness", "--app", "org.example.a"});
  ExpectOutput(Run({"tree"}),
               "Picture                       picture\n"
               "├─ Picture Mode     Standard  picturemode  greyed out\n"
               "└─ Expert Settings            expert       hidden\n"
               "   └─ Brightness    25        brightness   disabled by org.example.a\n"
               "Gruß\\x1b[2J         Grüße     greeting\n");
  ExpectOutput(Run({"tree", "expert"}),
               "Expert Settings      expert      hidden\n"
               "└─ Brightness    25  brightness  disabled by org.example.a\n");
}

TEST_F(SettingsctlItems, AValueThatTheServiceCannotReadIsNoReasonToLeaveItOut) {
  for (const char* verb : {"export", "toggle", "step"}) {
    ExpectFailure(Run({verb, "unreadable"}), 1, "the service gave no value of \"unreadable\"");
  }
}

TEST_F(SettingsctlItems, StepNeedsValuesToGoTo) {
  for (const char* steps : {"1", "-1"}) {
    ExpectFailure(Run({"step", "greeting", steps}), 1, "the menu shows no value of \"greeting\"\n");
  }
}

TEST_F(SettingsctlItems, AServiceThatDoesNotDescribeItemsCannotEndAPreview) {
  ExpectFailure(Run({"preview", "--end", "brightness"}), 1, "does not tell previews");
  ExpectOutput(Run({"export", "picture", "--json"}),
               "{\"picturemode\":\"standard\",\"brightness\":\"25\"}\n");
}

TEST_F(SettingsctlItems, WhatTheServiceRefusesIsListedAlthoughTheItemSeemsToTakeIt) {
  const Outcome outcome = support::RunCommand(
      {"sh", "-c", R"(echo '{"greeting": "refused", "brightness": 30}' | "$0" import -)",
       SETTINGSCTL},
      Variables());
  EXPECT_EQ(outcome.out, "brightness: 25 → 30\n");
  EXPECT_THAT(outcome.err, HasSubstr("settingsctl: \"greeting\" does not accept the value "
                                     "\"refused\""));
  EXPECT_THAT(outcome.err, HasSubstr("\nsettingsctl: 1 of 2 values not set\n"));
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(SettingsctlItems, WhatIsListedIsAskedForInFewMessages) {
  const auto messages = [this] {
    return base::TryParseJson(Request("Messages").out).value_or(Json::Value())["messages"].asInt();
  };
  Run({"disable", "brightness", "greeting", "--app", "org.example.a"});
  const std::pair<std::vector<std::string>, int> lines[] = {
      {{"tree"}, 7}, {{"describe", "brightness"}, 1}, {{"disabled"}, 2}};
  for (const auto& [line, most] : lines) {
    const int before = messages();
    EXPECT_EQ(Run(line).status, 0);
    EXPECT_LE(messages() - before - 1, most) << line.front();
  }
}

TEST_F(SettingsctlItems, AServiceThatTakesOneRequestInAMessageIsAskedOneByOne) {
  Run({"disable", "brightness", "--app", "org.example.a"});
  const std::vector<std::vector<std::string>> lines = {
      {"tree", "--json"}, {"tree"}, {"describe", "brightness"}, {"disabled"}};
  std::vector<std::string> expected;
  for (const std::vector<std::string>& line : lines) {
    expected.push_back(Run(line).out);
  }
  Request("ForgetLists");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    ExpectOutput(Run(lines[i]), expected[i]);
  }
}

TEST_F(SettingsctlItems, TheTreeIsAsDeepAsACatalogueCanBe) {
  const Outcome outcome = Run({"tree", "level0"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(Lines(outcome.out), 499);
}

TEST_F(SettingsctlItems, TheTreeOfAMenuThatGoesRoundInACircleIsRefused) {
  ExpectFailure(Run({"tree", "circle"}), 1,
                "the service's menu is endless below \"circle\"; its catalogue is damaged");
}

TEST_F(SettingsctlItems, TheTreeIsCompleteAsJson) {
  Run({"disable", "brightness", "--app", "org.example.a"});
  const Outcome outcome = Run({"tree", "--json"});
  EXPECT_EQ(Lines(outcome.out), 1);
  const std::optional<Json::Value> tree = base::TryParseJson(outcome.out);
  ASSERT_TRUE(tree.has_value()) << outcome.out;
  const Json::Value& expert = (*tree)["children"][0]["children"][1];
  EXPECT_EQ(tools::JsonText(expert),
            R"({"children":[{"children":[],"disabledBy":["org.example.a"],"enabled":false,)"
            R"("item":"brightness","name":"Brightness","value":"25","valueName":"25",)"
            R"("visible":true}],"disabledBy":[],"enabled":true,"item":"expert",)"
            R"("name":"Expert Settings","value":null,"valueName":null,"visible":false})");
}

TEST_F(SettingsctlItems, TheTreeFitsTheTerminalThatItIsDrawnIn) {
  Run({"disable", "brightness", "--app", "org.example.a"});
  const auto widest = [&](const std::string& columns, const std::string& before) {
    support::Variables variables = Variables();
    variables["TERM"] = "dumb";
    variables["COLUMNS"] = columns;
    const std::string line = before + std::string(SETTINGSCTL) + " tree";
    std::istringstream out(
        support::RunCommand({"script", "-qec", line, "/dev/null"}, variables).out);
    std::size_t width = 0;
    for (std::string drawn; std::getline(out, drawn);) {
      width = std::max(width, base::DisplayWidth(drawn));
    }
    return width;
  };
  EXPECT_EQ(widest("", "stty cols 40; "), 40u);
  EXPECT_THAT(widest("50", "stty cols 40; "), testing::AllOf(testing::Gt(40u), testing::Le(50u)));
  EXPECT_EQ(widest("wide", "stty cols 40; "), 40u);
  EXPECT_EQ(widest("", "stty cols 0; "), widest("", "stty cols 200; "));
  support::Variables narrow = Variables();
  narrow["COLUMNS"] = "40";
  ExpectOutput(support::RunCommand(Command({"tree"}), narrow), Run({"tree"}).out);
}

TEST_F(SettingsctlItems, TheTreeHasColoursOnATerminalOnly) {
  const auto drawn = [&](const std::string& noColour) {
    support::Variables variables = Variables();
    variables["TERM"] = "xterm";
    variables["NO_COLOR"] = noColour;
    return support::RunCommand({"script", "-qec", std::string(SETTINGSCTL) + " tree", "/dev/null"},
                               variables)
        .out;
  };
  EXPECT_THAT(drawn(""), HasSubstr("\x1b[1mPicture\x1b[0m"));
  EXPECT_THAT(drawn("1"), testing::AllOf(HasSubstr("Picture"), Not(HasSubstr("\x1b"))));
}

}  // namespace
