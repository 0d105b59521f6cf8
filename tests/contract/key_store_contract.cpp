// What every platform's key store promises. Each test uses its own keys, so the store need not be
// emptied between tests, nor between runs in one process.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "contract/main_loop.h"
#include "vconf.h"

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

// The integer in a key; -12345 when it holds none.
int Integer(const std::string& key) {
  int value = -12345;
  vconf_get_int(key.c_str(), &value);
  return value;
}

// Who callbacks call: the user data of every watch here.
using Observer = std::function<void()>;

void Notify(keynode_t* node, void* observer) {
  EXPECT_NE(node, nullptr);
  (*static_cast<Observer*>(observer))();
}

void NotifyToo(keynode_t* node, void* observer) { Notify(node, observer); }

// A watch that ends no later than its test.
class Watch {
 public:
  Watch(std::string key, Observer observer, vconf_callback_fn callback = Notify)
      : m_Key(std::move(key)), m_Observer(std::move(observer)), m_Callback(callback) {
    Begin();
  }
  ~Watch() { vconf_ignore_key_changed(m_Key.c_str(), m_Callback); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void Begin() { EXPECT_EQ(vconf_notify_key_changed(m_Key.c_str(), m_Callback, &m_Observer), 0); }
  void End() { EXPECT_EQ(vconf_ignore_key_changed(m_Key.c_str(), m_Callback), 0); }

 private:
  const std::string m_Key;
  Observer m_Observer;
  const vconf_callback_fn m_Callback;
};

Observer CountInto(int& count) {
  return [&count] { ++count; };
}

class KeyStoreContract : public ::testing::Test {
 protected:
  static std::string Durable(std::string_view name = "key") { return Key("db", name); }
  static std::string Memory(std::string_view name = "key") { return Key("memory", name); }

 private:
  static std::string Key(std::string_view place, std::string_view name) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    return std::string(place) + "/contract/" + test->name() + "/" + std::string(name);
  }
};

TEST_F(KeyStoreContract, AnIntegerIsReadAsItWasWritten) {
  for (const std::string& key : {Durable(), Memory()}) {
    for (const int value : {0, 1, -1, INT_MAX, INT_MIN}) {
      EXPECT_EQ(vconf_set_int(key.c_str(), value), 0);
      int read = 77;
      EXPECT_EQ(vconf_get_int(key.c_str(), &read), 0);
      EXPECT_EQ(read, value);
    }
  }
}

