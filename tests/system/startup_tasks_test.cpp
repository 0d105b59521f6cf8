#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "keystore/key_store.h"
#include "settings/client.h"
#include "support/applications.h"
#include "system_test.h"

// What the daemon does by itself on a whole set: the default after a reset, the menu language, the
// popup of the protection mode.
namespace {

using host::KeyStore;
using host::KeyValue;
using testing::HasSubstr;
using testing::Not;

constexpr char kMenuKey[] = "db/menu/auto_power_off";
constexpr char kEcoKey[] = "db/menu/system/eco_solution/auto_power_off";
constexpr char kResetCount[] = "db/factory/factory_reset_count";
constexpr char kLanguage[] = "db/menu_widget/language";
constexpr char kProtection[] = "memory/ave/protection";

KeyStore StoreOf(const TelevisionSet& set) {
  return {set.Root() / "var/lib/settings-service", set.Root() / "run/settings-service"};
}

std::filesystem::path SyncFile(const TelevisionSet& set) {
  return set.Root() / "var/lib/settings-service/app-data/org.pavix.menu/.autopoweroff_sync_done";
}

std::filesystem::path SyncMark(const TelevisionSet& set) {
  return SyncFile(set).string() + ".unfinished";
}

std::string Answer(TelevisionSet& set, const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"settingsctl"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return set.Run(command).out;
}

// What a reset is about: both keys and the sync file.
struct AutoPowerOffState {
  std::optional<KeyValue> menu;
  std::optional<KeyValue> eco;
  std::string file;

  bool operator==(const AutoPowerOffState&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const AutoPowerOffState& state) {
  return stream << "menu " << testing::PrintToString(state.menu) << ", eco "
                << testing::PrintToString(state.eco) << ", file \"" << state.file << '"';
}

AutoPowerOffState StateOf(const TelevisionSet& set) {
  KeyStore keys = StoreOf(set);
  return {keys.Get(kMenuKey), keys.Get(kEcoKey), support::ReadFile(SyncFile(set))};
}

// The user's choice, in both keys as the menu leaves it.
void Choose(const TelevisionSet& set, int hours) {
  KeyStore keys = StoreOf(set);
  keys.Set(kMenuKey, hours);
  keys.Set(kEcoKey, hours);
}

void Restart(TelevisionSet& set) {
  EXPECT_EQ(set.EndDaemon(), 0);
  set.StartDaemon();
}

TEST(AutoPowerOff, IsTheModelsDefaultAtTheFirstStartAndTheUsersChoiceAtTheSecond) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, "0"}));
  EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "6 (6 hours)\n");
  ASSERT_EQ(set.Run({"settingsctl", "set", "autopoweroff", "4"}).status, 0);
  const AutoPowerOffState chosen = StateOf(set);
  EXPECT_EQ(chosen.menu, KeyValue(4));
  Restart(set);
  EXPECT_EQ(StateOf(set), chosen);
  EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "4 (4 hours)\n");
  EXPECT_EQ(set.EndDaemon(), 0);
}

TEST(AutoPowerOff, IsTheDefaultAgainOnceAfterAFactoryResetBetweenTwoStarts) {
  TelevisionSet set("full");
  set.StartDaemon();
  Choose(set, 4);
  EXPECT_EQ(set.EndDaemon(), 0);
  ASSERT_EQ(set.Run({"setctl", "reset", "factory"}).status, 0);
  set.StartDaemon();
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, "1"}));
  Choose(set, 8);
  Restart(set);
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{8, 8, "1"}));
}

TEST(AutoPowerOff, IsTheDefaultAgainOnceAfterAGeneralResetThatTheDaemonSaw) {
  TelevisionSet set("full");
  set.StartDaemon();
  Choose(set, 4);
  ASSERT_EQ(set.Run({"setctl", "reset", "general"}).status, 0);
  ASSERT_TRUE(support::WaitUntil([&] { return support::ReadFile(SyncFile(set)) == "-2"; }));
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{4, 4, "-2"}));
  Restart(set);
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, "0"}));
  Choose(set, 8);
  Restart(set);
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{8, 8, "0"}));
}

