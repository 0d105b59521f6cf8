#include <cerrno>
#include <ctime>
#include <optional>
#include <thread>

#include "fixture.h"
#include "nuvra/alarm.h"
#include "vconf.h"

namespace {

using namespace std::chrono_literals;

class EventIO : public Nuvra::TCEventIO {};

bool CountAndGoOn(void* count) {
  ++*static_cast<int*>(count);
  return true;
}

bool CountAndStop(void* count) {
  ++*static_cast<int*>(count);
  return false;
}

class FakeAlarm : public fakes::FakePlatformTest {
 protected:
  FakeAlarm() { fake.TakeTrace(); }

  EventIO eventIO;
  Nuvra::TCAlarm alarm;
  int count = 0;
};

TEST_F(FakeAlarm, IsCalledWhenEachPeriodIsOver) {
  ASSERT_TRUE(alarm.Create(&eventIO, 1000, Nuvra::NUVRA_INFINITY));
  alarm.SetAlarmCallback(CountAndGoOn, &count);
  fake.AdvanceTime(999ms);
  EXPECT_EQ(count, 0);
  fake.AdvanceTime(1ms);
  EXPECT_EQ(count, 1);
  fake.AdvanceTime(2500ms);
  EXPECT_EQ(count, 3);
}

TEST_F(FakeAlarm, ShowsHowItWasSetUp) {
  alarm.Create(&eventIO, 1000, 3);
  alarm.SetAlarmCallback(CountAndGoOn, &count);
  alarm.Reset(2000, Nuvra::NUVRA_INFINITY);
  ASSERT_EQ(fake.Alarms().size(), 1u);
  const fakes::Alarm state = fake.Alarms()[0];
  EXPECT_EQ(state.eventIO, &eventIO);
  EXPECT_EQ(state.period, 2000ms);
  EXPECT_EQ(state.repetition, Nuvra::NUVRA_INFINITY);
  EXPECT_EQ(state.callback, CountAndGoOn);
  EXPECT_EQ(state.userData, &count);
  EXPECT_TRUE(state.running);
  ExpectTrace(R"(
    TCAlarm::Create(object1, 1000, 3) -> true
    TCAlarm::SetAlarmCallback(callback1, object2)
    TCAlarm::Reset(2000, NUVRA_INFINITY) -> true
  )");
}

TEST_F(FakeAlarm, StopsAfterItsLastRepetition) {
  alarm.Create(&eventIO, 1000, 2);
  alarm.SetAlarmCallback(CountAndGoOn, &count);
  fake.AdvanceTime(5000ms);
  EXPECT_EQ(count, 2);
  EXPECT_FALSE(fake.Alarms()[0].running);
}

TEST_F(FakeAlarm, StopsWhenItsCallbackReturnsFalse) {
  alarm.Create(&eventIO, 1000, Nuvra::NUVRA_INFINITY);
  alarm.SetAlarmCallback(CountAndStop, &count);
  fake.AdvanceTime(5000ms);
  EXPECT_EQ(count, 1);
  EXPECT_TRUE(alarm.IsCreated());
}

TEST_F(FakeAlarm, StartsAnewWhenItIsReset) {
  alarm.Create(&eventIO, 1000, 1);
  alarm.SetAlarmCallback(CountAndGoOn, &count);
  fake.AdvanceTime(900ms);
  EXPECT_TRUE(alarm.Reset(1000, 1));
  fake.AdvanceTime(900ms);
  EXPECT_EQ(count, 0);
  fake.AdvanceTime(100ms);
  EXPECT_EQ(count, 1);
  EXPECT_TRUE(alarm.Reset(1000, 1));
  fake.AdvanceTime(1000ms);
  EXPECT_EQ(count, 2);
}

TEST_F(FakeAlarm, PassesSilentlyWithoutACallback) {
  alarm.Create(&eventIO, 1000, 1);
  fake.AdvanceTime(1000ms);
  EXPECT_FALSE(fake.Alarms()[0].running);
}

TEST_F(FakeAlarm, EndsWithItsOwner) {
  {
    Nuvra::TCAlarm inner;
    inner.Create(&eventIO, 1000, Nuvra::NUVRA_INFINITY);
    inner.SetAlarmCallback(CountAndGoOn, &count);
  }
  fake.AdvanceTime(1000ms);
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(fake.Alarms().empty());
}

TEST_F(FakeAlarm, MayBeDestroyedByItsCallback) {
  std::optional<Nuvra::TCAlarm> inner(std::in_place);
  inner->Create(&eventIO, 1000, Nuvra::NUVRA_INFINITY);
  inner->SetAlarmCallback(
      [](void* owner) {
        static_cast<std::optional<Nuvra::TCAlarm>*>(owner)->reset();
        return false;
      },
      &inner);
  fake.AdvanceTime(5000ms);
  EXPECT_FALSE(inner.has_value());
}

TEST_F(FakeAlarm, RefusesWhatItsContractRefuses) {
  EXPECT_FALSE(alarm.Reset(1000, 1));
  EXPECT_FALSE(alarm.Create(nullptr, 1000, 1));
  EXPECT_FALSE(alarm.Create(&eventIO, 0, 1));
  EXPECT_FALSE(alarm.Create(&eventIO, 1000, 0));
  EXPECT_FALSE(alarm.IsCreated());
  EXPECT_TRUE(alarm.Create(&eventIO, 1000, 1));
  EXPECT_TRUE(alarm.IsCreated());
  EXPECT_FALSE(alarm.Create(&eventIO, 1000, 1));
  EXPECT_FALSE(alarm.Reset(0, 1));
  EXPECT_FALSE(alarm.Reset(1000, -2));
}

TEST_F(FakeAlarm, IsCalledInTheOrderOfTheTimeWithTheMainLoopInBetween) {
  Nuvra::TCAlarm slow;
  slow.Create(&eventIO, 1500, 1);
  slow.SetAlarmCallback(
      [](void*) {
        vconf_set_str("db/trace", "slow");
        return true;
      },
      nullptr);
  alarm.Create(&eventIO, 1000, 2);
  alarm.SetAlarmCallback(
      [](void*) {
        vconf_set_int("db/watched", 1);
        return true;
      },
      nullptr);
  vconf_notify_key_changed(
      "db/watched", [](keynode_t*, void*) { vconf_set_str("db/trace", "watch"); }, nullptr);
  fake.TakeTrace();
  fake.AdvanceTime(2000ms);
  ExpectTrace(R"(
    vconf_set_int("db/watched", 1) -> 0
    vconf_set_str("db/trace", "watch") -> 0
    vconf_set_str("db/trace", "slow") -> 0
    vconf_set_int("db/watched", 1) -> 0
    vconf_set_str("db/trace", "watch") -> 0
  )");
}

class FakeSleep : public fakes::FakePlatformTest {};

TEST_F(FakeSleep, ReturnsAtOnceAndShowsItsDuration) {
  const auto before = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(1h);
  std::this_thread::sleep_for(250ms);
  std::this_thread::sleep_for(1500ns);
  EXPECT_LT(std::chrono::steady_clock::now() - before, 1h);
  ExpectTrace(R"(
    nanosleep(3600000ms)
    nanosleep(250ms)
    nanosleep(1500ns)
  )");
}

TEST_F(FakeSleep, RefusesADurationThatIsNone) {
  for (const timespec duration : {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}}) {
    errno = 0;
    EXPECT_EQ(nanosleep(&duration, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST_F(FakeSleep, CanBeInterruptedAtOnce) {
  fake.Fail("nanosleep", {.times = 1});
  std::this_thread::sleep_for(250ms);  // goes on sleeping, as it should
  ExpectTrace(R"(
    nanosleep(250ms) -> EINTR
    nanosleep(250ms)
  )");
}

TEST_F(FakeSleep, CanFailOtherwise) {
  fake.Fail("nanosleep", {.code = EFAULT});
  const timespec duration{1, 0};
  EXPECT_EQ(nanosleep(&duration, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
}

TEST_F(FakeSleep, WaitsForTheTestWhenItIsHeld) {
  fake.HoldSleeps();
  std::thread sleeper([] {
    std::this_thread::sleep_for(250ms);
    vconf_set_int("db/awake", 1);
  });
  EXPECT_TRUE(fake.WaitForSleepers(1));
  ExpectTrace("nanosleep(250ms)");
  EXPECT_TRUE(fake.StepSleep());
  sleeper.join();
  ExpectTrace(R"(vconf_set_int("db/awake", 1) -> 0)");
}

TEST_F(FakeSleep, CanBeInterruptedWhileItIsHeld) {
  fake.HoldSleeps();
  std::thread sleeper([] {
    const timespec duration{3, 0};
    timespec left{};
    EXPECT_EQ(nanosleep(&duration, &left), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(left.tv_sec, 1);
    EXPECT_EQ(left.tv_nsec, 500'000'000);
    EXPECT_EQ(nanosleep(&left, nullptr), -1);
  });
  EXPECT_TRUE(fake.WaitForSleepers(1));
  EXPECT_TRUE(fake.InterruptSleep(1500ms));
  EXPECT_TRUE(fake.WaitForSleepers(1));
  EXPECT_TRUE(fake.InterruptSleep(0ms));
  sleeper.join();
  ExpectTrace(R"(
    nanosleep(3000ms)
    nanosleep(3000ms) -> EINTR
    nanosleep(1500ms)
    nanosleep(1500ms) -> EINTR
  )");
}

TEST_F(FakeSleep, IsSteppedInTheOrderOfItsBeginning) {
  fake.HoldSleeps();
  std::thread first([] {
    std::this_thread::sleep_for(1s);
    vconf_set_int("db/awake", 1);
  });
  ASSERT_TRUE(fake.WaitForSleepers(1));
  std::thread second([] { std::this_thread::sleep_for(2s); });
  ASSERT_TRUE(fake.WaitForSleepers(2));
  EXPECT_TRUE(fake.StepSleep());
  first.join();
  EXPECT_EQ(fake.Key("db/awake"), fakes::KeyValue(1));
  EXPECT_TRUE(fake.WaitForSleepers(1));
  EXPECT_TRUE(fake.StepSleep());
  second.join();
  EXPECT_FALSE(fake.StepSleep());
  EXPECT_FALSE(fake.InterruptSleep(1s));
}

TEST_F(FakeSleep, IsAwaitedNoLongerThanTheLimit) { EXPECT_FALSE(fake.WaitForSleepers(1, 1ms)); }

TEST_F(FakeSleep, EndsWithTheTestThatHeldIt) {
  fake.HoldSleeps();
  std::thread sleeper([] { std::this_thread::sleep_for(1s); });
  ASSERT_TRUE(fake.WaitForSleepers(1));
  fake.Reset();
  sleeper.join();
  std::this_thread::sleep_for(1s);
  ExpectTrace("nanosleep(1000ms)");
}

}  // namespace
