#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <thread>

#include "app_control.h"
#include "apps_test.h"
#include "aul.h"
#include "contract/main_loop.h"
#include "support/wait.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using AppLaunch = AppsTest;

// Texts that no application can have as its ID.
std::vector<std::string> HostileIds() {
  return {"",
          " ",
          ".",
          "..",
          "gamebar",
          ".com.velmora",
          "com.velmora.",
          "com..velmora",
          "com.1velmora.app",
          "com.velmora/app",
          "com.velmora.app\n",
          "com.velmora.\"app\"",
          "com.velmora.'; rm -rf /",
          "com.velmora.spi\u00e9l",
          "com.velmora.\xff\xfe",
          "com.velmora." + std::string(4096, 'x'),
          std::string(4096, '.'),
          std::string(4096, '\xc3'),
          std::string(65536, '"')};
}

const std::vector<std::string> kNoApplications = {":1.0", ":1.1", "org.freedesktop.DBus",
                                                  "org.freedesktop.Application",
                                                  "org.nuvra.service.settings_service"};

TEST_F(AppLaunch, AnInstalledApplicationIsStartedAndGetsTheExtraData) {
  EXPECT_EQ(Launch(kGameBar, {{"source", "hdmi1"}, {"mode", "1"}}), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(ExtraData{{"source", "hdmi1"}, {"mode", "1"}}));
  EXPECT_EQ(Starts(kGameBar), 1);
}

TEST_F(AppLaunch, ARunningApplicationGetsTheNewExtraDataAndIsNotStartedAgain) {
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_EQ(Launch(kGameBar, {{"page", "2"}}), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 2));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(ExtraData{}, ExtraData{{"page", "2"}}));
  EXPECT_EQ(Starts(kGameBar), 1);
}

TEST_F(AppLaunch, RequestsToAnApplicationThatIsStillStartingReachItInTheirOrder) {
  for (const char* number : {"1", "2", "3"}) {
    EXPECT_EQ(Launch(kGameBar, {{"number", number}}), 0);
  }
  ASSERT_TRUE(WaitForActivations(kGameBar, 3));
  EXPECT_THAT(Activations(kGameBar),
              ElementsAre(ExtraData{{"number", "1"}}, ExtraData{{"number", "2"}},
                          ExtraData{{"number", "3"}}));
  EXPECT_EQ(Starts(kGameBar), 1);
}

TEST_F(AppLaunch, ADashInTheIdIsAnUnderscoreInTheObjectPath) {
  EXPECT_EQ(Launch(kDashed, {{"album", "summer"}}), 0);
  ASSERT_TRUE(WaitForActivations(kDashed, 1));
  EXPECT_THAT(Activations(kDashed), ElementsAre(ExtraData{{"album", "summer"}}));
}

TEST_F(AppLaunch, ARunningApplicationIsReachedEvenIfItIsNotInstalled) {
  const auto application = Start("com.velmora.portable");
  ASSERT_TRUE(support::WaitUntil([] { return BusClient().IsOwned("com.velmora.portable"); }));
  EXPECT_EQ(Launch("com.velmora.portable", {{"key", "value"}}), 0);
  ASSERT_TRUE(WaitForActivations("com.velmora.portable", 1));
  EXPECT_THAT(Activations("com.velmora.portable"), ElementsAre(ExtraData{{"key", "value"}}));
}

TEST_F(AppLaunch, AnApplicationThatWasKilledIsStartedAnew) {
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  Signal(kGameBar, SIGKILL);
  ASSERT_TRUE(support::WaitUntil([] { return !BusClient().IsOwned(kGameBar); }));
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 2));
  EXPECT_EQ(Starts(kGameBar), 2);
}

TEST_F(AppLaunch, AnApplicationThatIsNotInstalledIsAnErrorAndTheNextRequestWorks) {
  EXPECT_NE(Launch("com.velmora.unknown"), 0);
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
}

TEST_F(AppLaunch, AFailedRequestDoesNotTakeBackAnEarlierOne) {
  EXPECT_EQ(Launch(kGameBar, {{"key", "value"}}), 0);
  EXPECT_NE(Launch("com.velmora.unknown"), 0);
  EXPECT_NE(Launch(kDashed, {{"key", "\xff"}}), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
}

TEST_F(AppLaunch, NoReplyIsExpectedOfTheApplication) {
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_FALSE(Record().back()["reply expected"].asBool());
}

TEST_F(AppLaunch, ASecondValueForTheSameKeyReplacesTheFirst) {
  app_control_h control = nullptr;
  ASSERT_EQ(app_control_create(&control), 0);
  EXPECT_EQ(app_control_set_app_id(control, "com.velmora.unknown"), 0);
  EXPECT_EQ(app_control_set_app_id(control, kGameBar.c_str()), 0);
  EXPECT_EQ(app_control_add_extra_data(control, "key", "first"), 0);
  EXPECT_EQ(app_control_add_extra_data(control, "key", "second"), 0);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_destroy(control), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(ExtraData{{"key", "second"}}));
}

