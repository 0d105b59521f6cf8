// Writers are killed wherever they happen to be: while they open the store, write, cut the journal
// or close. Whatever a writer was told is done must be there afterwards, the files must be whole,
// and watchers must have heard of every visible change.

#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <functional>
#include <random>

#include "key_store_fixture.h"

namespace host {
namespace {

constexpr int kKills = 150;
constexpr const char* kEndless = "1000000";

class KilledProcesses : public KeyStoreTest {
 protected:
  // The keys that writer number `number` counts. Every other writer writes only to memory, where a
  // write is so short that a kill may hit any part of it.
  static std::vector<std::string> KeysOf(int number) {
    const std::string name = "/writer" + std::to_string(number);
    return number % 2 == 0 ? std::vector{"db" + name, "memory" + name}
                           : std::vector{"memory" + name};
  }

  // Starts a writer of the keys and kills it; two of four get time to begin. Calls `meanwhile`
  // until the writer is dead.
  Worker KillOneThatCounts(
      const std::vector<std::string>& keys, const std::function<void()>& meanwhile = [] {}) {
    std::vector<std::string> command{"count", kEndless};
    command.insert(command.end(), keys.begin(), keys.end());
    Worker writer = Start(command);
    if (++m_Kills % 4 < 2) {
      EXPECT_TRUE(writer.IsReady());
    }
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::microseconds(m_Delay(m_Random));
    while (std::chrono::steady_clock::now() < end) {
      meanwhile();
    }
    writer->Signal(SIGKILL);
    while (writer->Running()) {
      meanwhile();
    }
    EXPECT_EQ(writer->Wait(), 128 + SIGKILL) << support::ReadFile(writer.err);
    return writer;
  }

  // The last write of the key that returned.
  static int LastReported(const Worker& writer, const std::string& key) {
    const auto lines = OfKey(writer.Said(), key);
    return lines.empty() ? 0 : std::stoi(lines.back().substr(key.size() + 1));
  }

 private:
  int m_Kills = 0;
  std::minstd_rand m_Random{20};
  std::uniform_int_distribution<int> m_Delay{0, 8000};
};

TEST_F(KilledProcesses, LoseNoWriteThatReturnedAndWatchersSeeAllThatIsVisible) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  for (int kill = 0; kill < kKills; ++kill) {
    // Takes changes all the time: what the writer did last must be announced without further
    // writes.
    std::vector<std::string> seen;
    const auto take = [&] {
      const auto texts = ToTexts(TakeAnnounced(watcher));
      seen.insert(seen.end(), texts.begin(), texts.end());
    };
    const Worker writer = KillOneThatCounts(KeysOf(kill), take);
    take();
    for (const std::string& key : KeysOf(kill)) {
      const int reported = LastReported(writer, key);
      const int visible = Integer(*store, key);
      EXPECT_GE(visible, reported);
      EXPECT_LE(visible, reported + 1);
      EXPECT_EQ(OfKey(seen, key), Counted(key, visible));
    }
  }
  ExpectIntegrity();
}

TEST_F(KilledProcesses, LeaveAStoreThatCanBeOpenedWhenNobodyElseHasIt) {
  for (int kill = 0; kill < kKills; ++kill) {
    const Worker writer = KillOneThatCounts(KeysOf(kill));
    const auto store = Open();
    for (const std::string& key : KeysOf(kill)) {
      const int reported = LastReported(writer, key);
      const int visible = Integer(*store, key);
      EXPECT_GE(visible, reported);
      EXPECT_LE(visible, reported + 1);
    }
    KeyWatcher watcher(*store);
    EXPECT_TRUE(store->Set("db/next", kill));
    EXPECT_TRUE(store->Set("memory/next", kill));
    EXPECT_EQ(TakeAnnounced(watcher).size(), 2u);
  }
  ExpectIntegrity();
}

TEST_F(KilledProcesses, LeaveAStoreThatOthersGoOnWriting) {
  constexpr int kLast = 400;
  const auto store = Open();
  KeyWatcher watcher(*store);
  Worker survivor = Start({"count", std::to_string(kLast), "db/survivor", "memory/survivor"});
  while (survivor->Running()) {
    KillOneThatCounts({"db/victim", "memory/victim"});
  }
  EXPECT_EQ(survivor->Wait(), 0) << support::ReadFile(survivor.err);
  const auto seen = ToTexts(TakeAnnounced(watcher));
  EXPECT_EQ(OfKey(seen, "db/survivor"), Counted("db/survivor", kLast));
  EXPECT_EQ(OfKey(seen, "memory/survivor"), Counted("memory/survivor", kLast));
  ExpectIntegrity();
}

}  // namespace
}  // namespace host
