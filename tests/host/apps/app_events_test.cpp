#include <Ecore.h>
#include <gmock/gmock.h>
#include <signal.h>

#include <stdexcept>

#include "app_manager.h"
#include "apps/living_applications.h"
#include "apps_test.h"
#include "contract/main_loop.h"
#include "support/wait.h"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using AppEvents = AppsTest;

// How often the main loop wakes up in a while in which nothing happens.
int WakeUpsWhenIdle() {
  int wakeUps = 0;
  const auto count = [](void* counter) {
    ++*static_cast<int*>(counter);
    return ECORE_CALLBACK_RENEW;
  };
  const auto end = [](void*) {
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  };
  Ecore_Idle_Exiter* const counting = ecore_idle_exiter_add(count, &wakeUps);
  ecore_timer_add(0.3, end, nullptr);
  ecore_main_loop_begin();
  ecore_idle_exiter_del(counting);
  return wakeUps;
}

// Waits until the bus has told everybody that the name has an owner, or none.
void AwaitOwned(const std::string& name, bool owned = true) {
  BusClient client;
  ASSERT_TRUE(support::WaitUntil([&] { return client.IsOwned(name) == owned; })) << name;
}

TEST_F(AppEvents, TheStartAndTheEndOfAnApplicationAreSeen) {
  Watch();
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(RunUntilEvents(1));
  Signal(kGameBar, SIGTERM);
  ASSERT_TRUE(RunUntilEvents(2));
  ServeAll();
  EXPECT_THAT(Events(), ElementsAre(Launched(kGameBar), Terminated(kGameBar)));
}

TEST_F(AppEvents, AKilledApplicationIsSeenToTerminate) {
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(WaitForActivations(kGameBar, 1));
  ServeAll();
  Watch();
  Signal(kGameBar, SIGKILL);
  ASSERT_TRUE(RunUntilEvents(1));
  EXPECT_THAT(Events(), ElementsAre(Terminated(kGameBar)));
}

TEST_F(AppEvents, AStoppedApplicationHasNotTerminatedUntilItIsKilled) {
  Watch();
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_TRUE(RunUntilEvents(1));
  Signal(kGameBar, SIGSTOP);
  ASSERT_EQ(Launch(kGameBar), 0);
  ASSERT_EQ(Launch(kDashed), 0);
  ASSERT_TRUE(RunUntilEvents(2));
  EXPECT_THAT(Events(), ElementsAre(Launched(kGameBar), Launched(kDashed)));
  Signal(kGameBar, SIGKILL);
  ASSERT_TRUE(RunUntilEvents(3));
  EXPECT_EQ(Events().back(), Terminated(kGameBar));
}

TEST_F(AppEvents, OfTwoHundredApplicationsKilledAtOnceEachIsSeenOnce) {
  std::vector<AppEvent> launched;
  std::vector<AppEvent> terminated;
  for (int number = 1; number <= kSwarmSize; ++number) {
    launched.push_back(Launched(kSwarm + std::to_string(number)));
    terminated.push_back(Terminated(kSwarm + std::to_string(number)));
  }
  Watch();
  ASSERT_EQ(Launch(kSwarm), 0);
  ASSERT_TRUE(RunUntilEvents(kSwarmSize));
  EXPECT_THAT(Events(), UnorderedElementsAreArray(launched));

  SignalGroup(kSwarm, SIGKILL);
  ASSERT_TRUE(RunUntilEvents(2 * kSwarmSize));
  ServeAll();
  EXPECT_THAT(std::vector(Events().begin() + kSwarmSize, Events().end()),
              UnorderedElementsAreArray(terminated));
}

TEST_F(AppEvents, TheOrderOfEventsIsKept) {
  Watch();
  BusClient applications;
  std::vector<AppEvent> expected;
  for (int number = 0; number < 200; ++number) {
    const std::string id = "com.velmora.app" + std::to_string(number);
    applications.Own(id);
    expected.push_back(Launched(id));
    if (number % 3 == 0) {
      applications.Release(id);
      expected.push_back(Terminated(id));
    }
  }
  ASSERT_TRUE(RunUntilEvents(expected.size()));
  EXPECT_THAT(Events(), ElementsAreArray(expected));
}

TEST_F(AppEvents, ANameThatMovesToAnotherOwnerIsAnEndAndAStart) {
  Watch();
  BusClient first;
  BusClient second;
  first.Own(kGameBar);
  second.Own(kGameBar);
  first.Own(kGameBar);
  ASSERT_TRUE(RunUntilEvents(5));
  EXPECT_THAT(Events(), ElementsAre(Launched(kGameBar), Terminated(kGameBar), Launched(kGameBar),
                                    Terminated(kGameBar), Launched(kGameBar)));
}

