// Files disappear under processes that use them.

#include <gmock/gmock.h>
#include <poll.h>

#include <filesystem>
#include <fstream>

#include "key_store_fixture.h"
#include "keystore/sqlite.h"
#include "keystore/store_check.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class RemovedFiles : public KeyStoreTest {
 protected:
  RemovedFiles() { LogFile(); }

  // The log lines that are about a file.
  std::vector<std::string> LogAbout(const std::filesystem::path& file) const {
    std::vector<std::string> found;
    for (const std::string& line : LogLines()) {
      for (const char* next : {" ", ": No such"}) {
        if (line.find(file.string() + next) != std::string::npos) {
          found.push_back(line);
        }
      }
    }
    return found;
  }

  void ExpectRefused(KeyStore& store, const std::string& key, const std::filesystem::path& gone,
                     const std::string& what = "was removed or replaced") {
    for (int value = 2; value <= 4; ++value) {
      EXPECT_THAT([&] { store.Set(key, value); },
                  ThrowsMessage<std::runtime_error>(
                      AllOf(HasSubstr(gone.string() + " " + what), HasSubstr("restart the set"))));
    }
    EXPECT_EQ(store.Get(key), KeyValue(1));
    EXPECT_THAT(LogAbout(gone), ElementsAre(AllOf(HasSubstr("E keystore"), HasSubstr("refused"))));
  }

  static void Fold(const std::filesystem::path& file) {
    Database(file).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }

  std::filesystem::path Changed() const { return RunDir() / "changed"; }

  static bool IsReadable(const KeyWatcher& watcher) {
    pollfd readable{.fd = watcher.Fd(), .events = POLLIN, .revents = 0};
    return ::poll(&readable, 1, 0) == 1;
  }
};

TEST_F(RemovedFiles, AKeyFileThatWasRemovedIsNotWrittenAnyMore) {
  for (const auto& [key, file] :
       {std::pair("db/key", DurableFile()), {"memory/key", MemoryFile()}}) {
    const auto store = Open();
    EXPECT_TRUE(store->Set(key, 1));
    std::filesystem::remove(file);
    ExpectRefused(*store, key, file);
  }
}

TEST_F(RemovedFiles, AKeyFileThatWasRenamedIsNotWrittenAnyMore) {
  const auto store = Open();
  EXPECT_TRUE(store->Set("db/key", 1));
  std::filesystem::rename(DurableFile(), StateDir() / "elsewhere");
  ExpectRefused(*store, "db/key", DurableFile());
}

TEST_F(RemovedFiles, AKeyFileThatAnotherTookThePlaceOfIsNotWrittenAnyMore) {
  const auto store = Open();
  EXPECT_TRUE(store->Set("db/key", 1));
  std::filesystem::copy_file(DurableFile(), StateDir() / "copy");
  std::filesystem::rename(StateDir() / "copy", DurableFile());
  ExpectRefused(*store, "db/key", DurableFile());
}

TEST_F(RemovedFiles, AKeyFileWithoutItsWriteAheadLogIsNotWrittenAnyMore) {
  for (const std::string suffix : {"-wal", "-shm"}) {
    std::filesystem::remove_all(StateDir());
    const auto store = Open();
    EXPECT_TRUE(store->Set("db/key", 1));
    const std::filesystem::path file = DurableFile().string() + suffix;
    std::filesystem::remove(file);
    ExpectRefused(*store, "db/key", file);
  }
}

