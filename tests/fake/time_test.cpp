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

TEST_F(FakeSleep, RefusesADurationThatIsNone) {
  for (const timespec duration : {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}}) {
    errno = 0;
    EXPECT_EQ(nanosleep(&duration, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST_F(FakeSleep, CanFailOtherwise) {
  fake.Fail("nanosleep", {.code = EFAULT});
  const timespec duration{1, 0};
  EXPECT_EQ(nanosleep(&duration, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
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
