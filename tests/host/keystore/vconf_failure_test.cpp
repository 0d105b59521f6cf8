#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "support/temp_directory.h"
#include "system/environment.h"
#include "system/log.h"
#include "vconf.h"

namespace {

using ::testing::AllOf;
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

}  // namespace
