#include "nuvra/alarm.h"

#include <Ecore.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

#include "framework/main_loop.h"
#include "nuvra/daemon_service.h"

namespace {

using Nuvra::NUVRA_INFINITY;
using Nuvra::TCAlarm;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class AlarmTest : public testing::Test {
 protected:
  // What the alarm does at each call, until told otherwise nothing.
  void OnCall(std::function<bool()> onCall) {
    m_OnCall = std::move(onCall);
    m_Alarm->SetAlarmCallback(Callback, this);
  }

  // Runs the main loop for a time that is long beside the periods of these tests.
  void RunFor(milliseconds time) {
    Ecore_Timer* end =
        ecore_timer_add(static_cast<double>(time.count()) / 1000.0, OnEnd, m_Loop.get());
    ASSERT_NE(end, nullptr);
    ecore_main_loop_begin();
  }

  static Eina_Bool OnEnd(void*) {
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  }

  static bool Callback(void* test) {
    auto& self = *static_cast<AlarmTest*>(test);
    ++self.m_Calls;
    return self.m_OnCall();
  }

  std::unique_ptr<host::MainLoop> m_Loop = std::make_unique<host::MainLoop>();
  Nuvra::TCDaemonService m_Service{"service"};
  std::unique_ptr<TCAlarm> m_Alarm = std::make_unique<TCAlarm>();
  std::function<bool()> m_OnCall = [] { return true; };
  int m_Calls = 0;
};

TEST_F(AlarmTest, CallsFirstAfterAWholePeriod) {
  const auto start = steady_clock::now();
  steady_clock::duration first{};
  OnCall([&] {
    first = steady_clock::now() - start;
    m_Loop->Quit();
    return true;
  });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 50, NUVRA_INFINITY));
  m_Loop->Run();
  EXPECT_GE(first, milliseconds(49));
}

TEST_F(AlarmTest, CallsOncePerPeriod) {
  const auto start = steady_clock::now();
  OnCall([&] {
    if (m_Calls == 5) {
      m_Loop->Quit();
    }
    return true;
  });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 20, NUVRA_INFINITY));
  m_Loop->Run();
  EXPECT_GE(steady_clock::now() - start, milliseconds(98));
}

TEST_F(AlarmTest, StopsAfterItsLastRepetition) {
  OnCall([] { return true; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 3));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 3);
  EXPECT_TRUE(m_Alarm->IsCreated());
}

TEST_F(AlarmTest, StopsWhenItsCallbackReturnsFalse) {
  OnCall([this] { return m_Calls < 2; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, NUVRA_INFINITY));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 2);
  EXPECT_TRUE(m_Alarm->IsCreated());
}

TEST_F(AlarmTest, PassesItsPeriodsSilentlyWithoutACallback) {
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 2));
  RunFor(milliseconds(50));
  // The repetitions are used up.
  OnCall([] { return true; });
  RunFor(milliseconds(50));
  EXPECT_EQ(m_Calls, 0);
}

TEST_F(AlarmTest, IsCreatedOnce) {
  EXPECT_FALSE(m_Alarm->IsCreated());
  EXPECT_TRUE(m_Alarm->Create(&m_Service, 1000, NUVRA_INFINITY));
  EXPECT_TRUE(m_Alarm->IsCreated());
  EXPECT_FALSE(m_Alarm->Create(&m_Service, 1000, NUVRA_INFINITY));
}

TEST_F(AlarmTest, IsNotCreatedFromArgumentsOutOfRange) {
  EXPECT_FALSE(m_Alarm->Create(nullptr, 1000, NUVRA_INFINITY));
  EXPECT_FALSE(m_Alarm->Create(&m_Service, 0, NUVRA_INFINITY));
  EXPECT_FALSE(m_Alarm->Create(&m_Service, 1000, 0));
  EXPECT_FALSE(m_Alarm->Create(&m_Service, 1000, -2));
  EXPECT_FALSE(m_Alarm->IsCreated());
}

