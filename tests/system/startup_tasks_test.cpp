#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "keystore/key_store.h"
#include "system_test.h"

// What the daemon does by itself on a whole set: the default after a reset, the menu language, the
// popup of the protection mode.
namespace {

using host::KeyValue;
using testing::HasSubstr;

host::KeyStore StoreOf(const TelevisionSet& set) {
  return {set.Root() / "var/lib/settings-service", set.Root() / "run/settings-service"};
}

std::filesystem::path SyncFile(const TelevisionSet& set) {
  return set.Root() / "var/lib/settings-service/app-data/org.pavix.menu/.autopoweroff_sync_done";
}

std::string Answer(TelevisionSet& set, const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"settingsctl"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return set.Run(command).out;
}

TEST(AutoPowerOff, IsTheModelsDefaultOnAFreshSetAndWhatTheUserChoseAtTheNextStart) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "6 (6 hours)\n");
  EXPECT_EQ(support::ReadFile(SyncFile(set)), "0");
  ASSERT_EQ(set.Run({"settingsctl", "set", "autopoweroff", "4"}).status, 0);
  EXPECT_EQ(set.EndDaemon(), 0);
  set.StartDaemon();
  EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "4 (4 hours)\n");
  EXPECT_EQ(set.EndDaemon(), 0);
}

TEST(AutoPowerOff, IsTheDefaultAgainOnceAfterEachKindOfReset) {
  TelevisionSet set("full");
  set.StartDaemon();
  for (const char* reset : {"general", "factory"}) {
    ASSERT_EQ(set.Run({"settingsctl", "set", "autopoweroff", "4"}).status, 0);
    ASSERT_EQ(set.Run({"setctl", "reset", reset}).status, 0);
    if (std::string(reset) == "general") {
      EXPECT_TRUE(support::WaitUntil([&] { return support::ReadFile(SyncFile(set)) == "-2"; }));
    }
    EXPECT_EQ(set.EndDaemon(), 0);
    set.StartDaemon();
    EXPECT_EQ(Answer(set, {"get", "autopoweroff"}), "6 (6 hours)\n") << reset;
  }
  EXPECT_EQ(support::ReadFile(SyncFile(set)), "1");
  EXPECT_EQ(StoreOf(set).Get("db/menu/system/eco_solution/auto_power_off"), KeyValue(6));
}

TEST(AutoPowerOff, KeepsNoStartFromCompletingWhateverItsFileIs) {
  TelevisionSet set("full");
  set.StartDaemon();
  EXPECT_EQ(set.EndDaemon(), 0);
  const auto restart = [&](const char* what) {
    set.StartDaemon();
    EXPECT_EQ(Answer(set, {"get", "picturemode"}), "standard (Standard)\n") << what;
    EXPECT_EQ(set.EndDaemon(), 0);
    std::filesystem::remove_all(SyncFile(set));
  };
  std::filesystem::remove(SyncFile(set));
  std::filesystem::create_directory(SyncFile(set));
  restart("a directory");
  ASSERT_EQ(set.Run({"mkfifo", SyncFile(set)}).status, 0);
  restart("a pipe");
  std::filesystem::create_symlink("/dev/zero", SyncFile(set));
  restart("a link to a device");
  std::ofstream(SyncFile(set)).close();
  std::filesystem::resize_file(SyncFile(set), std::uintmax_t{1} << 36);
  restart("a huge file");
}

TEST(MenuLanguage, IsThatOfTheNextAnswersWithoutARestart) {
  TelevisionSet set("full");
  set.StartDaemon();
  const auto change = [&](const char* language) {
    ASSERT_EQ(set.Run({"setctl", "language", language}).status, 0);
    ASSERT_TRUE(set.WaitForLog(std::string("New language : [") + language + "]"));
  };
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("Standard"));
  change("ko_KR");
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("표준"));
  change("de_DE");
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 Stunden"));
  change("ar_EG.UTF-8");
  EXPECT_THAT(Answer(set, {"get", "picturemode"}), HasSubstr("قياسي"));
  change("xx_XX");
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 hours"));
}

TEST(MenuLanguage, IsThatOfTheFirstAnswerToo) {
  TelevisionSet set("full");
  StoreOf(set).Set("db/menu_widget/language", "de_DE");
  set.StartDaemon();
  EXPECT_THAT(Answer(set, {"get", "autopoweroff"}), HasSubstr("6 Stunden"));
}

TEST(ProtectionMode, AsksForThePopupOnAModelForOutdoorsAlone) {
  for (const char* model : {"outdoor", "basic"}) {
    TelevisionSet set(model);
    set.StartDaemon();
    ASSERT_EQ(set.Run({"setctl", "protection", "1"}).status, 0);
    if (std::string(model) == "outdoor") {
      EXPECT_TRUE(set.WaitForLog("Protection Mode : 1"));
      EXPECT_TRUE(set.WaitForLog("[ProtectionModeService] Success to launch menu"));
    } else {
      // The speaker comes behind it on the main loop.
      ASSERT_EQ(set.Run({"setctl", "speaker", "receiver"}).status, 0);
      EXPECT_TRUE(set.WaitForLog("m_SpeakerStatusChangedCB"));
      EXPECT_THAT(set.LogText(), testing::Not(HasSubstr("Protection Mode")));
    }
    EXPECT_EQ(set.EndDaemon(), 0);
  }
}

TEST(Speaker, IsThatOfTheAnswersAfterItsChange) {
  TelevisionSet set("full");
  set.StartDaemon();
  ASSERT_EQ(set.Run({"setctl", "speaker", "receiver"}).status, 0);
  EXPECT_TRUE(set.WaitForLog("m_SpeakerStatusChangedCB"));
  EXPECT_THAT(Answer(set, {"get", "soundoutput"}), HasSubstr("receiver"));
}

}  // namespace