TEST(AutoPowerOff, NoticesAGeneralResetThatIsOverAtOnce) {
  TelevisionSet set("full");
  set.StartDaemon();
  Choose(set, 4);
  KeyStore keys = StoreOf(set);
  set.Daemon().Signal(SIGSTOP);
  keys.Set("memory/menu/general/reset/progressing", 1);
  keys.Set("memory/menu/general/reset/progressing", 0);
  set.Daemon().Signal(SIGCONT);
  EXPECT_TRUE(support::WaitUntil([&] { return support::ReadFile(SyncFile(set)) == "-2"; }));
}

TEST(AutoPowerOff, IsTheDefaultAfterTheNextStartWhereverThisOneIsKilled) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(set.EndDaemon(), 0);
  KeyStore keys = StoreOf(set);
  const std::filesystem::path file = SyncFile(set);
  const std::filesystem::path mark = SyncMark(set);
  const std::filesystem::path ready = set.Root() / "tmp/settings-service_ready";
  int count = 0;
  // The steps of the application in their order. The last one ends a moment before the mark goes.
  const struct {
    const char* name;
    std::function<bool()> happened;
    bool isCutOff;
  } steps[] = {{"marked", [&] { return std::filesystem::exists(mark); }, true},
               {"counted", [&] { return support::ReadFile(file) == std::to_string(count); }, true},
               {"menu key written", [&] { return keys.Get(kMenuKey) == KeyValue(6); }, true},
               {"copy written", [&] { return keys.Get(kEcoKey) == KeyValue(6); }, false}};
  for (const bool first : {false, true}) {
    for (const auto& step : steps) {
      SCOPED_TRACE(std::string(step.name) + (first ? ", first start" : ", after a reset"));
      int cutOff = 0;
      for (int attempt = 0; attempt < 20 && (attempt < 2 || (step.isCutOff && cutOff == 0));
           ++attempt) {
        Choose(set, 4);
        keys.Set(kResetCount, ++count);
        std::filesystem::remove(ready);
        if (first) {
          std::filesystem::remove(file);
        }
        support::Process daemon({SETTINGS_BINARY_DIRECTORY "/settings-service"}, set.Variables(),
                                {});
        while (!step.happened() && !std::filesystem::exists(ready) && daemon.Running()) {
        }
        daemon.Signal(SIGKILL);
        EXPECT_EQ(daemon.Wait(), 128 + SIGKILL);
        cutOff += std::filesystem::exists(mark) ? 1 : 0;

        set.StartDaemon();
        EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, std::to_string(count)}));
        EXPECT_FALSE(std::filesystem::exists(mark));
        EXPECT_EQ(set.EndDaemon(), 0);
      }
      EXPECT_TRUE(cutOff > 0 || !step.isCutOff) << "it was always faster than the kill";
    }
  }
}

