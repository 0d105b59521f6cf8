#include "framework/bus_pump.h"

#include <Ecore.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus.h"
#include "framework/after_messages.h"
#include "framework/before_messages.h"
#include "framework/main_loop.h"
#include "support/wait.h"

namespace {

using host::BusPump;
using host::MainLoop;

// A connection to itself without a bus between: the pump serves one end, the test the other.
class BusPumpTest : public testing::Test {
 public:
  BusPumpTest() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    m_Far = Open(ends[0], true);
    m_Near = Open(ends[1], false);
    // Both ends are needed to get acquainted.
    std::thread far([this] { ProcessFarUntil([this] { return sd_bus_is_ready(m_Far) > 0; }); });
    EXPECT_TRUE(support::WaitUntil([this] {
      sd_bus_process(m_Near, nullptr);
      return sd_bus_is_ready(m_Near) > 0;
    }));
    far.join();
  }

  ~BusPumpTest() override {
    m_Pump.reset();
    sd_bus_unref(m_Near);
    sd_bus_close_unref(m_Far);
  }

  static sd_bus* Open(int fd, bool server) {
    sd_bus* bus = nullptr;
    EXPECT_GE(sd_bus_new(&bus), 0);
    EXPECT_GE(sd_bus_set_fd(bus, fd, fd), 0);
    if (server) {
      EXPECT_GE(sd_bus_set_server(
                    bus, true,
                    SD_ID128_MAKE(01, 02, 03, 04, 05, 06, 07, 08, 09, 0a, 0b, 0c, 0d, 0e, 0f, 10)),
                0);
    }
    EXPECT_GE(sd_bus_start(bus), 0);
    return bus;
  }

  void Pump() {
    m_Pump.emplace(m_Near, [this](int error) {
      m_LostBy = error;
      m_Loop.Quit();
    });
  }

  template <typename Done>
  bool ProcessFarUntil(Done done) {
    return support::WaitUntil([&] {
      while (sd_bus_process(m_Far, nullptr) > 0) {
      }
      return done();
    });
  }

  // Hands everything that waits at the far end to the socket.
  void EmitFromFar(int count) {
    for (int index = 0; index < count; ++index) {
      EXPECT_GE(sd_bus_emit_signal(m_Far, "/far", "far.Far", "Far", "i", index), 0);
    }
  }

  void CountSignals() { EXPECT_GE(sd_bus_add_filter(m_Near, nullptr, OnMessage, this), 0); }

  static int OnMessage(sd_bus_message* message, void* test, sd_bus_error*) {
    auto& self = *static_cast<BusPumpTest*>(test);
    if (sd_bus_message_is_signal(message, "far.Far", "Far") > 0) {
      ++self.m_Received;
      self.m_OnSignal();
    }
    return 0;
  }

  MainLoop m_Loop;
  sd_bus* m_Near = nullptr;
  sd_bus* m_Far = nullptr;
  std::optional<BusPump> m_Pump;
  int m_LostBy = 0;
  int m_Received = 0;
  std::function<void()> m_OnSignal = [] {};
};

TEST_F(BusPumpTest, TakesWhatArrives) {
  CountSignals();
  Pump();
  m_OnSignal = [this] {
    if (m_Received == 100) {
      m_Loop.Quit();
    }
  };
  std::thread far([this] {
    EmitFromFar(100);
    sd_bus_flush(m_Far);
  });
  m_Loop.Run();
  far.join();
  EXPECT_EQ(m_Received, 100);
}

TEST_F(BusPumpTest, DoesWhatGoesBeforeMessagesBeforeEachOfThem) {
  CountSignals();
  Pump();
  std::string order;
  m_OnSignal = [&] {
    order += 'm';
    if (m_Received == 20) {
      m_Loop.Quit();
    }
  };
  const host::BeforeMessages first([&] { order += '1'; });
  const host::BeforeMessages second([&] {
    order += '2';
    throw std::runtime_error("goes no further");
  });
  std::thread far([this] {
    EmitFromFar(20);
    sd_bus_flush(m_Far);
  });
  m_Loop.Run();
  far.join();
  std::size_t messages = 0;
  for (std::size_t at = order.find('m'); at != std::string::npos; at = order.find('m', at + 1)) {
    ++messages;
    ASSERT_GE(at, 2u);
    EXPECT_EQ(order.substr(at - 2, 3), "12m") << order;
  }
  EXPECT_EQ(messages, 20u);
}

