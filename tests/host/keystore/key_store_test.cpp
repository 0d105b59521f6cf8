#include "keystore/key_store.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <limits>
#include <thread>

#include "key_store_fixture.h"
#include "support/interrupted_open.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::ThrowsMessage;

TEST(ValidKey, BeginsWithDbOrMemoryAndHasNoEmptySegment) {
  for (const char* key : {"db/a", "memory/a", "db/a/b/c", "memory/menu_widget/language-2", "db/ ",
                          "db/with blank", "db/\xc3\xa4", "db/db/memory", "memory/.."}) {
    EXPECT_TRUE(IsValidKey(key)) << key;
  }
  for (const char* key : {"", "/", "db", "db/", "memory", "memory/", "db//a", "db/a//b", "db/a/",
                          "/db/a", "a/db/b", "dbx/a", "Memory/a", "user/a"}) {
    EXPECT_FALSE(IsValidKey(key)) << key;
  }
}

TEST(ValidKey, HasNoControlCharacter) {
  for (int c = 0; c < 256; ++c) {
    const std::string key = std::string("db/a") + static_cast<char>(c) + "b";
    EXPECT_EQ(IsValidKey(key), c >= 0x20 && c != 0x7f) << c;
  }
}

TEST(ValidKey, HasAtMost255Bytes) {
  EXPECT_TRUE(IsValidKey("db/" + std::string(252, 'x')));
  EXPECT_FALSE(IsValidKey("db/" + std::string(253, 'x')));
}

TEST_F(KeyStoreTest, GivesWhatWasSetLast) {
  const auto store = Open();
  for (const char* key : {"db/key", "memory/key"}) {
    EXPECT_EQ(store->Get(key), std::nullopt);
    for (const KeyValue& value :
         {KeyValue(1), KeyValue("text"), KeyValue(""), KeyValue(std::numeric_limits<int>::min()),
          KeyValue(std::string("a\0b", 3)), KeyValue(std::string(1 << 20, 'x'))}) {
      EXPECT_TRUE(store->Set(key, value));
      EXPECT_EQ(store->Get(key), value);
    }
  }
}

TEST_F(KeyStoreTest, RemovesAKeyOnce) {
  const auto store = Open();
  for (const char* key : {"db/key", "memory/key"}) {
    EXPECT_FALSE(store->Unset(key));
    store->Set(key, 1);
    EXPECT_TRUE(store->Unset(key));
    EXPECT_EQ(store->Get(key), std::nullopt);
    EXPECT_FALSE(store->Unset(key));
  }
}

TEST_F(KeyStoreTest, RefusesKeysThatAreNotValid) {
  const auto store = Open();
  for (const char* key : {"", "key", "db/", "memory//key", "file/key"}) {
    EXPECT_FALSE(store->Set(key, 1)) << key;
    EXPECT_FALSE(store->Unset(key)) << key;
    EXPECT_EQ(store->Get(key), std::nullopt) << key;
    EXPECT_THROW(store->NewestChange(key), std::invalid_argument) << key;
  }
  EXPECT_THAT(store->List(""), IsEmpty());
}

TEST_F(KeyStoreTest, ListsKeysByPrefixInByteOrder) {
  const auto store = Open();
  store->Set("memory/b", 4);
  store->Set("memory/a", "3");
  store->Set("db/b", 2);
  store->Set("db/a/z", 1);
  store->Set("db/a", 0);
  store->Set("db/B", -1);
  EXPECT_THAT(store->List(""),
              ElementsAre(Pair("db/B", KeyValue(-1)), Pair("db/a", KeyValue(0)),
                          Pair("db/a/z", KeyValue(1)), Pair("db/b", KeyValue(2)),
                          Pair("memory/a", KeyValue("3")), Pair("memory/b", KeyValue(4))));
  EXPECT_THAT(store->List("db/a"),
              ElementsAre(Pair("db/a", KeyValue(0)), Pair("db/a/z", KeyValue(1))));
  EXPECT_THAT(store->List("db/a/"), ElementsAre(Pair("db/a/z", KeyValue(1))));
  EXPECT_THAT(store->List("m"),
              ElementsAre(Pair("memory/a", KeyValue("3")), Pair("memory/b", KeyValue(4))));
  EXPECT_THAT(store->List("x"), IsEmpty());
}

TEST_F(KeyStoreTest, KeepsDurableKeysWhenTheRunDirectoryIsEmptied) {
  auto store = Open();
  store->Set("db/key", "kept");
  store->Set("memory/key", "gone");
  store.reset();
  std::filesystem::remove_all(RunDir());
  store = Open();
  EXPECT_EQ(store->Get("db/key"), KeyValue("kept"));
  EXPECT_EQ(store->Get("memory/key"), std::nullopt);
}

TEST_F(KeyStoreTest, KeepsAllKeysWhileTheSetRuns) {
  auto store = Open();
  store->Set("memory/key", 7);
  store.reset();
  EXPECT_EQ(Open()->Get("memory/key"), KeyValue(7));
}

TEST_F(KeyStoreTest, AWatcherOutlivesTheStoreItWasMadeWith) {
  auto store = Open();
  KeyWatcher watcher(*store);
  store.reset();
  Open()->Set("memory/key", 1);
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("memory/key 1"));
}

