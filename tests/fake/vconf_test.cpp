#include "vconf.h"

#include <stdexcept>

#include "contract/main_loop.h"
#include "fixture.h"

namespace {

class FakeVconf : public fakes::FakePlatformTest {};

TEST_F(FakeVconf, ReportsAMainLoopWithoutEnd) {
  vconf_notify_key_changed(
      "db/x", [](keynode_t*, void*) { vconf_set_int("db/x", 1); }, nullptr);
  vconf_set_int("db/x", 0);
  EXPECT_THROW(fake.RunMainLoop(), std::runtime_error);
}

TEST_F(FakeVconf, GivesNothingForNoKey) {
  int value = 5;
  EXPECT_EQ(vconf_get_int(nullptr, &value), -1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(vconf_get_str(nullptr), nullptr);
  for (const char* key : {"", "x", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(vconf_ignore_key_changed(key, [](keynode_t*, void*) {}), -1);
  }
}

TEST_F(FakeVconf, RunsTheMainLoopNoLongerThanItsLimit) {
  EXPECT_FALSE(contract::RunMainLoopUntil([] { return false; }, std::chrono::milliseconds(1)));
  EXPECT_TRUE(contract::RunMainLoopUntil([] { return true; }, std::chrono::milliseconds(0)));
}

}  // namespace
