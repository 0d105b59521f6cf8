#include <signal.h>

#include <sstream>
#include <string>
#include <vector>

#include "base/json.h"
#include "fixture.h"

// The verbs that wait for what items become.

namespace {

using support::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

void ExpectFailure(const Outcome& outcome, int status, const std::string& message) {
  ExpectFailureOf("settingsctl", outcome, status, message);
}

class Watch : public OnBus {
 protected:
  // Starts a watch; returns when it watches.
  void StartWatch(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "watch");
    m_Watch = std::make_unique<Background>(Command(arguments), Variables());
    ASSERT_TRUE(m_Watch->WaitForErr("watching…\n"));
  }

  void Done(const std::vector<std::string>& arguments) const {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }

  void Hide(const std::string& item, bool hidden) const {
    Done({"request", R"({"method":"Hide","data":{"menuID":")" + item + R"(","hidden":)" +
                         (hidden ? "true" : "false") + "}}"});
  }

  // What was printed after so many lines, without the times.
  std::vector<std::string> LinesAfter(int count) const {
    EXPECT_TRUE(support::WaitUntil([&] { return Lines(m_Watch->Out()) >= count; }));
    std::vector<std::string> lines;
    std::istringstream out(m_Watch->Out());
    for (std::string line; std::getline(out, line);) {
      const std::string time = line.substr(0, line.find(' '));
      EXPECT_THAT(time, MatchesRegex(kTimePattern));
      lines.push_back(line.substr(time.size() + 1));
    }
    return lines;
  }

  std::unique_ptr<Background> m_Watch;
};

TEST_F(Watch, EachWayInWhichAnItemBecomesAnotherIsALine) {
  StartService();
  StartWatch({});
  Done({"set", "picturemode", "movie"});
  Done({"set", "picturemode", "movie"});
  Hide("expert", false);
  Done({"disable", "brightness", "greeting", "--app", "org.example.game"});
  Done({"release", "--app", "org.example.game"});
  EXPECT_THAT(LinesAfter(6), ElementsAre("picturemode value standard (Standard) → movie",
                                         "expert visible no → yes", "brightness enabled yes → no",
                                         "greeting enabled yes → no", "brightness enabled no → yes",
                                         "greeting enabled no → yes"));
  EXPECT_TRUE(m_Watch->Process().Running());
}

