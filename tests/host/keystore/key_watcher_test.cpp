#include <gmock/gmock.h>
#include <poll.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "key_store_fixture.h"

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

bool IsReadable(const KeyWatcher& watcher) {
  pollfd readable{.fd = watcher.Fd(), .events = POLLIN, .revents = 0};
  return ::poll(&readable, 1, 0) == 1;
}

class KeyWatcherTest : public KeyStoreTest {};

TEST_F(KeyWatcherTest, SeesItsOwnProcessesChangesWithTheirValues) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  store->Set("memory/a", 1);
  store->Set("db/a", "text");
  store->Unset("memory/a");
  store->Set("db/a", "text");
  const auto changes = TakeAnnounced(watcher);
  EXPECT_THAT(ToTexts(changes),
              ElementsAre("memory/a 1", "db/a text", "memory/a removed", "db/a text"));
  EXPECT_EQ(changes[0].number + 1, changes[2].number);
  EXPECT_EQ(changes[3].number, store->NewestChange("db/a"));
}

TEST_F(KeyWatcherTest, SeesNothingFromBeforeItWasMade) {
  const auto store = Open();
  store->Set("db/a", 1);
  store->Set("memory/a", 1);
  KeyWatcher watcher(*store);
  EXPECT_THAT(watcher.TakeChanges(), IsEmpty());
  EXPECT_THAT(TakeAnnounced(watcher), IsEmpty());
}

TEST_F(KeyWatcherTest, SeesNoChangeInAFailedRemovalOrARefusedKey) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  store->Unset("db/missing");
  store->Set("nowhere/a", 1);
  EXPECT_THAT(TakeAnnounced(watcher), IsEmpty());
}

TEST_F(KeyWatcherTest, IsNotWokenWhileNothingChanges) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  EXPECT_FALSE(IsReadable(watcher));
  store->Set("memory/a", 1);
  EXPECT_TRUE(IsReadable(watcher));
  watcher.TakeChanges();
  EXPECT_FALSE(IsReadable(watcher));
  store->Get("memory/a");
  store->List("");
  const auto other = Open();
  const KeyWatcher second(*other);
  EXPECT_FALSE(IsReadable(watcher));
}

TEST_F(KeyWatcherTest, EachWatcherSeesAllChanges) {
  const auto store = Open();
  KeyWatcher first(*store);
  store->Set("db/a", 1);
  KeyWatcher second(*store);
  store->Set("db/a", 2);
  EXPECT_THAT(ToTexts(TakeAnnounced(second)), ElementsAre("db/a 2"));
  store->Set("memory/a", 3);
  EXPECT_THAT(ToTexts(TakeAnnounced(first)), ElementsAre("db/a 1", "db/a 2", "memory/a 3"));
  EXPECT_THAT(ToTexts(TakeAnnounced(second)), ElementsAre("memory/a 3"));
}

TEST_F(KeyWatcherTest, TakesAHundredThousandChangesThatCameWhileItSlept) {
  constexpr int kChanges = 100'000;
  const auto store = Open();
  KeyWatcher watcher(*store);
  for (int value = 1; value <= kChanges; ++value) {
    store->Set("memory/a", value);
  }
  EXPECT_EQ(ToTexts(TakeAnnounced(watcher)), Counted("memory/a", kChanges));
}

TEST_F(KeyWatcherTest, TakesManyChangesInPortionsThatKeepTheOrderOfBothFiles) {
  constexpr int kRounds = 20;
  constexpr int kInMemory = 500;
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::vector<std::string> written;
  for (int round = 0; round < kRounds; ++round) {
    store->Set("db/a", round);
    written.push_back("db/a " + std::to_string(round));
    for (int i = 0; i < kInMemory; ++i) {
      store->Set("memory/a", i);
      written.push_back("memory/a " + std::to_string(i));
    }
  }
  EXPECT_LT(watcher.TakeChanges().size(), written.size() / 2);
  KeyWatcher late(*store);
  std::vector<std::string> rest = ToTexts(TakeAnnounced(watcher));
  EXPECT_EQ(rest, std::vector<std::string>(written.end() - rest.size(), written.end()));
  EXPECT_GT(rest.size(), written.size() / 2);
  EXPECT_THAT(TakeAnnounced(late), IsEmpty());
}

