#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/notify_socket.h"
#include "system_test.h"

namespace {

// A daemon whose alarms come fast, under a service manager that watches it.
class WatchedDaemon {
 public:
  WatchedDaemon() { mkfifo(m_Gate.c_str(), 0600); }

  // Feedings since the last call.
  std::ptrdiff_t TakeFeedings() {
    const std::vector<std::string> messages = m_Manager.TakeMessages();
    return std::count(messages.begin(), messages.end(), "WATCHDOG=1");
  }

  bool WaitForFeedings(std::ptrdiff_t count) {
    return support::WaitUntil([&] { return (count -= TakeFeedings()) <= 0; });
  }

  // Stops the thread of the main loop, and only that.
  bool BlockMainLoop() {
    tgkill(m_Daemon.Pid(), m_Daemon.Pid(), SIGRTMIN);
    return support::WaitUntil([&] { return std::filesystem::exists(m_Blocked); });
  }

  bool ReleaseMainLoop() {
    return support::WaitUntil([&] {
      const int gate = open(m_Gate.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      return gate >= 0 && close(gate) == 0;
    });
  }

 private:
  support::Variables Variables() const {
    support::Variables variables = m_Set.Variables();
    variables["NOTIFY_SOCKET"] = m_Address;
    variables["WATCHDOG_USEC"] = "45000000";
    variables["BLOCKED"] = m_Blocked;
    variables["GATE"] = m_Gate;
    return variables;
  }

  TelevisionSet m_Set{"full"};
  const std::filesystem::path m_Address = m_Set.Root() / "notify";
  const std::filesystem::path m_Blocked = m_Set.Root() / "blocked";
  const std::filesystem::path m_Gate = m_Set.Root() / "gate";
  support::NotifySocket m_Manager{m_Address};
  support::Process m_Daemon{
      {HASTY_SERVICE}, Variables(), {"/dev/null", "/dev/null", m_Set.Root() / "daemon.log"}};
};

TEST(Watchdog, IsNotFedWhileTheMainLoopIsBlocked) {
  WatchedDaemon stuck;
  WatchedDaemon healthy;
  // The first comes from the start, the others from the alarm.
  ASSERT_TRUE(stuck.WaitForFeedings(10));
  ASSERT_TRUE(stuck.BlockMainLoop());
  stuck.TakeFeedings();

  ASSERT_TRUE(healthy.WaitForFeedings(100));
  EXPECT_EQ(stuck.TakeFeedings(), 0);

  ASSERT_TRUE(stuck.ReleaseMainLoop());
  EXPECT_TRUE(stuck.WaitForFeedings(10));
}

}  // namespace