TEST_F(KeyStoreTest, TakesAFileThatIsStillEmptyForNew) {
  std::filesystem::create_directories(StateDir());
  std::ofstream(DurableFile()).close();
  EXPECT_TRUE(Open()->Set("db/key", 1));
}

TEST_F(KeyStoreTest, OpensThoughASignalInterruptsTheOpeningOfItsLock) {
  Open()->Set("db/a", 1);
  InterruptNextOpen(RunDir());
  EXPECT_EQ(Open()->Get("db/a"), KeyValue(1));
  EXPECT_TRUE(WasOpenInterrupted());
}

TEST_F(KeyStoreTest, NamesTheDirectoryThatCannotBeMade) {
  const std::filesystem::path file = StateDir();
  std::ofstream(file).close();
  EXPECT_THAT([&] { KeyStore(file / "below", RunDir()); },
              ThrowsMessage<std::runtime_error>(AllOf(HasSubstr("cannot create " + file.string()),
                                                      HasSubstr("Not a directory"),
                                                      HasSubstr("choose another root"))));
}

// While one lives, this process's files cannot grow beyond `bytes`, as on a full file system.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : m_Handler(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &m_Before);
    const rlimit limit{.rlim_cur = bytes, .rlim_max = m_Before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &m_Before);
    std::signal(SIGXFSZ, m_Handler);
  }

 private:
  void (*m_Handler)(int);
  rlimit m_Before;
};

TEST_F(KeyStoreTest, AWriteThatFailsChangesNothing) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  for (const std::string key : {"db/key", "memory/key"}) {
    const std::filesystem::path log =
        (key == "db/key" ? DurableFile() : MemoryFile()).string() + "-wal";
    store->Set(key, 1);
    std::string message;
    {
      const FileSizeLimit full(std::filesystem::file_size(log));
      try {
        store->Set(key, 2);
      } catch (const std::runtime_error& error) {
        message = error.what();
      }
    }
    EXPECT_THAT(message, HasSubstr("key file"));
    EXPECT_EQ(store->Get(key), KeyValue(1));
    EXPECT_TRUE(store->Set(key, 3));
    EXPECT_EQ(store->Get(key), KeyValue(3));
    EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre(key + " 1", key + " 3"));
  }
}

TEST_F(KeyStoreTest, AWriteWaitsOnlySomeSecondsForAnotherThatDoesNotEnd) {
  const auto store = Open();
  store->Set("memory/key", 1);
  sqlite3* stuck = nullptr;
  ASSERT_EQ(sqlite3_open(MemoryFile().c_str(), &stuck), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(stuck, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_THAT([&] { store->Set("memory/key", 2); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(MemoryFile().string()), HasSubstr("is locked"))));
  EXPECT_EQ(store->Get("memory/key"), KeyValue(1));
  EXPECT_TRUE(store->Set("db/key", 1));
  ASSERT_EQ(sqlite3_exec(stuck, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(stuck);
  EXPECT_TRUE(store->Set("memory/key", 2));
}

TEST_F(KeyStoreTest, AWriteWaitsForAnotherThatEnds) {
  const auto store = Open();
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(MemoryFile().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  bool isSet = false;
  std::thread writer([&] { isSet = store->Set("memory/key", 1); });
  EXPECT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
  writer.join();
  EXPECT_TRUE(isSet);
  sqlite3_close(other);
}

TEST_F(KeyStoreTest, ServesManyThreadsAtOnce) {
  constexpr int kThreads = 6;
  constexpr int kRounds = 200;
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&store, own = "memory/thread" + std::to_string(i)] {
      for (int value = 1; value <= kRounds; ++value) {
        EXPECT_TRUE(store->Set(own, value));
        EXPECT_EQ(Integer(*store, own), value);
        EXPECT_FALSE(store->List("memory/").empty());
        EXPECT_GT(store->NewestChange(own), 0);
        store->Set("memory/shared", value);
        store->Unset("memory/shared");
      }
    });
  }
  std::vector<std::string> seen;
  const auto take = [&] {
    const auto texts = ToTexts(TakeAnnounced(watcher));
    seen.insert(seen.end(), texts.begin(), texts.end());
  };
  EXPECT_TRUE(support::WaitUntil([&] {
    take();
    return seen.size() >= std::size_t{kThreads * kRounds};
  }));
  for (std::thread& thread : threads) {
    thread.join();
  }
  take();
  for (int i = 0; i < kThreads; ++i) {
    const std::string own = "memory/thread" + std::to_string(i);
    EXPECT_EQ(OfKey(seen, own), Counted(own, kRounds));
  }
}

TEST_F(KeyStoreTest, AKeyThatAnotherProgramLeftWithoutAValueIsMissing) {
  const auto store = Open();
  store->Set("db/a", 1);
  store->Set("db/z", 2);
  Sql(DurableFile(), "INSERT INTO keys VALUES ('db/null', NULL)");
  EXPECT_EQ(store->Get("db/null"), std::nullopt);
  EXPECT_THAT(store->List("db/"),
              ElementsAre(Pair("db/a", KeyValue(1)), Pair("db/z", KeyValue(2))));
  EXPECT_TRUE(store->Set("db/null", 3));
  EXPECT_EQ(store->List("db/").size(), 3u);
}

}  // namespace
}  // namespace host
