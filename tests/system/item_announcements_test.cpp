// Every change of an item is announced, and says why an item is hidden or disabled.

#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "item_log.h"
#include "keystore/key_file.h"
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

// Their writer is one that is stopped between its commits and waking others. The answer about the
// speaker notes what follows from it.
TEST_F(ItemAnnouncements, TellWhatAReplyToldThoughItsWriterHasWokenNobody) {
  Run({"settingsctl", "set", "gamemode", "on"});
  m_Log.TakeAll();
  const std::filesystem::path run = m_Set.Root() / "run/settings-service";
  host::KeyFile keys(run / "keys.db", host::Durability::kProcess, run / "nobody-watches-this");
  keys.Write("memory/set/speaker", "receiver");
  keys.Write("memory/menu/preview/headphonesandspeaker", "on");
  m_Log.PostQuestion("headphonesandspeaker");
  m_Log.PostQuestion("soundoutput");
  const std::vector<std::string> lines = m_Log.Take(3);
  EXPECT_EQ(lines[0], "on");
  EXPECT_EQ(lines[1], "receiver");
  EXPECT_THAT(lines, Contains(R"({"enabled":false,"menuID":"equaliser"})"));
  EXPECT_THAT(lines, Contains(HasSubstr(R"("menuID":"headphonesandspeaker","value":"on")")));
  EXPECT_THAT(lines, Not(Contains(R"({"enabled":false,"menuID":"surroundsound"})")));
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
  EXPECT_EQ(Explain(m_Set, std::string(20 * 1024 * 1024, 'x')),
            "org.nuvra.Error.NoSuchItem: there is no item \"" + std::string(64, 'x') + "\"");
}

class ItemAnnouncementsAtAStart : public SystemTest {
 protected:
  ItemAnnouncementsAtAStart() : SystemTest(std::make_shared<TelevisionSet>()) {}

  const std::filesystem::path m_Run = m_Set.Root() / "run/settings-service";
};

TEST_F(ItemAnnouncementsAtAStart, DoNotStopItWhenTheKeysCannotBeWatched) {
  std::filesystem::create_directories(m_Run / "changed");
  m_Set.StartDaemon();
  ASSERT_EQ(m_Set.Run({"settingsctl", "path", "brightness"}).out,
            "picture/expertsettings/brightness\n");
  EXPECT_TRUE(support::WaitUntil(
      [&] { return m_Set.LogText().find("cannot watch the keys") != std::string::npos; }));
  std::filesystem::remove(m_Run / "changed");
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "31"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "brightness"}).out, "31\n");
}

// Puts `to`, of the same size, in the place of each `from` in a file that others have open.
void Replace(const std::filesystem::path& file, const std::string& from, const std::string& to) {
  const std::string before = support::ReadFile(file);
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  for (std::size_t at = before.find(from); at != std::string::npos;
       at = before.find(from, at + 1)) {
    stream.seekp(static_cast<std::streamoff>(at));
    stream << to;
  }
}

// Judged before, a change of the speaker would be told as if no key held anything.
TEST_F(ItemAnnouncementsAtAStart, AreNoneUntilTheKeysCanBeReadAndThenOfEverything) {
  host::KeyStore store = StoreOf(m_Set);
  const std::string end = "the end of a text";
  const std::string damaged = "the END of a text";
  store.Set("memory/text", std::string(8192, ' ') + end);
  Replace(m_Run / "keys.db-wal", end, damaged);
  m_Set.StartDaemon();
  EXPECT_THROW(StoreOf(m_Set).List(""), std::runtime_error);

  ItemLog log(m_Set);
  store.Set("memory/set/speaker", "receiver");
  std::vector<std::string> lines;
  // What is due is announced at the latest between two questions.
  for (int question = 0; question < 3; ++question) {
    log.PostQuestion("soundoutput");
    const std::vector<std::string> next = log.Take(1);
    lines.insert(lines.end(), next.begin(), next.end());
  }
  EXPECT_THAT(lines, ElementsAre("receiver", "receiver", "receiver"));

  Replace(m_Run / "keys.db-wal", damaged, end);
  store.Set("db/menu/brightness", 31);
  const std::string brightness =
      R"({"enabled":true,"menuID":"brightness","value":"31","valueName":"31","visible":true})";
  do {
    lines = log.Take(1);
  } while (std::find(lines.begin(), lines.end(), brightness) == lines.end());
  EXPECT_THAT(lines, Contains(HasSubstr(R"("menuID":"soundoutput","value":"receiver")")));
  EXPECT_THAT(lines, Contains(R"({"enabled":false,"menuID":"equaliser","visible":true})"));
}

}  // namespace