TEST(AutoPowerOff, KeepsNoStartFromCompletingWhateverItsFileIs) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(set.EndDaemon(), 0);
  const std::filesystem::path file = SyncFile(set);
  // `left` is the file after it: the count when the daemon could write it.
  const auto restart = [&](const char* what, const char* left) {
    Choose(set, 4);
    set.StartDaemon();
    EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, left})) << what;
    EXPECT_EQ(Answer(set, {"get", "picturemode"}), "standard (Standard)\n") << what;
    EXPECT_EQ(set.EndDaemon(), 0);
    std::filesystem::remove_all(file);
  };
  std::ofstream(file).close();
  restart("empty", "0");
  std::ofstream(file) << "zero";
  restart("a text", "0");
  std::ofstream(file) << "99999999999999999999";
  restart("a number that is too large", "0");
  std::ofstream(file) << std::string(1 << 20, '1');
  restart("a megabyte of digits", "0");
  std::ofstream(file).put('1');
  std::filesystem::resize_file(file, std::uintmax_t{1} << 36);
  restart("64 GiB", "0");
  std::filesystem::create_directory(file);
  restart("a directory", "");
  ASSERT_EQ(set.Run({"mkfifo", file}).status, 0);
  Choose(set, 4);
  set.StartDaemon();
  EXPECT_EQ(StoreOf(set).Get(kMenuKey), KeyValue(6)) << "a pipe";
  EXPECT_EQ(Answer(set, {"get", "picturemode"}), "standard (Standard)\n") << "a pipe";
  EXPECT_EQ(set.EndDaemon(), 0);
  std::filesystem::remove(file);

  const std::filesystem::path target = set.Root() / "target";
  std::ofstream(target) << "7";
  std::filesystem::create_symlink(target, file);
  restart("a link", "7");
  EXPECT_EQ(support::ReadFile(target), "7");

  std::filesystem::remove(target);
  std::filesystem::create_symlink(target, file);
  restart("a link that leads nowhere", "");
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST(AutoPowerOff, KeepsNoStartFromCompletingWhenItsFileMayNotBeRead) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(set.EndDaemon(), 0);
  Choose(set, 4);
  std::filesystem::permissions(SyncFile(set), std::filesystem::perms::none);
  // Permissions do not hold for root.
  set.StartDaemon(geteuid() == 0 ? std::vector<std::string>{"setpriv", "--bounding-set",
                                                            "-dac_override,-dac_read_search"}
                                 : std::vector<std::string>{});
  std::filesystem::permissions(SyncFile(set), std::filesystem::perms::owner_all);
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{6, 6, "0"}));
  EXPECT_TRUE(set.WaitForLog("Fail to open file"));
  EXPECT_EQ(Answer(set, {"get", "picturemode"}), "standard (Standard)\n");
}

TEST(AutoPowerOff, IsOffInTheCopyWhenTheModelHasNoDefault) {
  const support::TempDirectory models;
  Json::Value model;
  std::ifstream(SETTINGS_DATA_DIRECTORY "/models/full.json") >> model;
  Json::Value removed;
  ASSERT_TRUE(model["features"].removeMember(
      "com.velmora/featureconf/setting.menuitem.autopoweroff_default_value", &removed));
  std::ofstream(models.Path() / "without.json") << model;
  TelevisionSet set(models.Path() / "without");
  Choose(set, 4);
  set.StartDaemon();
  EXPECT_EQ(StateOf(set), (AutoPowerOffState{4, 0, "0"}));
  EXPECT_EQ(Answer(set, {"get", "picturemode"}), "standard (Standard)\n");
}

TEST(MenuLanguage, IsThatOfTheNextAnswersWithoutARestart) {
  TelevisionSet set("full");
  set.StartDaemon();
  const auto change = [&](const char* language) {
    ASSERT_EQ(set.Run({"setctl", "language", language}).status, 0);
  };
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("Standard"));
  change("ko_KR");
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("표준"));
  change("de_DE");
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 Stunden"));
  change("ar_EG.UTF-8");
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("قياسي"));
  // Not one that setctl would choose.
  StoreOf(set).Set(kLanguage, "xx_XX");
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 hours"));
}

TEST(MenuLanguage, IsThatOfARequestThatCameAfterItsChange) {
  TelevisionSet set("full");
  set.StartDaemon();
  KeyStore keys = StoreOf(set);
  settings::Client client(set.Bus().Address(), support::kPatience);
  for (int round = 0; round < 50; ++round) {
    const bool german = round % 2 == 0;
    // Both wait for the daemon when it goes on.
    set.Daemon().Signal(SIGSTOP);
    keys.Set(kLanguage, german ? "de_DE" : "ko_KR");
    std::thread waker([&] {
      // Now the request is with the bus, or on its way there.
      settings::Client(set.Bus().Address()).RequestName("org.example.waker");
      set.Daemon().Signal(SIGCONT);
    });
    EXPECT_EQ(client.GetItemValueName("autopoweroff"), german ? "6 Stunden" : "6시간") << round;
    waker.join();
  }
}