TEST_F(AppEvents, NamesThatAreNoApplicationsAreLeftOut) {
  Watch();
  {
    BusClient service;
    service.Own("org.freedesktop.Notifications");
    service.Own("org.nuvra.service.settings_service");
    service.Own("org.nuvra.service.other");
    service.Own("org.freedesktops.Application");
    service.Own("org.nuvra.services");
  }
  ASSERT_TRUE(RunUntilEvents(4));
  ServeAll();
  EXPECT_THAT(Events(), UnorderedElementsAre(Launched("org.freedesktops.Application"),
                                             Launched("org.nuvra.services"),
                                             Terminated("org.freedesktops.Application"),
                                             Terminated("org.nuvra.services")));
}

TEST_F(AppEvents, WhatStartedBeforeIsNotAnnounced) {
  BusClient application;
  application.Own(kGameBar);
  ServeAll();
  Watch();
  application.Own(kDashed);
  application.Release(kGameBar);
  ASSERT_TRUE(RunUntilEvents(2));
  EXPECT_THAT(Events(), ElementsAre(Launched(kDashed), Terminated(kGameBar)));
}

TEST_F(AppEvents, NothingIsMissedFromTheFirstMomentOn) {
  BusClient application;
  for (std::size_t round = 0; round < 50; ++round) {
    Watch();
    application.Own(kGameBar);
    ASSERT_TRUE(RunUntilEvents(round + 1)) << round;
    app_manager_unset_app_context_event_cb();
    application.Release(kGameBar);
    ServeAll();
  }
}

// A request that sets the callback may have waited while its application ended.
TEST_F(AppEvents, WhatHappenedButIsNotServedYetIsStillToCome) {
  BusClient application;
  application.Own(kGameBar);
  ServeAll();
  application.Release(kGameBar);
  Watch();
  ASSERT_TRUE(RunUntilEvents(1));
  EXPECT_THAT(Events(), ElementsAre(Terminated(kGameBar)));
}

TEST_F(AppEvents, EventsComeFromTheMainLoopOnly) {
  Watch();
  BusClient application;
  application.Own(kGameBar);
  Watch();
  EXPECT_THAT(Events(), IsEmpty());
  ASSERT_TRUE(RunUntilEvents(1));
}

TEST_F(AppEvents, AfterUnsetNoCallComes) {
  Watch();
  BusClient application;
  application.Own(kGameBar);
  ASSERT_TRUE(RunUntilEvents(1));
  app_manager_unset_app_context_event_cb();
  application.Release(kGameBar);
  AwaitOwned(kGameBar, false);
  ServeAll();
  EXPECT_THAT(Events(), ElementsAre(Launched(kGameBar)));
}

TEST_F(AppEvents, AfterUnsetNoCallComesForWhatHappenedBeforeEither) {
  Watch();
  BusClient application;
  application.Own(kGameBar);
  AwaitOwned(kGameBar);
  app_manager_unset_app_context_event_cb();
  ServeAll();
  Watch();
  application.Own(kDashed);
  ASSERT_TRUE(RunUntilEvents(1));
  EXPECT_THAT(Events(), ElementsAre(Launched(kDashed)));
}

TEST_F(AppEvents, UnsetIsHarmlessWhenNothingIsSet) {
  app_manager_unset_app_context_event_cb();
  app_manager_unset_app_context_event_cb();
  Watch();
  BusClient application;
  application.Own(kGameBar);
  EXPECT_TRUE(RunUntilEvents(1));
}

TEST_F(AppEvents, WatchingNeedsNoConnectionOfItsOwn) {
  const std::size_t before = Clients();
  Watch();
  EXPECT_EQ(Clients(), before);
}

TEST_F(AppEvents, ACallbackMayEndTheSubscriptionInTheMiddleOfAMove) {
  struct Seen {
    int calls = 0;
  } seen;
  const auto once = [](app_context_h, app_context_event_e kind, void* data) {
    EXPECT_EQ(kind, APP_CONTEXT_EVENT_TERMINATED);
    ++static_cast<Seen*>(data)->calls;
    app_manager_unset_app_context_event_cb();
  };
  BusClient first;
  BusClient second;
  first.Own(kGameBar);
  ServeAll();
  ASSERT_EQ(app_manager_set_app_context_event_cb(once, &seen), 0);
  second.Own(kGameBar);
  ASSERT_TRUE(contract::RunMainLoopUntil([&] { return seen.calls > 0; }));
  second.Own(kDashed);
  AwaitOwned(kDashed);
  ServeAll();
  EXPECT_EQ(seen.calls, 1);
}