TEST_F(RemovedFiles, AKeyFileThatWasCutShortIsNotWrittenAnyMore) {
  for (const auto& [key, file] :
       {std::pair("db/key", DurableFile()), {"memory/key", MemoryFile()}}) {
    const auto store = Open();
    store->Set(std::string(key) + "/long", std::string(20'000, 'x'));
    Sql(file, "PRAGMA wal_checkpoint(TRUNCATE)");
    EXPECT_TRUE(store->Set(key, 1));
    std::filesystem::resize_file(file, 8192);
    ExpectRefused(*store, key, file, "was cut short");
    // Even if it is filled up again.
    std::filesystem::resize_file(file, 1'000'000);
    EXPECT_THROW(store->Set(key, 2), std::runtime_error);
  }
}

// Nobody has written since it grew.
TEST_F(RemovedFiles, AKeyFileThatWasCutShortAfterItsLogWasFoldedInIsNotWrittenAnyMore) {
  const auto store = Open();
  store->Set("db/long", std::string(20'000, 'x'));
  store->Set("db/key", 1);
  Fold(DurableFile());
  std::filesystem::resize_file(DurableFile(), 3 * 4096);
  ExpectRefused(*store, "db/key", DurableFile(), "was cut short");
  EXPECT_THROW(Open()->Set("db/key", 2), std::runtime_error);
}

// A connection that has read nothing yet meets the end of the file where a page should be.
TEST_F(RemovedFiles, WhatLayBehindTheEndOfAKeyFileIsAFailureAndNotMissing) {
  constexpr int kKeys = 200;
  const auto store = Open();
  const auto name = [](int i) { return "db/key" + std::to_string(i); };
  // Some have pages of their own.
  const auto value = [](int i) { return std::string(i % 10 == 0 ? 6000 : 100, 'a' + i % 26); };
  for (int i = 0; i < kKeys; ++i) {
    store->Set(name(i), value(i));
  }
  Fold(DurableFile());
  int failures = 0;
  for (auto pages = std::filesystem::file_size(DurableFile()) / 4096 - 1; pages > 0; --pages) {
    for (const int rest : {2000, 0}) {
      std::filesystem::resize_file(DurableFile(), pages * 4096 + rest);
      const auto second = Open();
      for (int i = 0; i < kKeys; ++i) {
        try {
          EXPECT_EQ(second->Get(name(i)), KeyValue(value(i))) << pages << " " << rest;
        } catch (const StoreError& error) {
          EXPECT_TRUE(error.IsDamage()) << error.what();
          ++failures;
        }
      }
    }
  }
  EXPECT_GT(failures, kKeys);
}

TEST_F(RemovedFiles, AKeyFileThatAnotherProgramMadeShorterIsWritten) {
  const auto store = Open();
  store->Set("memory/long", std::string(20'000, 'x'));
  store->Unset("memory/long");
  Sql(MemoryFile(), "DELETE FROM changes; PRAGMA wal_checkpoint(TRUNCATE)");
  EXPECT_TRUE(store->Set("memory/key", 1));
  const auto size = std::filesystem::file_size(MemoryFile());
  Sql(MemoryFile(), "VACUUM; PRAGMA wal_checkpoint(TRUNCATE)");
  ASSERT_LT(std::filesystem::file_size(MemoryFile()), size);
  EXPECT_TRUE(store->Set("memory/key", 2));
}

// The log beside it belongs to the file that it took the place of.
TEST_F(RemovedFiles, AKeyFileThatTookThePlaceOfAnotherIsReadWithoutThatOnesLog) {
  for (const bool isRestarted : {true, false}) {
    SCOPED_TRACE(isRestarted);
    std::filesystem::remove_all(StateDir());
    auto store = Open();
    store->Set("db/key", 2);
    Fold(DurableFile());
    std::filesystem::copy_file(DurableFile(), StateDir() / "other");
    store->Set("db/key", 1);
    store->Set("db/late", 1);
    const std::string other = support::ReadFile(StateDir() / "other");
    std::filesystem::rename(StateDir() / "other", DurableFile());
    if (isRestarted) {
      store.reset();
    }
    EXPECT_THAT(CheckStore(StateDir(), RunDir()).front().what, HasSubstr("took the place"));
    EXPECT_THROW(CopyKeyFile(DurableFile(), CopyOf(DurableFile())), StoreError);
    for (int start = 1; start <= 2; ++start) {
      const auto opened = Open();
      EXPECT_EQ(opened->Get("db/key"), KeyValue(2));
      EXPECT_EQ(opened->Get("db/late"), std::nullopt);
      EXPECT_EQ(support::ReadFile(DurableFile()), other);
    }
    EXPECT_TRUE(Open()->Set("db/key", 3));
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(3));
    if (!isRestarted) {
      EXPECT_THROW(store->Set("db/key", 4), std::runtime_error);
      EXPECT_EQ(store->Get("db/key"), KeyValue(1));
    }
    const auto aside = SetAsideFiles(DurableFile());
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_THAT(LogLines(), Contains(AllOf(HasSubstr("E keystore"), HasSubstr(DurableFile()),
                                           HasSubstr("set aside as " + aside.front().string()))));
  }
}

TEST_F(RemovedFiles, AKeyFileThatTookThePlaceOfAnotherWhoseLogIsEmptyIsReadWithoutAWord) {
  auto store = Open();
  store->Set("db/key", 2);
  Fold(DurableFile());
  std::filesystem::copy_file(DurableFile(), StateDir() / "other");
  store->Set("db/key", 1);
  Fold(DurableFile());
  std::filesystem::rename(StateDir() / "other", DurableFile());
  store.reset();
  ASSERT_TRUE(std::filesystem::exists(LogOf(DurableFile())));
  EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "is whole");
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(2));
  EXPECT_TRUE(SetAsideFiles(DurableFile()).empty());
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(RemovedFiles, WhoClosesAKeyFileThatWasEmptiedLeavesItsLog) {
  auto store = Open();
  store->Set("db/key", 1);
  // Folded in, but still there.
  Database(DurableFile()).Execute("PRAGMA wal_checkpoint(PASSIVE)");
  std::filesystem::resize_file(DurableFile(), 0);
  store.reset();
  EXPECT_EQ(std::filesystem::file_size(DurableFile()), 0);
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(1));
  EXPECT_THAT(LogLines(), Contains(AllOf(HasSubstr("E keystore"), HasSubstr("is empty"),
                                         HasSubstr("what its log holds takes its place"))));
}

TEST_F(RemovedFiles, TheOtherKeyFileIsWrittenAsBefore) {
  const auto store = Open();
  std::filesystem::remove(MemoryFile());
  EXPECT_TRUE(store->Set("db/key", 1));
  std::filesystem::remove(DurableFile());
  EXPECT_THROW(store->Set("memory/key", 1), std::runtime_error);
}

TEST_F(RemovedFiles, AWatcherSaysThatAKeyFileWasRemovedThoughNobodyWrites) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::filesystem::remove(DurableFile());
  EXPECT_TRUE(IsReadable(watcher));
  EXPECT_TRUE(TakeAnnounced(watcher).empty());
  EXPECT_EQ(LogAbout(DurableFile()).size(), 1u);
  EXPECT_FALSE(IsReadable(watcher));
}

TEST_F(RemovedFiles, ChangesAreHeardAfterTheFileThatAnnouncesThemWasRemoved) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  KeyWatcher second(*store);
  auto other = Start({"watch", "memory/end"});
  ASSERT_TRUE(other.IsReady());
  for (int value = 1; value <= 3; ++value) {
    std::filesystem::remove(Changed());
    EXPECT_TRUE(store->Set("memory/key", value));
    EXPECT_THAT(ToTexts(TakeAnnounced(watcher)),
                ElementsAre("memory/key " + std::to_string(value)));
    EXPECT_EQ(TakeAnnounced(second).size(), 1u);
  }
  EXPECT_THAT(LogAbout(Changed()), ElementsAre(HasSubstr("E keystore"), HasSubstr("E keystore"),
                                               HasSubstr("E keystore")));
  store->Set("memory/end", 1);
  EXPECT_EQ(other->Wait(), 0);
  EXPECT_THAT(other.Said(),
              ElementsAre("ready", "memory/key 1", "memory/key 2", "memory/key 3", "memory/end 1"));
}

TEST_F(RemovedFiles, ChangesAreHeardAfterTheFileThatAnnouncesThemWasMadeAgain) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::filesystem::remove(Changed());
  std::ofstream(Changed()).close();
  EXPECT_TRUE(TakeAnnounced(watcher).empty());
  EXPECT_TRUE(store->Set("memory/key", 1));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("memory/key 1"));
  std::filesystem::rename(Changed(), RunDir() / "elsewhere");
  std::ofstream(Changed()).close();
  EXPECT_TRUE(store->Set("memory/key", 2));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("memory/key 2"));
  EXPECT_EQ(LogAbout(Changed()).size(), 2u);
}

