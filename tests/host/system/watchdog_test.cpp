#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "probe.h"
#include "support/notify_socket.h"
#include "support/temp_directory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class WatchdogTest : public testing::Test {
 protected:
  support::Outcome RunProbe(const std::vector<std::string>& commands,
                            const support::Variables& variables) {
    return support::RunCommand(ProbeCommand(SYSTEM_PROBE, commands, variables));
  }

  support::TempDirectory m_Directory;
  const std::string m_Address = m_Directory / "notify";
  support::NotifySocket m_Manager{m_Address};
};

TEST_F(WatchdogTest, RegisteringAndFeedingBothFeedTheServiceManager) {
  const support::Variables variables = {{"NOTIFY_SOCKET", m_Address},
                                        {"WATCHDOG_USEC", "30000000"}};
  const support::Outcome result = RunProbe({"watch"}, variables);
  EXPECT_EQ(result.out, "0\n");
  EXPECT_THAT(m_Manager.TakeMessages(), ElementsAre("WATCHDOG=1"));

  EXPECT_EQ(RunProbe({"watch", "watch", "feed"}, variables).out, "0\n0\n0\n");
  EXPECT_THAT(m_Manager.TakeMessages(), ElementsAre("WATCHDOG=1", "WATCHDOG=1", "WATCHDOG=1"));
}

TEST_F(WatchdogTest, WithoutAServiceManagerNobodyWatches) {
  const support::Outcome result = RunProbe({"watch", "feed"}, {});
  EXPECT_EQ(result.out, "-1\n-1\n");
  EXPECT_EQ(RunProbe({"watch", "feed"}, {{"WATCHDOG_USEC", "30000000"}}).out, "-1\n-1\n");
}

TEST_F(WatchdogTest, AServiceManagerThatDoesNotWatchIsNotFed) {
  EXPECT_EQ(RunProbe({"watch", "feed"}, {{"NOTIFY_SOCKET", m_Address}}).out, "-1\n-1\n");
  EXPECT_THAT(m_Manager.TakeMessages(), IsEmpty());
}

TEST_F(WatchdogTest, AServiceManagerThatWatchesAnotherProcessIsNotFed) {
  EXPECT_EQ(
      RunProbe({"watch", "feed"},
               {{"NOTIFY_SOCKET", m_Address}, {"WATCHDOG_USEC", "30000000"}, {"WATCHDOG_PID", "1"}})
          .out,
      "-1\n-1\n");
  EXPECT_THAT(m_Manager.TakeMessages(), IsEmpty());
}

TEST_F(WatchdogTest, AServiceManagerThatIsGoneCannotBeFed) {
  const support::Outcome result =
      RunProbe({"feed"}, {{"NOTIFY_SOCKET", m_Directory / "gone"}, {"WATCHDOG_USEC", "30000000"}});
  EXPECT_EQ(result.out, "-1\n");
  EXPECT_THAT(result.err, HasSubstr("cannot be fed: No such file or directory"));
}

}  // namespace