TEST_F(Watch, OnlyTheGivenItemsAreWatched) {
  StartService();
  StartWatch({"greeting", "--count", "1"});
  Done({"set", "picturemode", "movie"});
  Done({"set", "greeting", "a\x1b[2J\nb"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_THAT(LinesAfter(1), ElementsAre("greeting value grüße (Grüße) → a\\x1b[2J\\nb"));
}

TEST_F(Watch, AsJsonALineHasWhatChangedAndWhatItWas) {
  StartService();
  StartWatch({"--json", "--count", "2"});
  Done({"set", "picturemode", "movie"});
  Hide("picturemode", true);
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  const std::string out = m_Watch->Out();
  ASSERT_EQ(Lines(out), 2);
  const auto value = base::TryParseJson(out.substr(0, out.find('\n')));
  const auto state = base::TryParseJson(out.substr(out.find('\n') + 1));
  ASSERT_TRUE(value && state) << out;
  EXPECT_THAT((*value)["time"].asString(), MatchesRegex(kTimePattern));
  EXPECT_EQ((*value)["menuID"], "picturemode");
  EXPECT_EQ((*value)["value"], "movie");
  EXPECT_EQ((*value)["from"]["value"], "standard");
  EXPECT_EQ((*value)["from"]["valueName"], "Standard");
  EXPECT_THAT(state->getMemberNames(), ElementsAre("from", "menuID", "time", "visible"));
  EXPECT_EQ((*state)["visible"], false);
  EXPECT_EQ((*state)["from"]["visible"], true);
}

TEST_F(Watch, ItEndsAfterTheGivenNumberOfLinesEvenWhenMoreChanged) {
  StartService();
  StartWatch({"--count", "1"});
  Done({"disable", "brightness", "greeting", "--app", "org.example.game"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_THAT(LinesAfter(1), ElementsAre("brightness enabled yes → no"));
}

TEST_F(Watch, WhatChangedBehindARestartOfTheServiceIsPrinted) {
  StartService();
  StartWatch({"picturemode"});
  Done({"set", "picturemode", "movie"});
  LinesAfter(1);
  m_Service->Process().Signal(SIGKILL);
  ASSERT_TRUE(m_Watch->WaitForErr("waiting for it to come back…\n"));
  StartService();
  ASSERT_TRUE(m_Watch->WaitForErr("the service is back\n"));
  Done({"set", "picturemode", "movie"});
  EXPECT_THAT(LinesAfter(3), ElementsAre("picturemode value standard (Standard) → movie",
                                         "picturemode value movie → standard (Standard)",
                                         "picturemode value standard (Standard) → movie"));
}

TEST_F(Watch, AnotherLanguageIsNoChangeOfEveryItem) {
  StartService();
  StartWatch({"--count", "1"});
  Done({"request", R"({"method":"Speak","data":{"language":"de_DE","ending":" de"}})"});
  Done({"set", "picturemode", "movie"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_THAT(LinesAfter(1), ElementsAre("picturemode value standard (Standard) → movie"));
}

TEST_F(Watch, AnUnknownItemEndsItAtOnceWithTheNearest) {
  StartService();
  ExpectFailure(Run({"watch", "picturemode", "brigthness"}), 10,
                "no item \"brigthness\"; nearest: brightness");
}

TEST_F(Watch, WithoutAServiceItEndsWith8) { ExpectFailure(Run({"watch"}), 8, "not running"); }

TEST_F(Watch, AfterItsTimeItEndsWith0OrWith3WhenLinesAreMissing) {
  StartService();
  EXPECT_EQ(Run({"watch", "--timeout", "2"}).status, 0);
  const Outcome outcome = Run({"watch", "--count", "2", "--timeout", "2"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_THAT(outcome.err, HasSubstr("only 0 of 2 changes came in 2 s; wait longer with "
                                     "--timeout\n"));
}

TEST_F(Watch, ItsTimeIsTheWholeTimeEvenWhenTheServiceDoesNotAnswer) {
  StartService();
  m_Service->Process().Signal(SIGSTOP);
  ExpectFailure(Run({"watch", "--timeout", "0.1"}), 3, "did not answer in time");
  m_Service->Process().Signal(SIGCONT);
}

TEST_F(Watch, InterruptAndTerminationEndItRegularly) {
  StartService();
  for (const int signal : {SIGINT, SIGTERM}) {
    StartWatch({"--count", "5"});
    m_Watch->Process().Signal(signal);
    EXPECT_EQ(m_Watch->Process().Wait(), 0);
    EXPECT_EQ(m_Watch->Err(), "watching…\n");
  }
}

TEST_F(Watch, TheEndOfTheBusEndsItWith8) {
  StartService();
  StartWatch({});
  m_Bus.End();
  EXPECT_EQ(m_Watch->Process().Wait(), 8);
}

class Wait : public Watch {
 protected:
  // Starts a wait that finds its condition not met; returns when it waits.
  void StartWait(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "wait");
    // The questions about the item, and those of the cache.
    const int before = Messages();
    m_Watch = std::make_unique<Background>(Command(arguments), Variables());
    ASSERT_TRUE(support::WaitUntil([&] { return Messages() >= before + 2; }));
    EXPECT_TRUE(m_Watch->Process().Running());
  }

  // How many came from others.
  int Messages() {
    const auto reply = base::TryParseJson(Run({"request", R"({"method":"Messages"})"}).out);
    return (*reply)["messages"].asInt() - ++m_Own;
  }

 private:
  int m_Own = 0;
};

TEST_F(Wait, WhatIsSoAlreadyIsNotWaitedFor) {
  StartService();
  ExpectOutput(Run({"wait", "picturemode", "standard"}), "");
  ExpectOutput(Run({"wait", "brightness", "25.0"}), "");
  ExpectOutput(Run({"wait", "picturemode", "--visible"}), "");
  ExpectOutput(Run({"wait", "picturemode", "--disabled"}), "");
  ExpectOutput(Run({"wait", "expert", "--hidden"}), "");
  ExpectOutput(Run({"wait", "brightness", "--enabled"}), "");
  const auto line = base::TryParseJson(Run({"wait", "picturemode", "standard", "--json"}).out);
  ASSERT_TRUE(line);
  EXPECT_THAT(line->getMemberNames(), ElementsAre("menuID", "time", "value", "valueName"));
}

TEST_F(Wait, AValueIsWaitedFor) {
  StartService();
  StartWait({"picturemode", "movie", "--json"});
  Done({"set", "brightness", "30"});
  Done({"set", "picturemode", "movie"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  const auto line = base::TryParseJson(m_Watch->Out());
  ASSERT_TRUE(line) << m_Watch->Out();
  EXPECT_EQ((*line)["menuID"], "picturemode");
  EXPECT_EQ((*line)["value"], "movie");
  EXPECT_EQ((*line)["from"]["value"], "standard");
}

TEST_F(Wait, AStateIsWaitedForAndNothingPrinted) {
  StartService();
  StartWait({"expert", "--visible"});
  Hide("expert", false);
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  StartWait({"brightness", "--disabled"});
  Done({"disable", "brightness", "--app", "org.example.game"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_EQ(m_Watch->Out(), "");
  EXPECT_EQ(m_Watch->Err(), "");
}

TEST_F(Wait, AWaitGoesOnAcrossARestart) {
  StartService();
  StartWait({"picturemode", "movie"});
  m_Service->Process().Signal(SIGKILL);
  ASSERT_TRUE(m_Service->Process().Wait());
  StartService();
  Done({"set", "picturemode", "movie"});
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
}

TEST_F(Wait, WhatNeverComesIsRefusedAtOnceWithWhatTheItemTakes) {
  StartService();
  ExpectFailure(Run({"wait", "picturemode", "sepia"}), 1,
                "\"picturemode\" never becomes \"sepia\": it takes standard, movie");
  for (const char* const number : {"51", "25.3", "many", "-1"}) {
    ExpectFailure(Run({"wait", "brightness", "--", number}), 1, "it takes -0.5 to 50, step 0.5");
  }
  ExpectFailure(Run({"wait", "picture", "on"}), 1, "is a group, it has no value");
}

TEST_F(Wait, AnUnknownItemIsAnsweredWithTheNearest) {
  StartService();
  ExpectFailure(Run({"wait", "brigthness", "30"}), 10, "nearest: brightness");
  ExpectFailure(Run({"wait", "brigthness", "--enabled"}), 10, "nearest: brightness");
}

TEST_F(Wait, ItsTimeIsTheWholeTime) {
  StartService();
  ExpectFailure(Run({"wait", "picturemode", "movie", "--timeout", "2"}), 3,
                "\"picturemode\" did not become \"movie\" in 2 s; wait longer with --timeout");
  m_Service->Process().Signal(SIGSTOP);
  ExpectFailure(Run({"wait", "picturemode", "movie", "--timeout", "0.1"}), 3,
                "did not answer in time");
  m_Service->Process().Signal(SIGCONT);
}

TEST_F(Wait, OneConditionIsGiven) {
  StartService();
  ExpectFailure(Run({"wait", "picturemode"}), 2, "nothing to wait for; give a value, or one of");
  ExpectFailure(Run({"wait", "picturemode", "--enabled", "--visible"}), 2, "excludes");
  ExpectFailure(Run({"wait", "picturemode", "movie", "--hidden"}), 2, "excludes");
}

class Why : public OnBus {
 protected:
  Why() { StartService(); }
};

TEST_F(Why, EachReasonIsALineWithThePresentValueAndTheNeededOnes) {
  ExpectOutput(Run({"why", "picturemode"}),
               "picturemode is disabled: brightness is \"25\", needed \"30\" or \"40\"\n"
               "picturemode is disabled: key db/menu/x is unset, needed 1\n"
               "picturemode is disabled: feature com.velmora/x is false, needed true\n"
               "picturemode is disabled: the source is \"tv\", needed anything but \"tv\" or "
               "\"av\"\n"
               "picturemode is disabled: the speaker is \"tvspeaker\", needed \"receiver\"\n"
               "picturemode is disabled: org.example.game disables it\n");
}

TEST_F(Why, TheReasonsOfAGroupFollowAndNothingDisturbsTheTerminal) {
  ExpectOutput(Run({"why", "brightness"}),
               "brightness is hidden: the group expert above it is hidden\n"
               "expert is hidden: greeting is \"a\\x1b\", needed \"b\"\n");
}

TEST_F(Why, AnItemWithoutReasonsIsVisibleAndEnabled) {
  ExpectOutput(Run({"why", "picture"}), "picture is visible and enabled\n");
}

TEST_F(Why, AsJsonThereIsALineForTheItemAndForEachGroup) {
  ExpectOutput(Run({"why", "brightness", "--json"}),
               R"({"menuID":"brightness","visible":true,"enabled":true,)"
               R"("reasons":[{"group":"expert","of":"visible"}]})"
               "\n"
               R"({"menuID":"expert","visible":false,"enabled":true,)"
               R"("reasons":[{"is":"a\u001b","item":"greeting","needed":["b"],"of":"visible"}]})"
               "\n");
}

TEST_F(Why, AnUnknownItemIsAnsweredWithTheNearest) {
  ExpectFailure(Run({"why", "brigthness"}), 10, "nearest: brightness");
}

}  // namespace