TEST_F(KeyStoreContract, AStringIsReadAsItWasWritten) {
  for (const std::string& key : {Durable(), Memory()}) {
    for (const std::string& value :
         {std::string("text"), std::string(), std::string("12"), std::string("two\nlines\t\x01"),
          std::string("gr\xc3\xbc\xc3\x9f"), std::string(100'000, 'x')}) {
      EXPECT_EQ(vconf_set_str(key.c_str(), value.c_str()), 0);
      const Text read(vconf_get_str(key.c_str()));
      ASSERT_NE(read, nullptr);
      EXPECT_EQ(read.get(), value);
    }
  }
}

TEST_F(KeyStoreContract, AMissingKeyGivesNothing) {
  int value = 5;
  EXPECT_EQ(vconf_get_int(Durable().c_str(), &value), -1);
  EXPECT_EQ(vconf_get_int(Memory().c_str(), &value), -1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(vconf_get_str(Durable().c_str()), nullptr);
  EXPECT_EQ(vconf_get_str(Memory().c_str()), nullptr);
}

TEST_F(KeyStoreContract, AFailureSaysWhetherTheKeyIsMissingOrHoldsTheOtherType) {
  int value = 5;
  for (const std::string& missing : {Durable("missing"), Memory("missing")}) {
    errno = 0;
    EXPECT_EQ(vconf_get_int(missing.c_str(), &value), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(vconf_get_str(missing.c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
  }
  for (const std::string& key : {Durable(), Memory()}) {
    ASSERT_EQ(vconf_set_int(key.c_str(), 7), 0);
    errno = 0;
    EXPECT_EQ(vconf_get_str(key.c_str()), nullptr);
    EXPECT_EQ(errno, EINVAL);
    ASSERT_EQ(vconf_set_str(key.c_str(), "7"), 0);
    errno = 0;
    EXPECT_EQ(vconf_get_int(key.c_str(), &value), -1);
    EXPECT_EQ(errno, EINVAL);
  }
  errno = 0;
  EXPECT_EQ(vconf_set_int("no/key", 1), -1);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(vconf_set_str("no/key", "text"), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(KeyStoreContract, AStringIsNotReadAsAnInteger) {
  for (const std::string& key : {Durable(), Memory()}) {
    ASSERT_EQ(vconf_set_str(key.c_str(), "7"), 0);
    int value = 5;
    EXPECT_EQ(vconf_get_int(key.c_str(), &value), -1);
    EXPECT_EQ(value, 5);
  }
}

TEST_F(KeyStoreContract, AnIntegerIsNotReadAsAString) {
  for (const std::string& key : {Durable(), Memory()}) {
    ASSERT_EQ(vconf_set_int(key.c_str(), 7), 0);
    EXPECT_EQ(vconf_get_str(key.c_str()), nullptr);
  }
}

TEST_F(KeyStoreContract, AWriteReplacesTheValueWhateverItsType) {
  for (const std::string& key : {Durable(), Memory()}) {
    EXPECT_EQ(vconf_set_int(key.c_str(), 1), 0);
    EXPECT_EQ(vconf_set_int(key.c_str(), 2), 0);
    EXPECT_EQ(Integer(key), 2);
    EXPECT_EQ(vconf_set_str(key.c_str(), "three"), 0);
    EXPECT_STREQ(Text(vconf_get_str(key.c_str())).get(), "three");
    EXPECT_EQ(vconf_set_int(key.c_str(), 4), 0);
    EXPECT_EQ(Integer(key), 4);
    EXPECT_EQ(vconf_get_str(key.c_str()), nullptr);
  }
}

TEST_F(KeyStoreContract, AStringThatWasReadIsTheCallersOwn) {
  ASSERT_EQ(vconf_set_str(Memory().c_str(), "text"), 0);
  const Text first(vconf_get_str(Memory().c_str()));
  first.get()[0] = 'n';
  const Text second(vconf_get_str(Memory().c_str()));
  EXPECT_NE(first.get(), second.get());
  EXPECT_STREQ(second.get(), "text");
  ASSERT_EQ(vconf_set_str(Memory().c_str(), "other"), 0);
  EXPECT_STREQ(first.get(), "next");
  EXPECT_STREQ(second.get(), "text");
}

TEST_F(KeyStoreContract, KeysThatDifferAnywhereAreDifferentKeys) {
  const std::vector<std::string> keys{Durable(),       Memory(),        Durable("Key"),
                                      Durable("ke"),   Durable("key2"), Durable("key/below"),
                                      Durable(" key"), Durable("k%y"),  Durable("k_y")};
  for (int i = 0; i < static_cast<int>(keys.size()); ++i) {
    EXPECT_EQ(vconf_set_int(keys[i].c_str(), i), 0) << keys[i];
  }
  for (int i = 0; i < static_cast<int>(keys.size()); ++i) {
    EXPECT_EQ(Integer(keys[i]), i) << keys[i];
  }
}

TEST_F(KeyStoreContract, OnlyKeysBelowDbAndMemoryAreTaken) {
  for (const char* key : {"", "key", "/", "db", "dbkey", "/db/key", "DB/key", "file/key", "memory",
                          "memorykey", " memory/key"}) {
    int value = 5;
    EXPECT_EQ(vconf_set_int(key, 1), -1) << key;
    EXPECT_EQ(vconf_set_str(key, "text"), -1) << key;
    EXPECT_EQ(vconf_get_int(key, &value), -1) << key;
    EXPECT_EQ(value, 5);
    EXPECT_EQ(vconf_get_str(key), nullptr) << key;
    EXPECT_EQ(vconf_notify_key_changed(key, Notify, nullptr), -1) << key;
    EXPECT_EQ(vconf_ignore_key_changed(key, Notify), -1) << key;
  }
}

TEST_F(KeyStoreContract, AChangeIsDeliveredByTheMainLoopAndNotByTheWrite) {
  int calls = 0;
  std::thread::id caller;
  const Watch watch(Durable(), [&] {
    ++calls;
    caller = std::this_thread::get_id();
  });
  ASSERT_EQ(vconf_set_int(Durable().c_str(), 1), 0);
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return calls > 0; }));
  EXPECT_EQ(caller, std::this_thread::get_id());
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, EveryWriteIsAChangeAlsoOfTheSameValue) {
  for (const std::string& key : {Durable(), Memory()}) {
    int calls = 0;
    const Watch watch(key, CountInto(calls));
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
    }
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(vconf_set_str(key.c_str(), "1"), 0);
    }
    contract::SettleMainLoop();
    EXPECT_EQ(calls, 5);
  }
}

TEST_F(KeyStoreContract, ReadingIsNoChange) {
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 1), 0);
  int calls = 0;
  const Watch watch(Memory(), CountInto(calls));
  Integer(Memory());
  EXPECT_EQ(vconf_get_str(Memory().c_str()), nullptr);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 0);
}