TEST_F(AppEvents, ACallbackMayEndTheSubscriptionAndBeginANewOne) {
  const auto begin = [](app_context_h, app_context_event_e, void* test) {
    app_manager_unset_app_context_event_cb();
    EXPECT_EQ(app_manager_set_app_context_event_cb(CollectEvent, test), 0);
    BusClient().Own(kDashed);
  };
  BusClient first;
  BusClient second;
  first.Own(kGameBar);
  ServeAll();
  ASSERT_EQ(app_manager_set_app_context_event_cb(begin, this), 0);
  second.Own(kGameBar);
  ASSERT_TRUE(RunUntilEvents(3));
  EXPECT_THAT(Events(), ElementsAre(Launched(kGameBar), Launched(kDashed), Terminated(kDashed)))
      << "the rest of the move is still to come";
}

TEST_F(AppEvents, ASecondCallbackReplacesTheFirstAlsoFromWithinIt) {
  struct Seen {
    AppsTest* test;
    int calls = 0;
  } seen{this};
  const auto replace = [](app_context_h, app_context_event_e, void* data) {
    auto* const seen = static_cast<Seen*>(data);
    ++seen->calls;
    EXPECT_EQ(app_manager_set_app_context_event_cb(CollectEvent, seen->test), 0);
  };
  ASSERT_EQ(app_manager_set_app_context_event_cb(replace, &seen), 0);
  BusClient application;
  application.Own(kGameBar);
  application.Own(kDashed);
  application.Release(kGameBar);
  ASSERT_TRUE(RunUntilEvents(2));
  EXPECT_EQ(seen.calls, 1);
  EXPECT_THAT(Events(), ElementsAre(Launched(kDashed), Terminated(kGameBar)));

  ASSERT_EQ(app_manager_set_app_context_event_cb(replace, &seen), 0);
  application.Release(kDashed);
  ASSERT_TRUE(contract::RunMainLoopUntil([&] { return seen.calls == 2; }));
  EXPECT_EQ(Events().size(), 2u);
}

TEST_F(AppEvents, AnExceptionOfACallbackLosesNoEvent) {
  struct Seen {
    int calls = 0;
  } seen;
  const auto thrower = [](app_context_h, app_context_event_e, void* data) {
    if (++static_cast<Seen*>(data)->calls == 1) {
      throw std::runtime_error("first");
    }
    throw 2;
  };
  BusClient first;
  BusClient second;
  first.Own(kGameBar);
  ServeAll();
  ASSERT_EQ(app_manager_set_app_context_event_cb(thrower, &seen), 0);
  second.Own(kGameBar);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return seen.calls == 2; }));
  EXPECT_THAT(LogText(), ContainsRegex(" E apps.*: first\n.* E apps.*: an exception of type int"));
}

TEST_F(AppEvents, ANullCallbackIsAnErrorAndTheOneBeforeStays) {
  EXPECT_NE(app_manager_set_app_context_event_cb(nullptr, nullptr), 0);
  Watch();
  EXPECT_NE(app_manager_set_app_context_event_cb(nullptr, nullptr), 0);
  BusClient application;
  application.Own(kGameBar);
  EXPECT_TRUE(RunUntilEvents(1));
}

TEST_F(AppEvents, TheIdIsACopyAndNullArgumentsLeaveTheOutputUntouched) {
  char* kept = nullptr;
  const auto keep = [](app_context_h context, app_context_event_e, void* data) {
    char* untouched = nullptr;
    EXPECT_NE(app_context_get_app_id(nullptr, &untouched), 0);
    EXPECT_EQ(untouched, nullptr);
    EXPECT_NE(app_context_get_app_id(context, nullptr), 0);
    EXPECT_EQ(app_context_get_app_id(context, static_cast<char**>(data)), 0);
  };
  ASSERT_EQ(app_manager_set_app_context_event_cb(keep, &kept), 0);
  BusClient application;
  application.Own(kGameBar);
  ASSERT_TRUE(contract::RunMainLoopUntil([&] { return kept != nullptr; }));
  EXPECT_EQ(kept, kGameBar);
  std::free(kept);
}

TEST_F(AppEvents, AQuietBusWakesNobody) {
  Watch();
  BusClient application;
  application.Own(kGameBar);
  ASSERT_TRUE(RunUntilEvents(1));
  // One for the timer that ends the count.
  EXPECT_LE(WakeUpsWhenIdle(), 2);
}

