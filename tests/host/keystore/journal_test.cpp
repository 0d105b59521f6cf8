#include <gmock/gmock.h>
#include <signal.h>

#include "key_store_fixture.h"

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// How many changes bring the journal to a cut, and the longest that it gets when all watchers
// keep up.
constexpr int kPruneInterval = 1024;
constexpr int kShort = 2 * kPruneInterval;

// The journal's limit for a watcher that does not go on.
constexpr int kJournalLimit = 1'000'000;

class JournalTest : public KeyStoreTest {
 protected:
  int Length(const std::filesystem::path& file) const {
    return std::stoi(Sql(file, "SELECT count(*) FROM changes"));
  }
  int Positions() const {
    const std::filesystem::directory_iterator files(RunDir() / "watchers");
    return static_cast<int>(std::distance(begin(files), end(files)));
  }
  // Adds so many changes at once.
  void Append(const std::filesystem::path& file, int changes) {
    Sql(file, "WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " +
                  std::to_string(changes) +
                  ") INSERT INTO changes (at, key, value) SELECT 0, 'memory/a', i FROM n");
  }
  void SetRepeatedly(KeyStore& store, const std::string& key, int times) {
    for (int value = 1; value <= times; ++value) {
      store.Set(key, value);
    }
  }
};

TEST_F(JournalTest, StaysShortWhenNobodyWatches) {
  const auto store = Open();
  SetRepeatedly(*store, "memory/a", 5 * kPruneInterval);
  EXPECT_LE(Length(MemoryFile()), kShort);
}

TEST_F(JournalTest, OfDurableKeysIsCutToo) {
  const auto store = Open();
  Append(DurableFile(), kPruneInterval - 1);
  store->Set("db/a", 1);
  EXPECT_EQ(Length(DurableFile()), 1);
}

TEST_F(JournalTest, KeepsWhatTheSlowestWatcherHasNotSeen) {
  const auto store = Open();
  KeyWatcher slow(*store);
  KeyWatcher fast(*store);
  SetRepeatedly(*store, "memory/a", 3 * kPruneInterval);
  EXPECT_EQ(TakeAnnounced(fast).size(), std::size_t{3 * kPruneInterval});
  SetRepeatedly(*store, "memory/a", 2 * kPruneInterval);
  EXPECT_EQ(Length(MemoryFile()), 5 * kPruneInterval);
  EXPECT_EQ(TakeAnnounced(slow).size(), std::size_t{5 * kPruneInterval});
  TakeAnnounced(fast);
  SetRepeatedly(*store, "memory/a", 2 * kPruneInterval);
  EXPECT_LE(Length(MemoryFile()), kShort);
  EXPECT_EQ(TakeAnnounced(slow).size(), std::size_t{2 * kPruneInterval});
}

TEST_F(JournalTest, IsCutWhenTheSlowWatcherEnds) {
  const auto store = Open();
  {
    const KeyWatcher slow(*store);
    EXPECT_EQ(Positions(), 1);
    SetRepeatedly(*store, "memory/a", 2 * kPruneInterval);
  }
  EXPECT_EQ(Positions(), 0);
  SetRepeatedly(*store, "memory/a", kPruneInterval);
  EXPECT_LE(Length(MemoryFile()), kShort);
}

TEST_F(JournalTest, IsCutAndThePositionRemovedWhenTheSlowWatcherIsKilled) {
  const auto store = Open();
  auto slow = Start({"tally", "memory/end"});
  ASSERT_TRUE(slow.IsReady());
  slow->Signal(SIGSTOP);
  SetRepeatedly(*store, "memory/a", 2 * kPruneInterval);
  EXPECT_EQ(Length(MemoryFile()), 2 * kPruneInterval);
  EXPECT_EQ(Positions(), 1);
  slow->Signal(SIGKILL);
  EXPECT_EQ(slow->Wait(), 128 + SIGKILL);
  SetRepeatedly(*store, "memory/a", kPruneInterval);
  EXPECT_EQ(Positions(), 0);
  EXPECT_LE(Length(MemoryFile()), kShort);
}

TEST_F(JournalTest, ANewWatcherRemovesThePositionsOfKilledOnes) {
  const auto store = Open();
  auto watch = Start({"watch", "memory/end"});
  ASSERT_TRUE(watch.IsReady());
  watch->Signal(SIGKILL);
  watch->Wait();
  EXPECT_EQ(Positions(), 1);
  const KeyWatcher other(*store);
  EXPECT_EQ(Positions(), 1);
}

TEST_F(JournalTest, NumbersGoOnAfterACutAndANewStart) {
  auto store = Open();
  SetRepeatedly(*store, "memory/a", kPruneInterval);
  store.reset();
  store = Open();
  EXPECT_EQ(store->NewestChange("memory/a"), kPruneInterval);
  KeyWatcher watcher(*store);
  store->Set("memory/a", 1);
  EXPECT_EQ(store->NewestChange("memory/a"), kPruneInterval + 1);
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("memory/a 1"));
}

TEST_F(JournalTest, AStoppedWatcherKeepsAMillionChangesAndIsToldWhatItMissed) {
  constexpr int kTooMany = 3 * kPruneInterval;
  const auto store = Open();
  auto stopped = Start({"tally", "memory/end"});
  ASSERT_TRUE(stopped.IsReady());
  stopped->Signal(SIGSTOP);
  Sql(MemoryFile(), "WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " +
                        std::to_string(kJournalLimit) +
                        ") INSERT INTO changes (at, key, value) SELECT 0, 'memory/a', i FROM n");
  SetRepeatedly(*store, "memory/a", kTooMany);
  const int written = kJournalLimit + kTooMany + 1;
  const int kept = Length(MemoryFile()) + 1;
  EXPECT_GE(kept, kJournalLimit);
  EXPECT_LE(kept, kJournalLimit + kPruneInterval + 1);

  stopped->Signal(SIGCONT);
  store->Set("memory/end", 1);
  ASSERT_EQ(stopped->Wait(), 0);
  EXPECT_THAT(stopped.Said(), ElementsAre("ready", std::to_string(kept)));
  EXPECT_THAT(support::ReadFile(stopped.err),
              HasSubstr("missed " + std::to_string(written - kept) + " changes"));
}

TEST_F(JournalTest, ALongJournalShrinksBitByBit) {
  const auto store = Open();
  {
    const KeyWatcher slow(*store);
    SetRepeatedly(*store, "memory/a", 20 * kPruneInterval);
  }
  SetRepeatedly(*store, "memory/a", kPruneInterval);
  EXPECT_GT(Length(MemoryFile()), 10 * kPruneInterval);
  SetRepeatedly(*store, "memory/a", 7 * kPruneInterval);
  EXPECT_LE(Length(MemoryFile()), kShort);
}

}  // namespace
}  // namespace host