TEST_F(KeyStoreContract, ARefusedWriteIsNoChangeOfAnything) {
  int calls = 0;
  const Watch watch(Memory(), CountInto(calls));
  EXPECT_EQ(vconf_set_int(("x" + Memory()).c_str(), 1), -1);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 0);
}

TEST_F(KeyStoreContract, ChangesComeInTheOrderOfTheWritesWhereverTheKeysLive) {
  std::string order;
  const Watch a(Durable("a"), [&] { order += 'a'; });
  const Watch b(Memory("b"), [&] { order += 'b'; });
  const Watch c(Durable("c"), [&] { order += 'c'; });
  const Watch d(Memory("d"), [&] { order += 'd'; });
  std::string written;
  for (const char each : std::string("abcdcdbaaabbbdddcccadbc")) {
    const std::string name(1, each);
    const std::string key = each == 'a' || each == 'c' ? Durable(name) : Memory(name);
    ASSERT_EQ(vconf_set_int(key.c_str(), static_cast<int>(written.size())), 0);
    written += each;
  }
  contract::SettleMainLoop();
  EXPECT_EQ(order, written);
}

TEST_F(KeyStoreContract, ManyChangesAreDeliveredOneByOne) {
  constexpr int kChanges = 1000;
  std::string order;
  const Watch a(Memory("a"), [&] { order += 'a'; });
  const Watch b(Memory("b"), [&] { order += 'b'; });
  std::string written;
  for (int i = 0; i < kChanges; ++i) {
    const bool first = i % 3 == 0;
    ASSERT_EQ(vconf_set_int(Memory(first ? "a" : "b").c_str(), i), 0);
    written += first ? 'a' : 'b';
  }
  contract::SettleMainLoop();
  EXPECT_EQ(order, written);
}

TEST_F(KeyStoreContract, AKeyCanBeWatchedBeforeItExists) {
  int calls = 0;
  const Watch watch(Durable(), CountInto(calls));
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 0);
  ASSERT_EQ(vconf_set_str(Durable().c_str(), "now"), 0);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return calls == 1; }));
}

TEST_F(KeyStoreContract, ChangesOfOtherKeysAreNotDelivered) {
  int calls = 0;
  const Watch watch(Durable(), CountInto(calls));
  for (const std::string& key : {Memory(), Durable("other"), Durable("key/below"), Durable("ke")}) {
    ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  }
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 0);
}

TEST_F(KeyStoreContract, AChangeCanBeReadWhenItIsDelivered) {
  int read = 0;
  const Watch watch(Durable(), [&] { read = Integer(Durable()); });
  for (int value = 1; value <= 10; ++value) {
    ASSERT_EQ(vconf_set_int(Durable().c_str(), value), 0);
    EXPECT_TRUE(contract::RunMainLoopUntil([&] { return read == value; })) << value;
  }
}