TEST_F(AppEvents, WithoutAServiceTheCallbackIsRefused) {
  EndService();
  EXPECT_NE(app_manager_set_app_context_event_cb(CollectEvent, this), 0);
  BeginService();
  Watch();
  BusClient application;
  application.Own(kDashed);
  EXPECT_TRUE(RunUntilEvents(1));
}

TEST_F(AppEvents, AnInstanceLivesFromItsNameToItsEnd) {
  EXPECT_EQ(host::LivingInstance(kGameBar), "");
  std::string first;
  {
    BusClient application;
    application.Own(kGameBar);
    EXPECT_EQ(host::LivingInstance(kGameBar), "") << "nobody was told yet";
    ServeAll();
    first = host::LivingInstance(kGameBar);
    EXPECT_NE(first, "");
  }
  BusClient successor;
  successor.Own(kGameBar);
  ServeAll();
  EXPECT_NE(host::LivingInstance(kGameBar), "");
  EXPECT_NE(host::LivingInstance(kGameBar), first);
}

TEST_F(AppEvents, AnInstanceIsKnownToTheNextServiceToo) {
  BusClient application;
  for (int number = 0; number < 300; ++number) {
    application.Own("com.velmora.app" + std::to_string(number));
  }
  ServeAll();
  const std::string instance = host::LivingInstance("com.velmora.app299");
  EXPECT_NE(instance, "");
  EndService();
  EXPECT_EQ(host::LivingInstance("com.velmora.app299"), "");
  BeginService();
  EXPECT_EQ(host::LivingInstance("com.velmora.app299"), instance);
  EXPECT_EQ(host::LivingInstance("com.velmora.app0"), instance) << "one process, two names";
}

TEST_F(AppEvents, OnlyTheBusIsBelievedWhoEndedAndWhoStarted) {
  BusClient application;
  application.Own(kGameBar);
  ServeAll();
  const std::string instance = host::LivingInstance(kGameBar);
  const std::string owner = instance.substr(instance.find(':'));
  Watch();
  BusClient forger;
  forger.Forge(ServiceConnection(), kGameBar, owner, "");
  forger.Forge(ServiceConnection(), kDashed, "", ":1.4711");
  ServeAll();
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_EQ(host::LivingInstance(kGameBar), instance);
  EXPECT_EQ(host::LivingInstance(kDashed), "");
}

TEST_F(AppEvents, NoInstanceOfAnotherBusIsTakenForALivingOne) {
  const auto instance = [this] {
    BusClient application;
    application.Own(kGameBar);
    ServeAll();
    return host::LivingInstance(kGameBar);
  };
  const std::string before = instance();
  EndBus();
  StartBus();
  const std::string after = instance();
  EXPECT_EQ(before.substr(before.find(':')), after.substr(after.find(':')))
      << "names of connections begin anew with every bus";
  EXPECT_NE(before, after);
}

TEST_F(AppEvents, TheEndThatWasMissedComesBeforeTheNextMessage) {
  BusClient application;
  application.Own(kGameBar);
  application.Own(kDashed);
  ServeAll();
  const std::string living = host::LivingInstance(kDashed);
  host::ReportEndUnlessLiving(kDashed, living);
  host::ReportEndUnlessLiving(kGameBar, "another");
  host::ReportEndUnlessLiving("com.velmora.gone", living);
  Watch();
  EXPECT_THAT(Events(), IsEmpty()) << "events come from the main loop only";
  application.Release(kDashed);
  ASSERT_TRUE(RunUntilEvents(3));
  ServeAll();
  EXPECT_THAT(Events(), ElementsAre(Terminated(kGameBar), Terminated("com.velmora.gone"),
                                    Terminated(kDashed)));
}

TEST_F(AppEvents, TheEndThatWasMissedWaitsForACallback) {
  BusClient application;
  host::ReportEndUnlessLiving(kGameBar, "another");
  application.Own(kDashed);
  ServeAll();
  Watch();
  application.Release(kDashed);
  ASSERT_TRUE(RunUntilEvents(2));
  EXPECT_THAT(Events(), ElementsAre(Terminated(kGameBar), Terminated(kDashed)));
}

TEST_F(AppEvents, AMissedEndThatWaitsWhenTheCallbackIsUnsetIsNotForALaterOne) {
  Watch();
  host::ReportEndUnlessLiving(kGameBar, "another");
  app_manager_unset_app_context_event_cb();
  BusClient application;
  application.Own(kGameBar);
  ServeAll();
  Watch();
  application.Own(kDashed);
  ASSERT_TRUE(RunUntilEvents(1));
  EXPECT_THAT(Events(), ElementsAre(Launched(kDashed)));
}

}  // namespace
