#include <gmock/gmock.h>

#include <filesystem>

#include "system_test.h"

namespace {

using testing::HasSubstr;

class Values : public SystemTest {};

TEST_F(Values, AValueThatIsRefusedIsNotStored) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "51"}).status, 1);
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/brightness"}).status, 10);
}

TEST_F(Values, AStoreThatCannotBeReadIsSaidAndNoDefaultTakesThePlaceOfAValue) {
  ASSERT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/brightness", "31"}).status, 0);
  const std::filesystem::path store = m_Set.Root() / "var/lib/settings-service/keys.db";
  std::filesystem::resize_file(store, 0);
  std::filesystem::resize_file(store.string() + "-wal", 0);
  EXPECT_THAT(Request(R"({"method":"GetItemValue","data":{"menuID":"brightness"}})"),
              HasSubstr(R"("call_api_success":false)"));
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"settingsctl", "get", "brightness"},
        std::vector<std::string>{"settingsctl", "set", "brightness", "20"}}) {
    const auto outcome = m_Set.Run(command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("key file " + store.string()));
  }
}

TEST_F(Values, AKeyThatAnotherProgramWroteIsTheItemsValue) {
  EXPECT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/auto_power_off", "6"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "autopoweroff"}).out, "6 (6 hours)\n");
}

TEST_F(Values, AStoredValueSurvivesAKillRightAfterTheReply) {
  for (int round = 0; round < 20; ++round) {
    const std::string value = std::to_string(round % 50 + 1);
    ASSERT_EQ(m_Set.Run({"settingsctl", "set", "brightness", value}).status, 0);
    m_Set.KillDaemon();
    m_Set.StartDaemon();
    ASSERT_EQ(m_Set.Run({"settingsctl", "get", "brightness"}).out, value + "\n");
  }
}

}  // namespace