TEST_F(KeyWatcherTest, TakesLongTextsInPortionsOfSomeMebibytes) {
  constexpr std::size_t kMebibyte = 1024 * 1024;
  constexpr int kTexts = 60;
  const auto store = Open();
  KeyWatcher watcher(*store);
  for (int text = 0; text < kTexts; ++text) {
    store->Set("memory/a", std::string(kMebibyte / 4, static_cast<char>('0' + text)));
    store->Set("memory/b", text);
  }
  int next = 0;
  while (IsReadable(watcher)) {
    std::size_t bytes = 0;
    for (const KeyChange& change : watcher.TakeChanges()) {
      if (change.key == "memory/a") {
        const auto& text = std::get<std::string>(*change.value);
        bytes += text.size();
        EXPECT_EQ(text.front(), static_cast<char>('0' + next));
      } else {
        EXPECT_EQ(change.value, KeyValue(next++));
      }
    }
    EXPECT_LE(bytes, 5 * kMebibyte);
  }
  EXPECT_EQ(next, kTexts);
}

TEST_F(KeyWatcherTest, KeepsTheOrderOfBothFilesWhileChangesGoOn) {
  constexpr int kRounds = 300;
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::atomic<bool> isWritten = false;
  std::thread writer([&] {
    for (int value = 0; value < kRounds; ++value) {
      store->Set("db/a", value);
      store->Set("memory/a", value);
      store->Set("memory/b", value);
    }
    isWritten = true;
  });
  std::vector<std::string> seen;
  bool isLast = false;
  while (!isLast) {
    isLast = isWritten;
    for (const KeyChange& change : watcher.TakeChanges()) {
      seen.push_back(ToText(change));
    }
  }
  writer.join();
  std::vector<std::string> written;
  for (int value = 0; value < kRounds; ++value) {
    for (const char* key : {"db/a ", "memory/a ", "memory/b "}) {
      written.push_back(key + std::to_string(value));
    }
  }
  EXPECT_EQ(seen, written);
}

TEST_F(KeyWatcherTest, NothingIsRemovedBehindALinkInPlaceOfTheWatchers) {
  const std::filesystem::path elsewhere = RunDir().parent_path() / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  std::ofstream(elsewhere / "file") << "precious";
  std::filesystem::create_directories(RunDir());
  std::filesystem::create_directory_symlink(elsewhere, RunDir() / "watchers");
  try {
    const auto store = Open();
    KeyWatcher watcher(*store);
    ADD_FAILURE() << "the link was followed";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), (RunDir() / "watchers").string() + " is a symbolic link; remove it");
  }
  EXPECT_EQ(support::ReadFile(elsewhere / "file"), "precious");
}

TEST_F(KeyWatcherTest, NothingIsRemovedBehindALinkThatCameLater) {
  const auto store = Open();
  const std::filesystem::path elsewhere = RunDir().parent_path() / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  std::ofstream(elsewhere / "file") << "precious";
  std::ofstream(elsewhere / "other") << "precious, too";
  std::filesystem::remove_all(RunDir() / "watchers");
  std::filesystem::create_directory_symlink(elsewhere, RunDir() / "watchers");
  EXPECT_THROW(KeyWatcher watcher(*store), std::runtime_error);
  // Often enough for the journal to be cut.
  for (int number = 0; number < 2048; ++number) {
    ASSERT_TRUE(store->Set("memory/key", number));
  }
  EXPECT_EQ(support::ReadFile(elsewhere / "file"), "precious");
  EXPECT_EQ(support::ReadFile(elsewhere / "other"), "precious, too");
}

TEST_F(KeyWatcherTest, ALinkAmongTheWatchersIsNoWatcher) {
  const auto store = Open();
  const std::filesystem::path victim = RunDir().parent_path() / "victim";
  std::ofstream(victim) << "precious";
  std::filesystem::create_symlink(victim, RunDir() / "watchers/link");
  KeyWatcher watcher(*store);
  ASSERT_TRUE(store->Set("memory/key", 1));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), SizeIs(1));
  EXPECT_EQ(support::ReadFile(victim), "precious");
}

TEST_F(KeyWatcherTest, LosesNothingWhenAReadingFails) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  store->Set("db/a", 1);
  store->Set("memory/a", 1);
  Sql(MemoryFile(), "ALTER TABLE changes RENAME TO elsewhere");
  EXPECT_THROW(watcher.TakeChanges(), std::runtime_error);
  Sql(MemoryFile(), "ALTER TABLE elsewhere RENAME TO changes");
  EXPECT_FALSE(IsReadable(watcher));
  EXPECT_TRUE(support::WaitUntil([&] { return IsReadable(watcher); }));
  EXPECT_THAT(ToTexts(watcher.TakeChanges()), ElementsAre("db/a 1", "memory/a 1"));
}

}  // namespace
}  // namespace host