TEST(MenuLanguage, IsThatOfTheFirstAnswerToo) {
  TelevisionSet set("full");
  StoreOf(set).Set(kLanguage, "de_DE");
  set.StartDaemon();
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 Stunden"));
}

TEST(MenuLanguage, IsEnglishWhenItIsNoLanguage) {
  for (const std::string& language :
       {std::string(), std::string(4096, 'x'), std::string("../../../de_DE"),
        std::string("de/../de"), std::string("/"), std::string(":::")}) {
    TelevisionSet set("full");
    StoreOf(set).Set(kLanguage, language);
    set.StartDaemon();
    EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "6 (6 hours)\n") << language;
    StoreOf(set).Set(kLanguage, "ko_KR");
    ASSERT_TRUE(set.WaitForLog("New language : [ko_KR]"));
    StoreOf(set).Set(kLanguage, language);
    EXPECT_TRUE(support::WaitUntil([&] {
      return Answer(set, {"get", "autopoweroff"}) == "6 (6 hours)\n";
    })) << language;
    EXPECT_EQ(set.EndDaemon(), 0);
  }
}

TEST(MenuLanguage, ChangesWhileEightClientsAsk) {
  constexpr int kClients = 8;
  const std::vector<std::pair<std::string, std::string>> languages = {{"de_DE", "6 Stunden"},
                                                                      {"ko_KR.UTF-8", "6시간"},
                                                                      {"fr_FR", "6 heures"},
                                                                      {"en_US", "6 hours"}};
  TelevisionSet set("full");
  set.StartDaemon();
  KeyStore keys = StoreOf(set);

  // How often each client was answered in each language, and how often in none.
  std::vector<std::array<std::atomic<int>, 5>> answers(kClients);
  std::atomic<bool> stop = false;
  std::atomic<int> failures = 0;
  std::vector<std::thread> clients;
  for (auto& mine : answers) {
    clients.emplace_back([&] {
      try {
        settings::Client client(set.Bus().Address(), support::kPatience);
        while (!stop) {
          const std::string name = client.GetItemValueName("autopoweroff").value_or("nothing");
          const auto found = std::find_if(languages.begin(), languages.end(),
                                          [&](const auto& each) { return each.second == name; });
          ++mine[found - languages.begin()];
        }
      } catch (const settings::Error& error) {
        ++failures;
        ADD_FAILURE() << error.what();
      }
    });
  }
  for (int round = 0; round < 12; ++round) {
    const std::size_t index = round % languages.size();
    std::vector<int> before;
    for (const auto& of : answers) {
      before.push_back(of[index]);
    }
    keys.Set(kLanguage, languages[index].first);
    // Everybody is answered in it before it changes again.
    EXPECT_TRUE(support::WaitUntil([&] {
      for (int client = 0; client < kClients; ++client) {
        if (answers[client][index] <= before[client]) {
          return failures > 0;
        }
      }
      return true;
    })) << languages[index].first;
  }
  stop = true;
  for (std::thread& client : clients) {
    client.join();
  }
  for (const auto& of : answers) {
    EXPECT_EQ(of.back(), 0);
  }
  EXPECT_EQ(set.EndDaemon(), 0);
}

// The lines of the daemon's log that begin so.
std::vector<std::string> Logged(const TelevisionSet& set, const std::string& beginning) {
  std::vector<std::string> messages;
  for (const LogLine& line : set.LogLines()) {
    if (line.message.starts_with(beginning)) {
      messages.push_back(line.message);
    }
  }
  return messages;
}

std::vector<std::string> Modes(const TelevisionSet& set) {
  return Logged(set, "Protection Mode : ");
}

