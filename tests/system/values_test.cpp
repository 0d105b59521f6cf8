#include "system_test.h"

namespace {

class Values : public SystemTest {};

TEST_F(Values, AValueThatIsRefusedIsNotStored) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "51"}).status, 1);
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/brightness"}).status, 10);
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
