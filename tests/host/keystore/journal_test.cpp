#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>

#include "key_store_fixture.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// How many changes trigger a cut of the journal, and how long it gets at most when all watchers
// keep up.
constexpr int kPruneInterval = 1024;
constexpr int kShort = 2 * kPruneInterval;

// The journal's limits for a watcher that stands still.
constexpr int kJournalLimit = 1'000'000;
constexpr int kJournalLimitMebibytes = 16;

constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::size_t kTextsPerMebibyte = 4;

class JournalTest : public KeyStoreTest {
 protected:
  int Length(const std::filesystem::path& file) const {
    return std::stoi(Sql(file, "SELECT count(*) FROM changes"));
  }
  int Positions() const {
    const std::filesystem::directory_iterator files(RunDir() / "watchers");
    return static_cast<int>(std::distance(begin(files), end(files)));
  }
  // Adds that many changes together.
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
  // Writes texts of that many mebibytes in all.
  void SetTexts(KeyStore& store, const std::string& key, std::size_t mebibytes) {
    for (std::size_t text = 0; text < mebibytes * kTextsPerMebibyte; ++text) {
      store.Set(key, std::string(kMebibyte / kTextsPerMebibyte, 'x'));
    }
  }
  // How many bytes the journal's texts have, and how many the store's file takes on disk.
  std::size_t Bytes(const std::filesystem::path& file) const {
    return std::stoul(Sql(file, "SELECT sum(length(value)) FROM changes"));
  }
  std::uintmax_t Space(const std::filesystem::path& file) const {
    return std::filesystem::file_size(file) + std::filesystem::file_size(file.string() + "-wal");
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

TEST_F(JournalTest, OfLongTextsStaysSmallWhenNobodyWatches) {
  const auto store = Open();
  SetTexts(*store, "memory/a", 40);
  SetTexts(*store, "db/a", 40);
  for (const auto& file : {MemoryFile(), DurableFile()}) {
    EXPECT_LE(Bytes(file), 2 * kMebibyte) << file;
    EXPECT_LE(Space(file), 10 * kMebibyte) << file;
  }
}

TEST_F(JournalTest, OfLongTextsStaysSmallWhenWatchersKeepUp) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  for (int round = 0; round < 40; ++round) {
    SetTexts(*store, "memory/a", 1);
    ASSERT_EQ(TakeAnnounced(watcher).size(), kTextsPerMebibyte);
  }
  EXPECT_LE(Bytes(MemoryFile()), 3 * kMebibyte);
  EXPECT_LE(Space(MemoryFile()), 10 * kMebibyte);
}

TEST_F(JournalTest, OfLongTextsStaysSmallWhenEachWriterWritesOnce) {
  for (int writer = 0; writer < 100; ++writer) {
    Open()->Set("memory/a", std::string(kMebibyte / 10, 'x'));
    Open()->Set("memory/b", 1);
  }
  EXPECT_LE(Bytes(MemoryFile()), 2 * kMebibyte);
}

TEST_F(JournalTest, AStoppedWatcherKeeps16MebibytesOfTextAndIsToldWhatItMissed) {
  constexpr int kWritten = kJournalLimitMebibytes + 8;
  const auto store = Open();
  auto stopped = Start({"tally", "memory/end"});
  ASSERT_TRUE(stopped.IsReady());
  stopped->Signal(SIGSTOP);
  SetTexts(*store, "memory/a", kWritten);
  EXPECT_GE(Bytes(MemoryFile()), kJournalLimitMebibytes * kMebibyte);
  EXPECT_LE(Bytes(MemoryFile()), (kJournalLimitMebibytes + 1) * kMebibyte);
  EXPECT_LE(Space(MemoryFile()), (kJournalLimitMebibytes + 8) * kMebibyte);
  const int kept = Length(MemoryFile());

  stopped->Signal(SIGCONT);
  store->Set("memory/end", 1);
  ASSERT_EQ(stopped->Wait(), 0);
  EXPECT_THAT(stopped.Said(), ElementsAre("ready", std::to_string(kept + 1)));
  EXPECT_THAT(
      support::ReadFile(stopped.err),
      HasSubstr("missed " + std::to_string(kWritten * kTextsPerMebibyte - kept) + " changes"));
}

TEST_F(JournalTest, AWatcherThatIsTooFarBehindIsToldOnceHowManyChangesItMissed) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  SetTexts(*store, "memory/a", 1);
  EXPECT_EQ(watcher.TakeChanges().size(), kTextsPerMebibyte);
  EXPECT_EQ(watcher.Missed(), 0);
  const std::int64_t seen = store->NewestChange("memory/a");
  SetTexts(*store, "memory/a", kJournalLimitMebibytes + 8);
  const auto first = watcher.TakeChanges();
  ASSERT_FALSE(first.empty());
  EXPECT_GT(watcher.Missed(), 0);
  EXPECT_EQ(first.front().number, seen + watcher.Missed() + 1);
  EXPECT_TRUE(watcher.IsBehind());
  TakeAnnounced(watcher);
  EXPECT_EQ(watcher.Missed(), 0);
}