TEST_F(BusPumpTest, DoesWhatGoesAfterMessagesWithPausesAndKnowsWhatHappenedByThen) {
  Pump();
  std::string order;
  std::vector<std::chrono::steady_clock::time_point> times;
  const host::BeforeMessages before([&] { order += 'b'; });
  std::optional<host::AfterMessages> after;
  after.emplace([&] {
    order += 'a';
    times.push_back(std::chrono::steady_clock::now());
    if (times.size() < 5) {
      after->Ask();
      after->Ask();
    } else {
      m_Loop.Quit();
    }
  });
  after->Ask();
  m_Loop.Run();
  EXPECT_EQ(order, "bababababa");
  for (std::size_t i = 1; i < times.size(); ++i) {
    EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(2));
  }
}

// What goes before a message may have happened while the loop looked for it the last time.
TEST_F(BusPumpTest, LooksOnceMoreForAMessageThatCameDuringTheLook) {
  constexpr int kMessages = 20;
  CountSignals();
  Pump();
  int sent = 0;
  int sentAtLook = 0;
  std::function<void()> send = [&] {
    if (sent == m_Received && sent < kMessages) {
      ++sent;
      EmitFromFar(1);
      sd_bus_flush(m_Far);
    }
  };
  const host::BeforeMessages look([&] {
    sentAtLook = sent;
    send();
  });
  m_OnSignal = [&] {
    EXPECT_EQ(sentAtLook, m_Received);
    if (m_Received == kMessages) {
      m_Loop.Quit();
    }
  };
  const auto sendNow = [](void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return ECORE_CALLBACK_RENEW;
  };
  Ecore_Timer* const timer = ecore_timer_add(0.001, sendNow, &send);
  m_Loop.Run();
  ecore_timer_del(timer);
  EXPECT_EQ(m_Received, kMessages);
}

TEST_F(BusPumpTest, TakesWhatACallThatWaitedLeftBehind) {
  CountSignals();
  Pump();
  m_OnSignal = [this] {
    if (m_Received == 3) {
      m_Loop.Quit();
    }
  };
  // The signals come before the answer, so that the call reads and keeps them.
  EXPECT_GE(sd_bus_add_filter(
                m_Far, nullptr,
                [](sd_bus_message* message, void* test, sd_bus_error*) {
                  if (sd_bus_message_is_method_call(message, "near.Near", "Ask") > 0) {
                    static_cast<BusPumpTest*>(test)->EmitFromFar(3);
                    return sd_bus_reply_method_return(message, "");
                  }
                  return 0;
                },
                this),
            0);
  std::atomic<bool> answered = false;
  std::thread far([&] { ProcessFarUntil([&] { return answered.load(); }); });
  EXPECT_GE(sd_bus_call_method(m_Near, nullptr, "/near", "near.Near", "Ask", nullptr, nullptr, ""),
            0);
  answered = true;
  far.join();
  // Nothing more arrives on the socket: what waits is in sd-bus.
  m_Loop.Run();
  EXPECT_EQ(m_Received, 3);
}