TEST_F(RemovedFiles, AWriteIsRefusedWhenTheRunDirectoryIsGoneAndTheWatcherSaysSoOnce) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  EXPECT_TRUE(store->Set("db/key", 1));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("db/key 1"));
  std::filesystem::remove_all(RunDir());
  EXPECT_THROW(store->Set("db/key", 2), std::runtime_error);
  EXPECT_THROW(store->Set("memory/key", 2), std::runtime_error);
  EXPECT_TRUE(TakeAnnounced(watcher).empty());
  // It tries again after a while.
  EXPECT_TRUE(support::WaitUntil([&] { return IsReadable(watcher); }));
  EXPECT_TRUE(TakeAnnounced(watcher).empty());
  EXPECT_EQ(LogAbout(Changed()).size(), 1u);
  std::filesystem::create_directories(RunDir());
  EXPECT_TRUE(support::WaitUntil([&] {
    TakeAnnounced(watcher);
    return std::filesystem::exists(Changed());
  }));
  EXPECT_TRUE(store->Set("db/key", 3));
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)), ElementsAre("db/key 3"));
}

TEST_F(RemovedFiles, AWatcherWhosePositionWasRemovedMissesNothingAndTheJournalIsCut) {
  constexpr int kChanges = 3 * 1024;
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::filesystem::remove_all(RunDir() / "watchers");
  EXPECT_TRUE(TakeAnnounced(watcher).empty());
  for (int value = 1; value <= kChanges; ++value) {
    store->Set("memory/key", value);
  }
  EXPECT_EQ(ToTexts(TakeAnnounced(watcher)), Counted("memory/key", kChanges));
  EXPECT_EQ(Sql(MemoryFile(), "SELECT count(*) FROM changes"), std::to_string(kChanges));
  for (int value = 1; value <= kChanges; ++value) {
    store->Set("memory/key", value);
  }
  EXPECT_LE(std::stoi(Sql(MemoryFile(), "SELECT count(*) FROM changes")), kChanges + 1024);
}

}  // namespace
}  // namespace host
