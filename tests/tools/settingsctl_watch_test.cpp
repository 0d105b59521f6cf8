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
    Done({"call", "Hide", item, std::string("hidden:=") + (hidden ? "true" : "false")});
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
  Done({"call", "Speak", "language=de_DE", "ending= (de)"});
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
  EXPECT_EQ(Run({"watch", "--timeout", "1"}).status, 0);
  const Outcome outcome = Run({"watch", "--count", "2", "--timeout", "1"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_THAT(outcome.err, HasSubstr("only 0 of 2 changes came in 1 s; wait longer with "
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

}  // namespace
