// Every change of an item is announced, and says why an item is hidden or disabled.

#include <gmock/gmock.h>
#include <signal.h>

#include <string>
#include <thread>
#include <vector>

#include "item_log.h"
#include "keystore/key_store.h"
#include "settings/batch.h"
#include "settings/client.h"
#include "system_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

host::KeyStore StoreOf(const TelevisionSet& set) {
  return host::KeyStore(set.Root() / "var/lib/settings-service",
                        set.Root() / "run/settings-service");
}

class ItemAnnouncements : public SystemTest {
 protected:
  void Run(const std::vector<std::string>& command) {
    const support::Outcome outcome = m_Set.Run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }

  ItemLog m_Log{m_Set};
};

TEST_F(ItemAnnouncements, SayWhatAWriteMadeOfAnItem) {
  Run({"settingsctl", "set", "brightness", "31"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"brightness","value":"31","valueName":"31"})"));
  Run({"settingsctl", "set", "brightness", "31"});
  EXPECT_THAT(m_Log.TakeAll(), IsEmpty());
}

TEST_F(ItemAnnouncements, SayWhatAnotherProcessWrote) {
  Run({"setctl", "key", "set", "db/menu/sounddelay", "12"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"sounddelay","value":"120","valueName":"120 ms"})"));
  Run({"setctl", "key", "unset", "db/menu/sounddelay"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"sounddelay","value":"0","valueName":"0 ms"})"));
}

TEST_F(ItemAnnouncements, SayWhatFollowsFromRules) {
  Run({"settingsctl", "set", "gamemode", "on"});
  const std::vector<std::string> told = m_Log.TakeAll();
  EXPECT_THAT(told, Contains(R"({"menuID":"gamemode","value":"on","valueName":"On"})"));
  EXPECT_THAT(told, Contains(R"({"enabled":true,"menuID":"gamepicture"})"));
  EXPECT_THAT(told, Contains(R"({"enabled":false,"menuID":"pictureoff"})"));
}

TEST_F(ItemAnnouncements, SayWhatFollowsFromTheSource) {
  Run({"setctl", "source", "add", "hdmi1", "Console"});
  Run({"setctl", "source", "switch", "hdmi1"});
  const std::vector<std::string> told = m_Log.TakeAll();
  EXPECT_THAT(told, Contains(R"({"menuID":"hdmiblacklevel","visible":true})"));
  EXPECT_THAT(told, Contains(R"({"menuID":"filmmode","visible":false})"));
  EXPECT_THAT(told, Not(Contains(HasSubstr("value"))));
}

TEST_F(ItemAnnouncements, SayWhatFollowsFromTheSpeaker) {
  Run({"setctl", "speaker", "receiver"});
  const std::vector<std::string> told = m_Log.TakeAll();
  EXPECT_THAT(told, Contains(HasSubstr(R"({"menuID":"soundoutput","value":"receiver")")));
  EXPECT_THAT(told, Contains(R"({"enabled":false,"menuID":"equaliser"})"));
}

TEST_F(ItemAnnouncements, SayWhatApplicationsDisableAndReleaseOnce) {
  const std::string disabled = R"({"enabled":false,"menuID":"brightness"})";
  const std::string enabled = R"({"enabled":true,"menuID":"brightness"})";
  Run({"settingsctl", "disable", "brightness", "--app", "org.example.one"});
  EXPECT_THAT(m_Log.TakeAll(), ElementsAre(disabled));
  Run({"settingsctl", "disable", "brightness", "--app", "org.example.two"});
  Run({"settingsctl", "release", "--app", "org.example.one"});
  EXPECT_THAT(m_Log.TakeAll(), IsEmpty());
  Run({"settingsctl", "enable", "brightness", "--app", "org.example.two"});
  EXPECT_THAT(m_Log.TakeAll(), ElementsAre(enabled));
  Run({"settingsctl", "hold", "brightness", "--app", "org.example.three", "--", "true"});
  const std::vector<std::string> held = m_Log.TakeAll();
  ASSERT_FALSE(held.empty());
  EXPECT_EQ(held.back(), enabled);
}

TEST_F(ItemAnnouncements, SayThatAPreviewBeginsAndNothingWhenItBecomesTheValue) {
  Run({"settingsctl", "set", "picturemode", "movie", "--preview"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"picturemode","value":"movie","valueName":"Movie"})"));
  Run({"settingsctl", "set", "picturemode", "movie"});
  EXPECT_THAT(m_Log.TakeAll(), IsEmpty());
}