TEST_F(BusPumpTest, SendsWhatDidNotFitIntoTheSocket) {
  Pump();
  const std::string text(100'000, 'x');
  int sent = 0;
  for (std::uint64_t waiting = 0; waiting < 10 && sent < 1000; ++sent) {
    ASSERT_GE(sd_bus_emit_signal(m_Near, "/near", "near.Near", "Near", "s", text.c_str()), 0);
    ASSERT_GE(sd_bus_get_n_queued_write(m_Near, &waiting), 0);
  }
  ASSERT_LT(sent, 1000) << "everything fits into the socket";

  std::atomic<int> received = 0;
  EXPECT_GE(sd_bus_add_filter(
                m_Far, nullptr,
                [](sd_bus_message* message, void* count, sd_bus_error*) {
                  *static_cast<std::atomic<int>*>(count) +=
                      sd_bus_message_is_signal(message, "near.Near", "Near") > 0;
                  return 0;
                },
                &received),
            0);
  std::thread far([&] {
    EXPECT_TRUE(ProcessFarUntil([&] { return received == sent; }));
    // Tells the main loop that all is well.
    EmitFromFar(1);
    sd_bus_flush(m_Far);
  });
  CountSignals();
  m_OnSignal = [this] { m_Loop.Quit(); };
  m_Loop.Run();
  far.join();
  EXPECT_EQ(received, sent);
}

TEST_F(BusPumpTest, LetsACallThatNobodyAnswersTimeOut) {
  Pump();
  bus::Message call;
  ASSERT_GE(
      sd_bus_message_new_method_call(m_Near, bus::Out(call), nullptr, "/near", "near.Near", "Ask"),
      0);
  struct Outcome {
    MainLoop& loop;
    int error = 0;
  } outcome{m_Loop};
  constexpr std::uint64_t kMicroseconds = 50'000;
  ASSERT_GE(sd_bus_call_async(
                m_Near, nullptr, call.get(),
                [](sd_bus_message* reply, void* data, sd_bus_error*) {
                  auto& outcome = *static_cast<Outcome*>(data);
                  outcome.error = sd_bus_message_get_errno(reply);
                  outcome.loop.Quit();
                  return 0;
                },
                &outcome, kMicroseconds),
            0);
  const auto start = std::chrono::steady_clock::now();
  m_Loop.Run();
  EXPECT_EQ(outcome.error, ETIMEDOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(kMicroseconds));
}

TEST_F(BusPumpTest, LeavesTimeForOthersUnderAFlood) {
  CountSignals();
  Pump();
  constexpr int kFlood = 2000;
  static int receivedAtTimer;
  receivedAtTimer = -1;
  ecore_timer_add(
      0.001,
      [](void* test) -> Eina_Bool {
        receivedAtTimer = static_cast<BusPumpTest*>(test)->m_Received;
        return ECORE_CALLBACK_CANCEL;
      },
      this);
  m_OnSignal = [this] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(50);
    while (std::chrono::steady_clock::now() < end) {
    }
    if (m_Received == kFlood) {
      m_Loop.Quit();
    }
  };
  std::thread far([this] {
    EmitFromFar(kFlood);
    sd_bus_flush(m_Far);
  });
  m_Loop.Run();
  far.join();
  EXPECT_EQ(m_Received, kFlood);
  EXPECT_GE(receivedAtTimer, 0);
  EXPECT_LT(receivedAtTimer, kFlood / 2);
}

TEST_F(BusPumpTest, SleepsWhenThereIsNothingToDo) {
  Pump();
  static int turns;
  turns = 0;
  ecore_idle_enterer_add(
      [](void*) -> Eina_Bool {
        ++turns;
        return ECORE_CALLBACK_RENEW;
      },
      nullptr);
  ecore_timer_add(
      0.2,
      [](void* loop) -> Eina_Bool {
        static_cast<MainLoop*>(loop)->Quit();
        return ECORE_CALLBACK_CANCEL;
      },
      &m_Loop);
  m_Loop.Run();
  EXPECT_LE(turns, 4);
}

TEST_F(BusPumpTest, TellsOnceThatTheConnectionIsLost) {
  int losses = 0;
  m_Pump.emplace(m_Near, [&](int error) {
    ++losses;
    m_LostBy = error;
    m_Loop.Quit();
  });
  sd_bus_close(m_Far);
  m_Loop.Run();
  EXPECT_LT(m_LostBy, 0);
  for (int turn = 0; turn < 10; ++turn) {
    ecore_main_loop_iterate();
  }
  EXPECT_EQ(losses, 1);
}

TEST_F(BusPumpTest, KeepsTheConnection) {
  Pump();
  sd_bus* const near = m_Near;
  sd_bus_unref(m_Near);
  m_Near = nullptr;
  EXPECT_GT(sd_bus_is_open(near), 0);
}

}  // namespace