TEST_F(AlarmTest, IsNotCreatedWithoutAMainLoop) {
  m_Loop.reset();
  EXPECT_FALSE(m_Alarm->Create(&m_Service, 1000, NUVRA_INFINITY));
  EXPECT_FALSE(m_Alarm->IsCreated());
}

TEST_F(AlarmTest, IsNotResetBeforeItIsCreatedOrOutOfRange) {
  EXPECT_FALSE(m_Alarm->Reset(5, 1));
  OnCall([] { return true; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 2));
  EXPECT_FALSE(m_Alarm->Reset(0, 1));
  EXPECT_FALSE(m_Alarm->Reset(5, 0));
  EXPECT_FALSE(m_Alarm->Reset(5, -2));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 2);
}

TEST_F(AlarmTest, IsNotResetWithoutAMainLoop) {
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 2));
  m_Loop.reset();
  EXPECT_FALSE(m_Alarm->Reset(5, 1));
}

TEST_F(AlarmTest, StartsPeriodAndCountAnewWhenItIsReset) {
  OnCall([] { return true; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 10'000, 1));
  ASSERT_TRUE(m_Alarm->Reset(5, 3));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 3);
}

TEST_F(AlarmTest, StartsAgainWhenItIsResetAfterItStopped) {
  OnCall([] { return true; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 1));
  RunFor(milliseconds(50));
  ASSERT_EQ(m_Calls, 1);
  ASSERT_TRUE(m_Alarm->Reset(5, 2));
  RunFor(milliseconds(50));
  EXPECT_EQ(m_Calls, 3);
}

TEST_F(AlarmTest, GoesOnWhenItsCallbackResetsItAtTheLastRepetition) {
  OnCall([this] { return m_Calls > 1 || m_Alarm->Reset(5, 2); });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 1));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 3);
}

TEST_F(AlarmTest, StopsWhenItsCallbackResetsItButReturnsFalse) {
  OnCall([this] { return !m_Alarm->Reset(5, 5); });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, NUVRA_INFINITY));
  RunFor(milliseconds(50));
  EXPECT_EQ(m_Calls, 1);
}

TEST_F(AlarmTest, GoesOnAfterAnExceptionOfItsCallback) {
  OnCall([this]() -> bool {
    if (m_Calls == 1) {
      throw std::runtime_error("the first call fails");
    }
    throw 2;
  });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 3));
  RunFor(milliseconds(100));
  EXPECT_EQ(m_Calls, 3);
}

TEST_F(AlarmTest, CallsNoMoreOnceItIsDestroyed) {
  OnCall([] { return true; });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, NUVRA_INFINITY));
  m_Alarm.reset();
  RunFor(milliseconds(50));
  EXPECT_EQ(m_Calls, 0);
}

TEST_F(AlarmTest, MayBeDestroyedByItsCallback) {
  OnCall([this] {
    m_Alarm.reset();
    return true;
  });
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, NUVRA_INFINITY));
  RunFor(milliseconds(50));
  EXPECT_EQ(m_Calls, 1);
}

TEST_F(AlarmTest, MayOutliveTheMainLoop) {
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, NUVRA_INFINITY));
  OnCall([] { return true; });
  m_Loop.reset();
  m_Alarm.reset();
  m_Loop = std::make_unique<host::MainLoop>();
  RunFor(milliseconds(20));
  EXPECT_EQ(m_Calls, 0);
}

TEST_F(AlarmTest, PassesItsUserDataThrough) {
  static void* seen = nullptr;
  static host::MainLoop* loop = nullptr;
  loop = m_Loop.get();
  m_Alarm->SetAlarmCallback(
      [](void* data) {
        seen = data;
        loop->Quit();
        return false;
      },
      &m_Service);
  ASSERT_TRUE(m_Alarm->Create(&m_Service, 5, 1));
  m_Loop->Run();
  EXPECT_EQ(seen, &m_Service);
}

}  // namespace
