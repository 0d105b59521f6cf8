#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "game_bar_test.h"
#include "gamebar/GameBarService.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/GameModeDataManager.h"
#include "gamebar/SourceDataManager.h"

// The threads of the platform and those of the automation at once. What a sanitizer finds here
// counts as much as what is expected.
namespace {

class GameBarThreads : public GameBarTest {
 protected:
  // Runs the work on threads of their own, all at once, and does `meanwhile` until they end.
  static void RunAll(const std::vector<std::function<void()>>& work,
                     const std::function<void()>& meanwhile) {
    std::atomic<std::size_t> left = work.size();
    std::vector<std::thread> threads;
    for (const auto& each : work) {
      threads.emplace_back([&] {
        each();
        --left;
      });
    }
    while (left > 0) {
      meanwhile();
      std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  // How many lines of the trace so far had this text, and takes them out of it.
  struct Counter {
    std::string text;
    int count = 0;

    friend std::ostream& operator<<(std::ostream& stream, const Counter& counter) {
      return stream << counter.count << " times " << counter.text;
    }
  };
  void Count(std::vector<Counter>& counters) {
    for (const std::string& line : fake.TakeTrace()) {
      for (Counter& counter : counters) {
        counter.count += line.find(counter.text) != std::string::npos ? 1 : 0;
      }
    }
  }
};

TEST_F(GameBarThreads, CreateEveryObjectOnce) {
  std::vector<std::function<void()>> work;
  for (int i = 0; i < 8; ++i) {
    work.push_back([] {
      CGameBarService::GetInstance();
      CGameModeDataManager::GetInstance();
      CSourceDataManager::GetInstance();
      GameBarVAPManager::GetInstance();
    });
  }
  RunAll(work, [] {});
  const auto trace = fake.TakeTrace();
  EXPECT_EQ(std::count_if(trace.begin(), trace.end(),
                          [](const std::string& line) {
                            return line.find("constructor!!") != std::string::npos;
                          }),
            4);
}

TEST_F(GameBarThreads, AreServedWhileWorkersRunAndKeysChange) {
  constexpr int kRounds = 25;
  const std::string stores[] = {R"([{"s":13,"d":[{"rt":1,"as":1,"at":2}]},{"s":14}])",
                                R"([{"s":13},{"s":99}])", "[]", "{"};
  fake.SetGameModes({.item = 1, .real = 1});
  fake.SetKey(kDetection, 1);
  fake.SetKey(kAimStore, stores[0]);
  fake.SetKey(kRotation, 1);
  CGameBarService::GetInstance()->Init();

  // Once in each worker after a source, after power on, and after a game mode.
  std::vector<Counter> counters = {{"m_HandleExtSignalOk | [GameBarService] game vconf is 1"},
                                   {"nanosleep(2500ms)"},
                                   {"nanosleep(500ms)"}};
  const auto rounds = [](const std::function<void(int)>& round) {
    return [round] {
      for (int i = 0; i < kRounds; ++i) {
        round(i);
      }
    };
  };
  int turn = 0;
  RunAll({rounds([&](int i) {
            ShowSource(i % 2 == 0 ? kConsole : kComputer);
            fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
            fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
            fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
          }),
          rounds([&](int i) {
            fake.SendSourceEvent(i);
            fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP);
          }),
          rounds([&](int i) {
            fake.Notify("picture-setting-period", 0);
            fake.Notify("game-item-changed", i % 3);
            fake.Notify("game-mode-changed", 1);
          }),
          rounds([&](int) { fake.ChangePower(2, 0); })},
         [&] {
           fake.StepSleep();
           fake.SetKey(kRotation, turn++ % 4);
           fake.SetKey(kAimStore, stores[turn % 4]);
           fake.SetKey(kBrightness, 1);
           for (int i = 0; i < 3; ++i) {
             fake.RunMainLoopOnce();
           }
           Count(counters);
         });

  const auto limit = std::chrono::steady_clock::now() + fakes::Platform::kLongEnough;
  const auto ended = [&] {
    Count(counters);
    return std::all_of(counters.begin(), counters.end(),
                       [](const Counter& counter) { return counter.count >= kRounds; });
  };
  while (!ended()) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit) << testing::PrintToString(counters);
    fake.StepSleep();
    std::this_thread::yield();
  }
  while (fake.StepSleep()) {
  }
  JoinSourceWorker();
  JoinGameModeWorker();
  Count(counters);
  EXPECT_THAT(counters, testing::Each(testing::Field(&Counter::count, kRounds)));
}

}  // namespace
