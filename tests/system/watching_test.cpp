// watch, wait and why of the real service: what follows from rules, applications, previews, the
// speaker and the language, and across kills of the daemon.

#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "system_test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class Watching : public SystemTest {
 protected:
  // Starts a watch; returns when it watches.
  void StartWatch(std::vector<std::string> command) {
    command.insert(command.begin(), {"settingsctl", "watch"});
    m_Watch = std::make_unique<support::Process>(command, m_Set.Variables(),
                                                 support::Files{"/dev/null", m_Out, m_Errors});
    ASSERT_TRUE(WaitForNote("watching…\n"));
  }

  bool WaitForNote(const std::string& note) const {
    return support::WaitUntil(
        [&] { return support::ReadFile(m_Errors).find(note) != std::string::npos; });
  }

  // The next lines, without their times, up to the one that a write of balance makes now.
  std::vector<std::string> TakeLines() {
    const std::string value = std::to_string(++m_Marks);
    const std::string end = "balance value " + std::to_string(m_Marks - 1) + " → " + value;
    Done({"settingsctl", "set", "balance", value});
    std::vector<std::string> lines;
    EXPECT_TRUE(support::WaitUntil([&] {
      lines.clear();
      std::istringstream out(support::ReadFile(m_Out).substr(m_Taken));
      for (std::string line; std::getline(out, line);) {
        lines.push_back(line.substr(line.find(' ') + 1));
      }
      return !lines.empty() && lines.back() == end;
    })) << support::ReadFile(m_Out);
    m_Taken = support::ReadFile(m_Out).size();
    lines.pop_back();
    return lines;
  }

  void Done(const std::vector<std::string>& command) {
    const support::Outcome outcome = m_Set.Run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }

  const std::filesystem::path m_Out = m_Set.Root() / "watch.out";
  const std::filesystem::path m_Errors = m_Set.Root() / "watch.err";
  std::unique_ptr<support::Process> m_Watch;
  std::size_t m_Taken = 0;
  int m_Marks = 0;
};

TEST_F(Watching, AWatchShowsWhatFollowsFromEachEventAndNothingElse) {
  StartWatch({"picturemode", "gamemode", "gamepicture", "filmmode", "brightness", "soundoutput",
              "menulanguage", "balance"});
  Done({"settingsctl", "set", "picturemode", "movie"});
  Done({"settingsctl", "set", "picturemode", "movie"});
  EXPECT_THAT(TakeLines(), ElementsAre("picturemode value standard (Standard) → movie (Movie)"));
  Done({"settingsctl", "set", "gamemode", "on"});
  EXPECT_THAT(TakeLines(), UnorderedElementsAre("gamemode value off (Off) → on (On)",
                                                "gamepicture enabled no → yes"));
  Done({"setctl", "source", "switch", "hdmi1"});
  EXPECT_THAT(TakeLines(), ElementsAre("filmmode visible yes → no"));
  Done({"settingsctl", "disable", "brightness", "--app", "org.example.game"});
  EXPECT_THAT(TakeLines(), ElementsAre("brightness enabled yes → no"));
  Done({"settingsctl", "release", "--app", "org.example.game"});
  EXPECT_THAT(TakeLines(), ElementsAre("brightness enabled no → yes"));
  // What becomes another and the same again before it is told would be no change.
  Done({"settingsctl", "hold", "brightness", "--app", "org.example.film", "--", "bash", "-c",
        "until [ \"$(grep -c 'brightness enabled yes' \"$0\")\" = 2 ]; do sleep 0.02; done",
        m_Out});
  EXPECT_THAT(TakeLines(),
              ElementsAre("brightness enabled yes → no", "brightness enabled no → yes"));
  Done({"settingsctl", "set", "brightness", "30", "--preview"});
  EXPECT_THAT(TakeLines(), ElementsAre("brightness value 25 → 30"));
  Done({"setctl", "language", "de_DE"});
  EXPECT_THAT(TakeLines(), ElementsAre("menulanguage value en_US (English (United States)) → "
                                       "de_DE (Deutsch)"));
  Done({"setctl", "key", "set", "db/menu/picturemode", "standard"});
  EXPECT_THAT(TakeLines(), ElementsAre("picturemode value movie (Film) → standard (Standard)"));
}

TEST_F(Watching, TheSpeakerChangesItsItemAndWhatDependsOnIt) {
  StartWatch({"soundoutput", "nightmode", "--count", "2"});
  Done({"setctl", "speaker", "receiver"});
  EXPECT_EQ(m_Watch->Wait(), 0);
  EXPECT_THAT(support::ReadFile(m_Out),
              testing::AllOf(HasSubstr(" soundoutput value tvspeaker (TV Speaker) → receiver"),
                             HasSubstr(" nightmode enabled yes → no\n")));
}

TEST_F(Watching, WhatChangedWhileTheDaemonWasGoneIsShown) {
  StartWatch({"picturemode", "brightness", "balance"});
  m_Set.KillDaemon();
  ASSERT_TRUE(WaitForNote("waiting for it to come back…\n"));
  Done({"setctl", "key", "set", "db/menu/brightness", "31"});
  m_Set.StartDaemon();
  ASSERT_TRUE(WaitForNote("the service is back\n"));
  EXPECT_THAT(TakeLines(), ElementsAre("brightness value 25 → 31"));
}

TEST_F(Watching, AWaitEndsWithWhatItWaitsFor) {
  Done({"settingsctl", "wait", "gamepicture", "--disabled"});
  support::Process wait({"settingsctl", "wait", "gamepicture", "--enabled"}, m_Set.Variables(), {});
  Done({"settingsctl", "set", "gamemode", "on"});
  EXPECT_EQ(wait.Wait(), 0);
  Done({"settingsctl", "wait", "gamepicture", "--enabled"});
  support::Process other({"settingsctl", "wait", "sounddelay", "120.0"}, m_Set.Variables(), {});
  Done({"setctl", "key", "set", "db/menu/sounddelay", "12"});
  EXPECT_EQ(other.Wait(), 0);
}

TEST_F(Watching, WhySaysWhatDecides) {
  const auto why = [&](const std::string& item) {
    return m_Set.Run({"settingsctl", "why", item}).out;
  };
  EXPECT_EQ(why("gamepicture"), "gamepicture is disabled: gamemode is \"off\", needed \"on\"\n");
  Done({"settingsctl", "disable", "game", "--app", "org.example.film"});
  EXPECT_EQ(why("gamemode"),
            "gamemode is disabled: the group game above it is disabled\n"
            "game is disabled: org.example.film disables it\n");
  EXPECT_EQ(why("brightness"), "brightness is visible and enabled\n");
}

TEST_F(Watching, APathStandsForItsItem) {
  const std::string path = "picture/expertsettings/brightness";
  EXPECT_EQ(m_Set.Run({"settingsctl", "why", path}).out, "brightness is visible and enabled\n");
  Done({"settingsctl", "wait", path, "25"});
  EXPECT_EQ(m_Set.Run({"settingsctl", "watch", path, "--timeout", "0.1"}).status, 0);
  for (const char* verb : {"why", "watch"}) {
    const support::Outcome outcome = m_Set.Run({"settingsctl", verb, "game/brightness"});
    EXPECT_EQ(outcome.status, 10);
    EXPECT_THAT(outcome.err, HasSubstr("nearest: " + path));
  }
}

}  // namespace