TEST_F(AppLaunch, TheRequestKeepsCopiesAndCanBeSentAgain) {
  std::string id = kGameBar;
  std::string key = "key";
  std::string value = "value";
  app_control_h control = nullptr;
  ASSERT_EQ(app_control_create(&control), 0);
  ASSERT_EQ(app_control_set_app_id(control, id.c_str()), 0);
  ASSERT_EQ(app_control_add_extra_data(control, key.c_str(), value.c_str()), 0);
  for (std::string* text : {&id, &key, &value}) {
    text->assign(text->size(), '#');
  }
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  ASSERT_EQ(app_control_destroy(control), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 2));
  EXPECT_THAT(Activations(kGameBar), Each(ExtraData{{"key", "value"}}));
}

TEST_F(AppLaunch, AFailedCallLeavesTheRequestAsItWas) {
  app_control_h control = nullptr;
  ASSERT_EQ(app_control_create(&control), 0);
  EXPECT_EQ(app_control_add_extra_data(control, "page", "1"), 0);
  EXPECT_NE(app_control_add_extra_data(control, "page", nullptr), 0);
  EXPECT_EQ(app_control_set_app_id(control, "com.velmora.unknown"), 0);
  EXPECT_NE(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_set_app_id(control, kGameBar.c_str()), 0);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_destroy(control), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(ExtraData{{"page", "1"}}));
}

TEST_F(AppLaunch, ARequestWithoutAnIdIsAnError) {
  app_control_h control = nullptr;
  ASSERT_EQ(app_control_create(&control), 0);
  EXPECT_NE(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_destroy(control), 0);
}

TEST_F(AppLaunch, NullArgumentsAreErrors) {
  EXPECT_NE(app_control_create(nullptr), 0);
  EXPECT_NE(app_control_set_app_id(nullptr, kGameBar.c_str()), 0);
  EXPECT_NE(app_control_add_extra_data(nullptr, "key", "value"), 0);
  EXPECT_NE(app_control_send_launch_request(nullptr, nullptr, nullptr), 0);
  EXPECT_NE(app_control_destroy(nullptr), 0);

  app_control_h control = nullptr;
  ASSERT_EQ(app_control_create(&control), 0);
  EXPECT_EQ(app_control_set_app_id(control, kGameBar.c_str()), 0);
  EXPECT_NE(app_control_set_app_id(control, nullptr), 0);
  EXPECT_NE(app_control_add_extra_data(control, nullptr, "value"), 0);
  EXPECT_NE(app_control_add_extra_data(control, "key", nullptr), 0);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  EXPECT_EQ(app_control_destroy(control), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(IsEmpty()));
}

TEST_F(AppLaunch, HostileIdsAreErrors) {
  for (const std::string& id : HostileIds()) {
    EXPECT_NE(Launch(id), 0) << id;
    EXPECT_LT(aul_app_get_status(id.c_str()), 0) << id;
  }
  EXPECT_EQ(Launch(kGameBar), 0);
}

TEST_F(AppLaunch, AnIdAsLongAsTheBusAllowsIsServed) {
  const std::string id = "com.velmora." + std::string(255 - 12, 'x');
  EXPECT_NE(Launch(id), 0);
  BusClient application;
  application.Own(id);
  EXPECT_EQ(Launch(id), 0);
  EXPECT_EQ(aul_app_get_status(id.c_str()), 2);
}

TEST_F(AppLaunch, TheBusAndItsServicesAreNoApplications) {
  BusClient service;
  service.Own("org.nuvra.service.settings_service");
  for (const std::string& name : kNoApplications) {
    EXPECT_NE(Launch(name), 0) << name;
    EXPECT_LT(aul_app_get_status(name.c_str()), 0) << name;
  }
}