TEST_F(ItemAnnouncements, SayTheLanguageAndThenTheItemWhoseValueItIs) {
  Run({"setctl", "language", "de_DE"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre("LanguageChanged de_DE",
                          R"({"menuID":"menulanguage","value":"de_DE","valueName":"Deutsch"})"));
  Run({"settingsctl", "set", "picturemode", "movie"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"picturemode","value":"movie","valueName":"Film"})"));
}

TEST_F(ItemAnnouncements, SayWhatAResetDisablesForItsTime) {
  Run({"setctl", "reset", "general"});
  EXPECT_THAT(m_Log.TakeAll(), Contains(R"({"enabled":true,"menuID":"picturereset"})"));
}

// Each a preview, which waits for no disk.
TEST_F(ItemAnnouncements, OfWritesThatComeTogetherAreFewAndEndWithTheNewest) {
  constexpr int kWrites = 1000;
  settings::Client client(m_Set.Bus().Address(), support::kPatience);
  settings::Batch batch(client);
  for (int i = 0; i <= kWrites; ++i) {
    batch.Add(settings::ask::SetItemValue("brightness", std::to_string(i % 50), true));
  }
  const int before = m_Log.Broadcasts();
  batch.Ask();
  const std::vector<std::string> told = m_Log.TakeAll();
  EXPECT_EQ(told.back(), R"({"menuID":"brightness","value":"0","valueName":"0"})");
  EXPECT_LT(m_Log.Broadcasts() - before, kWrites / 2);
}

// The number in a line about an item: what it is, or was when it was asked for.
int NumberIn(const std::string& line) {
  const std::string value = R"("value":")";
  const std::size_t place = line.find(value);
  return std::stoi(line.substr(place == std::string::npos ? 0 : place + value.size()));
}

TEST_F(ItemAnnouncements, AreNeverOlderThanAReplyAndNoReplyIsOlderThanThem) {
  host::KeyStore store = StoreOf(m_Set);
  std::thread writer([&] {
    for (int value = 0; value <= 250; ++value) {
      store.Set("memory/menu/preview/sounddelay", std::to_string(value / 10 * 10));
    }
  });
  std::vector<std::string> lines;
  while (lines.empty() || NumberIn(lines.back()) < 250) {
    m_Log.PostQuestion("sounddelay");
    const std::vector<std::string> next = m_Log.Take(1);
    lines.insert(lines.end(), next.begin(), next.end());
  }
  writer.join();
  for (std::size_t i = 1; i < lines.size(); ++i) {
    EXPECT_GE(NumberIn(lines[i]), NumberIn(lines[i - 1])) << lines[i];
  }
  const std::vector<std::string> last = m_Log.TakeAll();
  if (!last.empty()) {
    EXPECT_EQ(NumberIn(last.back()), 250);
  }
  EXPECT_GE(m_Log.Broadcasts(), 1);
}

// More than is kept for a daemon that does not take it.
TEST_F(ItemAnnouncements, SayWhatItemsBecameWhenChangesWereLost) {
  host::KeyStore store = StoreOf(m_Set);
  m_Set.Daemon().Signal(SIGSTOP);
  store.Set("db/menu/brightness", 44);
  store.Set("db/menu/contrast", 7);
  const std::string text(1024 * 1024, 'x');
  for (int mebibytes = 0; mebibytes < 24; ++mebibytes) {
    store.Set("memory/text", text);
    store.Set("db/text", text);
  }
  store.Set("db/menu/contrast", 8);
  m_Set.Daemon().Signal(SIGCONT);
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"brightness","value":"44","valueName":"44"})",
                          R"({"menuID":"contrast","value":"8","valueName":"8"})"));
  store.Set("db/menu/brightness", 45);
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"brightness","value":"45","valueName":"45"})"));
}

TEST_F(ItemAnnouncements, GoOnAfterTheDaemonWasKilled) {
  Run({"settingsctl", "set", "brightness", "31"});
  m_Log.TakeAll();
  m_Set.KillDaemon();
  m_Set.StartDaemon();
  EXPECT_THAT(m_Log.TakeAll(), IsEmpty());
  Run({"settingsctl", "set", "brightness", "32"});
  EXPECT_THAT(m_Log.TakeAll(),
              ElementsAre(R"({"menuID":"brightness","value":"32","valueName":"32"})"));
}

TEST_F(ItemAnnouncements, AreExplained) {
  Run({"setctl", "key", "set", "db/menu/gamemode", "0"});
  EXPECT_EQ(Explain(m_Set, "gamepicture"),
            R"({"enabled":false,"menuID":"gamepicture","reasons":[)"
            R"({"is":"off","item":"gamemode","needed":["on"],"of":"enabled"}],"visible":true})");
  EXPECT_EQ(Explain(m_Set, "brightness"),
            R"({"enabled":true,"menuID":"brightness","reasons":[],"visible":true})");
  EXPECT_EQ(Explain(m_Set, "no\"thing"),
            R"(org.nuvra.Error.NoSuchItem: there is no item "no"thing")");
}

}  // namespace