TEST_F(KeyStoreContract, TheSameCallbackIsRegisteredOnceWithTheNewestUserData) {
  int first = 0;
  int second = 0;
  Observer countFirst = CountInto(first);
  Observer countSecond = CountInto(second);
  const std::string key = Memory();
  ASSERT_EQ(vconf_notify_key_changed(key.c_str(), Notify, &countFirst), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(first, 1);

  ASSERT_EQ(vconf_notify_key_changed(key.c_str(), Notify, &countSecond), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);

  EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), Notify), 0);
  EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), Notify), -1);
}

TEST_F(KeyStoreContract, AChangeStaysDueWhenOnlyTheUserDataIsReplaced) {
  int first = 0;
  int second = 0;
  Observer countFirst = CountInto(first);
  const std::string key = Memory();
  ASSERT_EQ(vconf_notify_key_changed(key.c_str(), Notify, &countFirst), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  const Watch again(key, CountInto(second));
  contract::SettleMainLoop();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST_F(KeyStoreContract, UserDataIsNeverReadByTheStore) {
  static int calls;
  calls = 0;
  const auto callback = [](keynode_t*, void* userData) {
    EXPECT_EQ(userData, nullptr);
    ++calls;
  };
  ASSERT_EQ(vconf_notify_key_changed(Memory().c_str(), callback, nullptr), 0);
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(vconf_ignore_key_changed(Memory().c_str(), callback), 0);
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, EveryCallbackOfAKeyIsCalled) {
  int first = 0;
  int second = 0;
  const Watch watch(Memory(), CountInto(first), Notify);
  const Watch other(Memory(), CountInto(second), NotifyToo);
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST_F(KeyStoreContract, OneCallbackCanWatchSeveralKeys) {
  int first = 0;
  int second = 0;
  const Watch watch(Memory("a"), CountInto(first));
  const Watch other(Memory("b"), CountInto(second));
  ASSERT_EQ(vconf_set_int(Memory("b").c_str(), 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST_F(KeyStoreContract, AWatchDoesNotSeeChangesFromBeforeIt) {
  int early = 0;
  int late = 0;
  for (const std::string& key : {Durable(), Memory()}) {
    const Watch watch(key, CountInto(early));
    ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
    const Watch other(key, CountInto(late), NotifyToo);
    ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
    contract::SettleMainLoop();
  }
  EXPECT_EQ(early, 4);
  EXPECT_EQ(late, 2);
}

TEST_F(KeyStoreContract, NoCallComesAfterAWatchEnded) {
  for (const std::string& key : {Durable(), Memory()}) {
    int calls = 0;
    Observer count = CountInto(calls);
    ASSERT_EQ(vconf_notify_key_changed(key.c_str(), Notify, &count), 0);
    ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
    EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), Notify), 0);
    ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
    contract::SettleMainLoop();
    EXPECT_EQ(calls, 0);
  }
}

TEST_F(KeyStoreContract, AWatchThatWasBegunAnewSeesNewChangesOnly) {
  int calls = 0;
  Watch watch(Memory(), CountInto(calls));
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 1), 0);
  watch.End();
  watch.Begin();
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 0);
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 2), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, OnlyAWatchThatExistsCanBeEnded) {
  int calls = 0;
  EXPECT_EQ(vconf_ignore_key_changed(Memory().c_str(), Notify), -1);
  Watch watch(Memory(), CountInto(calls));
  EXPECT_EQ(vconf_ignore_key_changed(Memory().c_str(), NotifyToo), -1);
  EXPECT_EQ(vconf_ignore_key_changed(Memory("other").c_str(), Notify), -1);
  ASSERT_EQ(vconf_set_int(Memory().c_str(), 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
  watch.End();
  EXPECT_EQ(vconf_ignore_key_changed(Memory().c_str(), Notify), -1);
}

TEST_F(KeyStoreContract, ACallbackMayEndItsOwnWatch) {
  int calls = 0;
  const std::string key = Memory();
  const Watch watch(key, [&] {
    ++calls;
    EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), Notify), 0);
  });
  ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, ACallbackMayEndAllWatchesOfItsKey) {
  int calls = 0;
  const std::string key = Memory();
  const Observer endBoth = [&] {
    ++calls;
    EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), Notify), 0);
    EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), NotifyToo), 0);
  };
  const Watch watch(key, endBoth, Notify);
  const Watch other(key, endBoth, NotifyToo);
  ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, ACallbackMayBeginWatchesThatSeeLaterChangesOnly) {
  int calls = 0;
  std::vector<std::unique_ptr<Watch>> begun;
  const std::string key = Memory();
  const Watch watch(key, [&] {
    if (begun.empty()) {
      begun.push_back(std::make_unique<Watch>(key, CountInto(calls), NotifyToo));
      for (int i = 0; i < 100; ++i) {
        begun.push_back(std::make_unique<Watch>(key + std::to_string(i), [] {}));
      }
    }
  });
  ASSERT_EQ(vconf_set_int(key.c_str(), 1), 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 2), 0);
  contract::SettleMainLoop();
  EXPECT_FALSE(begun.empty());
  EXPECT_EQ(calls, 0);
  ASSERT_EQ(vconf_set_int(key.c_str(), 3), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 1);
}