TEST_F(AppLaunch, ExtraDataArriveAsTheyAre) {
  const ExtraData data = {
      {"", "empty key"},
      {"empty value", ""},
      {"quotes", "\"'`\\"},
      {"line ends", "one\ntwo\r\n\ttab\x01"},
      {"\u00fcmlaut", "\u65e5\u672c\u8a9e \U0001f3ae"},
      {"long", std::string(65536, 'x')},
      {"format", "%s%n{}$(reboot)"},
  };
  EXPECT_EQ(Launch(kGameBar, data), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_THAT(Activations(kGameBar), ElementsAre(data));
}

TEST_F(AppLaunch, ExtraDataThatAreNotUtf8AreAnErrorAndNothingIsStarted) {
  for (const char* text : {"\xff", "\xc3", "\xed\xa0\x80", "\xf5\x80\x80\x80"}) {
    EXPECT_NE(Launch(kDashed, {{"key", text}}), 0);
    EXPECT_NE(Launch(kDashed, {{text, "value"}}), 0);
  }
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_EQ(Starts(kDashed), 0);
}

TEST_F(AppLaunch, AMebibyteOfExtraDataIsTakenAndMoreIsAnError) {
  const std::string most(1024 * 1024 - 3, 'x');
  EXPECT_NE(Launch(kGameBar, {{"more", most}}), 0);
  EXPECT_EQ(Launch(kGameBar, {{"key", most}}), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_EQ(Activations(kGameBar)[0].at("key"), most);
}

TEST_F(AppLaunch, AStoppedApplicationDelaysNobodyAndFindsItsRequestsLater) {
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  Signal(kGameBar, SIGSTOP);
  for (int number = 1; number <= 50; ++number) {
    EXPECT_EQ(Launch(kGameBar, {{"number", std::to_string(number)}}), 0);
    EXPECT_EQ(aul_app_get_status(kGameBar.c_str()), 2);
  }
  EXPECT_EQ(Launch(kDashed), 0);
  ASSERT_TRUE(WaitForActivations(kDashed, 1));
  EXPECT_EQ(Activations(kGameBar).size(), 1u);

  Signal(kGameBar, SIGCONT);
  ASSERT_TRUE(WaitForActivations(kGameBar, 51));
  for (int number = 1; number <= 50; ++number) {
    EXPECT_EQ(Activations(kGameBar)[number].at("number"), std::to_string(number));
  }
}

TEST_F(AppLaunch, AnApplicationThatNeverAnswersDelaysNobody) {
  ASSERT_EQ(Launch(kMute), 0);
  ASSERT_TRUE(support::WaitUntil([] { return BusClient().IsOwned(kMute); }));
  // More than the bus would wait for replies to.
  for (int number = 0; number < 200; ++number) {
    EXPECT_EQ(Launch(kMute), 0);
  }
  EXPECT_EQ(aul_app_get_status(kMute.c_str()), 2);
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
}

TEST_F(AppLaunch, AnApplicationThatNeverTakesItsNameDelaysNobodyAndDoesNotRun) {
  EXPECT_EQ(Launch(kNameless), 0);
  EXPECT_EQ(Launch(kNameless), 0);
  ASSERT_TRUE(WaitForStarts(kNameless, 1));
  EXPECT_LT(aul_app_get_status(kNameless.c_str()), 0);
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
}

TEST_F(AppLaunch, AMissingProgramDisturbsNoOtherApplication) {
  EXPECT_EQ(Launch(kBroken), 0);
  EXPECT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  EXPECT_LT(aul_app_get_status(kBroken.c_str()), 0);
}

TEST_F(AppLaunch, TheCallbackOfARequestIsNotCalled) {
  app_control_h control = nullptr;
  bool called = false;
  const auto note = [](app_control_h, app_control_h, int, void* flag) {
    *static_cast<bool*>(flag) = true;
  };
  ASSERT_EQ(app_control_create(&control), 0);
  ASSERT_EQ(app_control_set_app_id(control, kGameBar.c_str()), 0);
  EXPECT_EQ(app_control_send_launch_request(control, note, &called), 0);
  EXPECT_EQ(app_control_destroy(control), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  contract::SettleMainLoop();
  EXPECT_FALSE(called);
}

TEST_F(AppLaunch, WithoutABusEverythingIsAnErrorUntilThereIsOne) {
  ASSERT_EQ(Launch(kGameBar), 0);
  EndBus();
  EXPECT_NE(Launch(kGameBar), 0);
  EXPECT_NE(Launch(kGameBar), 0);
  EXPECT_LT(aul_app_get_status(kGameBar.c_str()), 0);
  StartBus();
  EXPECT_EQ(Launch(kDashed), 0);
  ASSERT_TRUE(WaitForActivations(kDashed, 1));
}

TEST_F(AppLaunch, ManyThreadsLaunchAndProbeWhileTheMainLoopWatches) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 25;
  Watch();
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&failures, thread] {
      const std::string& id = thread % 2 == 0 ? kGameBar : kDashed;
      for (int round = 0; round < kRounds; ++round) {
        failures += Launch(id, {{"thread", std::to_string(thread)}}) != 0;
        failures += Launch("com.velmora.unknown") == 0;
        const int status = aul_app_get_status(id.c_str());
        failures += status != 2 && status >= 0;
        failures += aul_app_get_status("com.velmora.unknown") >= 0;
      }
    });
  }
  EXPECT_TRUE(RunUntilEvents(2));
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(WaitForActivations(kGameBar, kThreads / 2 * kRounds));
  EXPECT_TRUE(WaitForActivations(kDashed, kThreads / 2 * kRounds));
  EXPECT_THAT(Events(), testing::UnorderedElementsAre(Launched(kGameBar), Launched(kDashed)));
}

}  // namespace