TEST_F(JournalTest, OfLongTextsIsCutAlsoBehindManySmallChanges) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  Append(MemoryFile(), 300 * kPruneInterval);
  store->Set("memory/a", 1);
  while (watcher.IsBehind() || !watcher.TakeChanges().empty()) {
    watcher.TakeChanges();
  }
  SetTexts(*store, "memory/a", kJournalLimitMebibytes + 8);
  EXPECT_LE(Bytes(MemoryFile()), (kJournalLimitMebibytes + 2) * kMebibyte);
}

TEST_F(JournalTest, OfLongTextsShrinksBitByBit) {
  const auto store = Open();
  {
    const KeyWatcher slow(*store);
    SetTexts(*store, "memory/a", 15);
  }
  // Two cuts of 4 MiB at most.
  SetTexts(*store, "memory/a", 2);
  EXPECT_GE(Bytes(MemoryFile()), 8 * kMebibyte);
  SetTexts(*store, "memory/a", 8);
  EXPECT_LE(Bytes(MemoryFile()), 2 * kMebibyte);
}

TEST_F(JournalTest, AKeyThatIsLargerThanTheJournalMayBeIsKept) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  const std::string text((kJournalLimitMebibytes + 1) * kMebibyte, 'x');
  store->Set("memory/a", text);
  EXPECT_EQ(store->Get("memory/a"), KeyValue(text));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("memory/a " + text));
}

TEST_F(JournalTest, DamageThatKeepsItFromBeingCutIsLoggedOnce) {
  LogFile();
  const auto store = Open();
  Append(MemoryFile(), 3 * kPruneInterval);
  Sql(MemoryFile(), "PRAGMA wal_checkpoint(TRUNCATE)");
  // A page in its midst.
  std::fstream(MemoryFile(), std::ios::in | std::ios::out | std::ios::binary).seekp(8 * 4096)
      << std::string(4096, 'x');
  SetRepeatedly(*store, "memory/a", 3 * kPruneInterval);
  EXPECT_EQ(Integer(*store, "memory/a"), 3 * kPruneInterval);
  EXPECT_THAT(LogLines(), ElementsAre(AllOf(HasSubstr(" E "), HasSubstr("cannot cut the journal: "),
                                            HasSubstr("a page is damaged"))));
}

TEST_F(JournalTest, ThatDoesNotCountItsBytesYetIsTakenOver) {
  std::filesystem::create_directories(StateDir());
  // As the files used to be.
  Sql(DurableFile(),
      "PRAGMA journal_mode = WAL; BEGIN; PRAGMA application_id = 0x6b657973;"
      " CREATE TABLE keys (key TEXT PRIMARY KEY, value) WITHOUT ROWID;"
      " CREATE TABLE changes (number INTEGER PRIMARY KEY, at INTEGER, key TEXT, value);"
      " INSERT INTO changes VALUES (41, 1, 'db/a', 'old'), (42, 2, 'db/a', 'kept');"
      " INSERT INTO keys VALUES ('db/a', 'kept'); PRAGMA user_version = 1; COMMIT");
  const auto store = Open();
  EXPECT_EQ(store->Get("db/a"), KeyValue("kept"));
  EXPECT_EQ(store->NewestChange("db/a"), 42);
  EXPECT_EQ(Length(DurableFile()), 2);
  KeyWatcher watcher(*store);
  // By a program that was started before the other one converted the file.
  Sql(DurableFile(), "INSERT INTO changes (at, key, value) VALUES (3, 'db/b', 7)");
  store->Set("db/a", 1);
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("db/b 7", "db/a 1"));
  SetTexts(*store, "db/a", 20);
  TakeAnnounced(watcher);
  SetTexts(*store, "db/a", 8);
  EXPECT_LE(Bytes(DurableFile()), 10 * kMebibyte);
}

}  // namespace
}  // namespace host