// A daemon that is ready does not watch everything yet. It answers when it does.
void StartAndWaitForAnAnswer(TelevisionSet& set) {
  set.StartDaemon();
  ASSERT_EQ(set.Run({"settingsctl", "disabled"}).status, 0);
}

std::size_t Launches(const TelevisionSet& set) {
  return Logged(set, "Protection Mode value changed").size();
}

// What the menu was asked to show.
std::vector<std::string> Popups(const TelevisionSet& set) {
  std::vector<std::string> popups;
  for (const std::string& line : support::ApplicationLog(set.Root(), "org.pavix.menu")) {
    if (line.starts_with("popup ")) {
      popups.push_back(line);
    }
  }
  return popups;
}

const std::vector<std::string> kFourModes = {"Protection Mode : 0", "Protection Mode : 1",
                                             "Protection Mode : 0", "Protection Mode : 1"};
const std::vector<std::string> kTwoPopups = {"popup protection-popup", "popup protection-popup"};

TEST(ProtectionMode, ShowsThePopupAtEachBeginning) {
  TelevisionSet set("outdoor");
  StartAndWaitForAnAnswer(set);
  for (const char* mode : {"0", "1", "0", "1"}) {
    ASSERT_EQ(set.Run({"setctl", "protection", mode}).status, 0);
  }
  EXPECT_TRUE(support::WaitUntil([&] { return Popups(set) == kTwoPopups; }));
  EXPECT_EQ(set.EndDaemon(), 0);
  EXPECT_EQ(Modes(set), kFourModes);
  EXPECT_EQ(Launches(set), 2u);
}

TEST(ProtectionMode, ShowsThePopupAtEachBeginningAlsoWithinAMillisecond) {
  for (const bool late : {true, false}) {
    TelevisionSet set("outdoor");
    StartAndWaitForAnAnswer(set);
    KeyStore keys = StoreOf(set);
    if (late) {  // all four are there when the daemon sees the first
      set.Daemon().Signal(SIGSTOP);
    }
    for (const int mode : {0, 1, 0, 1}) {
      keys.Set(kProtection, mode);
    }
    set.Daemon().Signal(SIGCONT);
    EXPECT_TRUE(support::WaitUntil([&] { return Popups(set) == kTwoPopups; }));
    EXPECT_EQ(set.EndDaemon(), 0);
    EXPECT_EQ(Modes(set), kFourModes);
    EXPECT_EQ(Launches(set), 2u);
  }
}

TEST(ProtectionMode, IsNotWatchedOnAModelThatIsNotForOutdoors) {
  TelevisionSet set("basic");
  StartAndWaitForAnAnswer(set);
  ASSERT_EQ(set.Run({"setctl", "protection", "1"}).status, 0);
  // The speaker comes behind it on the main loop.
  ASSERT_EQ(set.Run({"setctl", "speaker", "receiver"}).status, 0);
  EXPECT_TRUE(set.WaitForLog("m_SpeakerStatusChangedCB"));
  EXPECT_THAT(set.LogText(), Not(HasSubstr("Protection")));
  EXPECT_THAT(Popups(set), testing::IsEmpty());
  EXPECT_EQ(set.EndDaemon(), 0);
}

TEST(Speaker, IsThatOfTheAnswersAfterItsChange) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(set.Run({"settingsctl", "enabled", "soundmode"}).status, 0);
  ASSERT_EQ(set.Run({"setctl", "speaker", "receiver"}).status, 0);
  EXPECT_TRUE(set.WaitForLog("m_SpeakerStatusChangedCB"));
  // Not asked for the sound output before: that alone reads the speaker anew.
  EXPECT_EQ(set.Run({"settingsctl", "enabled", "soundmode"}).status, 1);
  EXPECT_THAT(Answer(set, {"get", "soundoutput"}), HasSubstr("receiver"));
}

}  // namespace