TEST_F(KeyStoreContract, ACallbackMayWriteTheKeyThatItWatches) {
  int calls = 0;
  bool inside = false;
  const std::string key = Memory();
  const Watch watch(key, [&] {
    EXPECT_FALSE(inside);
    inside = true;
    if (++calls < 5) {
      EXPECT_EQ(vconf_set_int(key.c_str(), calls), 0);
    }
    inside = false;
  });
  ASSERT_EQ(vconf_set_int(key.c_str(), 0), 0);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return calls == 5; }));
  contract::SettleMainLoop();
  EXPECT_EQ(calls, 5);
  EXPECT_EQ(Integer(key), 4);
}

TEST_F(KeyStoreContract, WritesOfOtherThreadsAreDeliveredOnTheMainLoop) {
  constexpr int kThreads = 4;
  constexpr int kWrites = 100;
  const auto mainLoop = std::this_thread::get_id();
  int calls = 0;
  const std::string key = Memory();
  const Watch watch(key, [&] {
    ++calls;
    EXPECT_EQ(std::this_thread::get_id(), mainLoop);
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int value = 0; value < kWrites; ++value) {
        EXPECT_EQ(vconf_set_int(key.c_str(), value), 0);
      }
    });
  }
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return calls == kThreads * kWrites; }));
  for (std::thread& thread : threads) {
    thread.join();
  }
  contract::SettleMainLoop();
  EXPECT_EQ(calls, kThreads * kWrites);
}

TEST_F(KeyStoreContract, ManyThreadsWriteWhileAnotherReadsAndNoValueGoesBack) {
  constexpr int kThreads = 4;
  constexpr int kWrites = 50;
  const auto keyOf = [](int thread) { return Durable(std::to_string(thread)); };
  std::atomic<int> running = kThreads;
  for (int i = 0; i < kThreads; ++i) {
    ASSERT_EQ(vconf_set_int(keyOf(i).c_str(), 0), 0);
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([key = keyOf(i), &running] {
      for (int value = 1; value <= kWrites; ++value) {
        EXPECT_EQ(vconf_set_int(key.c_str(), value), 0);
        EXPECT_EQ(Integer(key), value);
      }
      --running;
    });
  }
  std::vector<int> seen(kThreads, 0);
  while (running > 0) {
    for (int i = 0; i < kThreads; ++i) {
      const int value = Integer(keyOf(i));
      EXPECT_GE(value, seen[i]);
      seen[i] = value;
    }
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(Integer(keyOf(i)), kWrites);
  }
}

TEST_F(KeyStoreContract, AllThreadsSeeWhatOneHasWritten) {
  ASSERT_EQ(vconf_set_int(Durable().c_str(), 1), 0);
  ASSERT_EQ(vconf_set_str(Memory().c_str(), "text"), 0);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([key = Durable(), text = Memory(), own = Memory(std::to_string(i)), i] {
      for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(Integer(key), 1);
        EXPECT_STREQ(Text(vconf_get_str(text.c_str())).get(), "text");
        EXPECT_EQ(vconf_set_int(own.c_str(), i), 0);
        EXPECT_EQ(Integer(own), i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
