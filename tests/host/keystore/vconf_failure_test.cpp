#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "contract/main_loop.h"
#include "framework/main_loop.h"
#include "keystore/key_store.h"
#include "keystore/sqlite.h"
#include "support/temp_directory.h"
#include "system/environment.h"
#include "system/log.h"
#include "vconf.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Ne;

void DoNothing(keynode_t*, void*) {}

TEST(HostVconf, FailsAndSaysWhyUntilTheStoreCanBeOpened) {
  const support::TempDirectory root;
  const std::filesystem::path obstacle = root / "var";
  std::ofstream(obstacle).close();
  host::SetEnvironment({.root = root.Path(), .modelFile = {}, .dataDir = {}});
  host::OpenLog(root / "log");

  int value = 5;
  EXPECT_EQ(vconf_set_int("db/key", 1), -1);
  EXPECT_EQ(vconf_set_str("memory/key", "text"), -1);
  errno = 0;
  EXPECT_EQ(vconf_get_int("db/key", &value), -1);
  EXPECT_THAT(errno, AllOf(Ne(0), Ne(ENOENT), Ne(EINVAL)));
  EXPECT_EQ(value, 5);
  errno = 0;
  EXPECT_EQ(vconf_get_str("memory/key"), nullptr);
  EXPECT_THAT(errno, AllOf(Ne(0), Ne(ENOENT), Ne(EINVAL)));
  EXPECT_EQ(vconf_notify_key_changed("db/key", DoNothing, nullptr), -1);
  EXPECT_EQ(vconf_ignore_key_changed("db/key", DoNothing), -1);
  ASSERT_TRUE(host::FlushLog(std::chrono::seconds(10)));
  const std::string log = support::ReadFile(root / "log");
  for (const char* function : {"vconf_set_int", "vconf_set_str", "vconf_get_int", "vconf_get_str",
                               "vconf_notify_key_changed", "vconf_ignore_key_changed"}) {
    EXPECT_THAT(log, HasSubstr(std::string(function) + ": cannot create " + obstacle.string()));
  }
  EXPECT_THAT(log, AllOf(HasSubstr("vconf"), HasSubstr("choose another root")));

  std::filesystem::remove(obstacle);
  EXPECT_EQ(vconf_set_int("db/key", 1), 0);
  EXPECT_EQ(vconf_get_int("db/key", &value), 0);
  EXPECT_EQ(value, 1);
}

TEST(HostVconf, LogsDamageOnceHoweverOftenTheChangesAreAskedFor) {
  const support::TempDirectory root;
  host::SetEnvironment({.root = root.Path(), .modelFile = {}, .dataDir = {}});
  host::OpenLog(root / "log");
  const host::MainLoop mainLoop;
  ASSERT_EQ(vconf_set_int("memory/key", 1), 0);
  ASSERT_EQ(vconf_notify_key_changed("memory/key", DoNothing, nullptr), 0);

  // What another connection wrote is read from the log's frames.
  const std::filesystem::path run = root / "run/settings-service";
  host::KeyStore(host::StateDir(), host::RunDir()).Set("memory/key", 2);
  std::fstream pages(run / "keys.db-wal", std::ios::in | std::ios::out | std::ios::binary);
  pages.seekp(32);
  pages << std::string(std::filesystem::file_size(run / "keys.db-wal") - 32, 'x') << std::flush;
  const auto logged = [&] {
    EXPECT_TRUE(host::FlushLog(std::chrono::seconds(10)));
    return support::ReadFile(root / "log");
  };
  ASSERT_TRUE(contract::RunMainLoopUntil(
      [&] { return logged().find("cannot read the changes") != std::string::npos; }));
  const std::string first = logged();
  for (int time = 0; time < 3; ++time) {
    std::ofstream(run / "changed").close();
    contract::SettleMainLoop();
  }
  EXPECT_EQ(logged(), first);
  int value = 0;
  EXPECT_EQ(vconf_get_int("memory/key", &value), -1);
}

TEST(HostVconf, AKeyThatCannotBeReadKeepsNobodyFromHearingThatChangesWereMissed) {
  const support::TempDirectory root;
  host::SetEnvironment({.root = root.Path(), .modelFile = {}, .dataDir = {}});
  host::OpenLog(root / "log");
  const host::MainLoop mainLoop;
  ASSERT_EQ(vconf_set_str("memory/whole", "before"), 0);
  static std::vector<std::string> read;
  const auto reading = [](keynode_t*, void* key) {
    errno = 0;
    char* text = vconf_get_str(static_cast<char*>(key));
    read.push_back(text != nullptr ? text : std::to_string(errno));
    std::free(text);
  };
  std::string keys[] = {"memory/broken", "memory/whole"};
  for (std::string& key : keys) {
    ASSERT_EQ(vconf_notify_key_changed(key.c_str(), reading, key.data()), 0);
  }

  host::KeyStore other(host::StateDir(), host::RunDir());
  other.Set("memory/whole", "after");
  const std::string text(1024 * 1024, 'x');
  for (int mebibytes = 0; mebibytes < 24; ++mebibytes) {
    other.Set("memory/text", text);
  }
  // The two keys are on the first and the last of several pages.
  const std::filesystem::path file = host::RunDir() / "keys.db";
  host::Database(file).Execute(
      "PRAGMA secure_delete = ON;"
      "INSERT INTO keys VALUES ('memory/broken', 'the broken one');"
      "WITH RECURSIVE n(i) AS (VALUES(1000) UNION ALL SELECT i + 1 FROM n WHERE i < 1300)"
      " INSERT INTO keys SELECT 'memory/key' || i, hex(zeroblob(50)) FROM n;"
      "PRAGMA wal_checkpoint(TRUNCATE)");
  const std::string content = support::ReadFile(file);
  const std::size_t place = content.find("the broken one");
  ASSERT_NE(place, std::string::npos);
  ASSERT_EQ(content.rfind("the broken one"), place);
  std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).seekp(place / 4096 * 4096)
      << std::string(4096, 'x');
  contract::SettleMainLoop();
  std::sort(read.begin(), read.end());
  EXPECT_THAT(read, ElementsAre(std::to_string(EUCLEAN), "after"));
}

}  // namespace
