// Every change of an item is announced, and says why an item is hidden or disabled.

#include <gmock/gmock.h>

#include <string>

#include "item_log.h"
#include "system_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
