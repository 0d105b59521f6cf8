#include <signal.h>

#include <climits>

#include "apps_test.h"
#include "aul.h"
#include "support/wait.h"
#include "vconf.h"

namespace {

class AppStatus : public AppsTest {
 protected:
  static int Status(const std::string& appId = kGameBar) {
    return aul_app_get_status(appId.c_str());
  }

  // What an application says about itself, as the application would.
  static void Tell(int state) { ASSERT_EQ(vconf_set_int(kKey.c_str(), state), 0); }
  static void Tell(const char* state) { ASSERT_EQ(vconf_set_str(kKey.c_str(), state), 0); }

  void LaunchGameBar() {
    ASSERT_EQ(Launch(kGameBar), 0);
    ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  }

  static inline const std::string kKey = "memory/set/apps/" + kGameBar + "/status";
};

TEST_F(AppStatus, AnApplicationThatDoesNotRunHasNoneAndIsNotStartedByTheQuestion) {
  EXPECT_LT(Status(kGameBar), 0);
  EXPECT_LT(Status("com.velmora.unknown"), 0);
  // The bus would have started both by now.
  ASSERT_EQ(Launch(kDashed), 0);
  ASSERT_TRUE(WaitForActivations(kDashed, 1));
  EXPECT_EQ(Starts(kGameBar), 0);
}

TEST_F(AppStatus, AnApplicationThatSaysNothingCanBeSeen) {
  ASSERT_EQ(Launch(kDashed), 0);
  ASSERT_TRUE(WaitForActivations(kDashed, 1));
  EXPECT_EQ(Status(kDashed), 2);
}

TEST_F(AppStatus, AnApplicationIsInTheStateThatItTold) {
  LaunchGameBar();
  for (const int state : {0, 2, 3, 4, 5, 9, INT_MAX}) {
    Tell(state);
    EXPECT_EQ(Status(), state);
    Tell(std::to_string(state).c_str());
    EXPECT_EQ(Status(), state);
  }
}

TEST_F(AppStatus, WhatIsNoStateNumberCountsAsNothingSaid) {
  LaunchGameBar();
  for (const int state : {-1, INT_MIN}) {
    Tell(state);
    EXPECT_EQ(Status(), 2);
  }
  for (const char* state : {"", " ", "four", "4x", " 4", "4 ", "+4", "-4", "4.0", "0x4",
                            "2147483648", "99999999999999999999"}) {
    Tell(state);
    EXPECT_EQ(Status(), 2) << state;
  }
}

TEST_F(AppStatus, WhatAnApplicationLeftBehindIsIgnored) {
  LaunchGameBar();
  Tell(3);
  EXPECT_EQ(Status(), 3);
  Signal(kGameBar, SIGKILL);
  EXPECT_TRUE(support::WaitUntil([] { return Status() < 0; }));
  EXPECT_LT(Status(), 0);
}

TEST_F(AppStatus, AStoppedApplicationIsStillInTheStateThatItTold) {
  LaunchGameBar();
  Tell(4);
  Signal(kGameBar, SIGSTOP);
  EXPECT_EQ(Status(), 4);
}

TEST_F(AppStatus, NullIsAnError) { EXPECT_LT(aul_app_get_status(nullptr), 0); }

}  // namespace
