// What the keeper of a store does while others use it: the log gets emptied, and there is a good
// copy.

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <fstream>

#include "key_store_fixture.h"
#include "keystore/file_damage.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "keystore/store_keeper.h"

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using std::chrono::hours;
using std::chrono::milliseconds;
using std::filesystem::path;

constexpr milliseconds kSoon(20);

class Keeper : public KeyStoreTest {
 protected:
  std::unique_ptr<StoreKeeper> Keep(StoreKeeper::Times times) const {
    return std::make_unique<StoreKeeper>(StateDir(), RunDir(), times);
  }

  std::uintmax_t LogSize() const {
    return std::filesystem::file_size(DurableFile().string() + "-wal");
  }
  bool IsFoldedIn() const {
    return support::WaitUntil([this] { return LogSize() == 0; });
  }

  // The key in a file taken by itself, without the files beside it.
  std::string ValueIn(const path& file) const {
    const path alone = StateDir().parent_path() / "alone";
    std::filesystem::copy(file, alone, std::filesystem::copy_options::overwrite_existing);
    return Sql(alone, "SELECT value FROM keys WHERE key = 'db/key'");
  }

  bool IsCopied(const std::string& value) const {
    return support::WaitUntil([&] {
      return std::filesystem::exists(CopyOf(DurableFile())) &&
             ValueIn(CopyOf(DurableFile())) == value;
    });
  }
};

TEST_F(Keeper, TheFileByItselfIsTheStoreWhenWritingHasBeenQuiet) {
  const auto store = Open();
  const auto keeper = Keep({.quiet = kSoon});
  for (int value = 1; value <= 3; ++value) {
    store->Set("db/key", value);
    EXPECT_TRUE(IsFoldedIn());
    EXPECT_EQ(ValueIn(DurableFile()), std::to_string(value));
    EXPECT_EQ(store->Get("db/key"), KeyValue(value));
  }
}

TEST_F(Keeper, WhatAnotherProcessWroteIsFoldedInToo) {
  const auto store = Open();
  const auto keeper = Keep({.quiet = kSoon});
  auto writer = Start({"count", "300", "db/key"});
  EXPECT_EQ(writer->Wait(), 0);
  EXPECT_TRUE(IsFoldedIn());
  EXPECT_EQ(ValueIn(DurableFile()), "300");
}

TEST_F(Keeper, FoldsInAfterTheFileThatAnnouncesChangesWasRemoved) {
  const auto store = Open();
  const auto keeper = Keep({.quiet = kSoon});
  for (int value = 1; value <= 3; ++value) {
    std::filesystem::remove(RunDir() / kChangedName);
    store->Set("db/key", value);
    EXPECT_TRUE(IsFoldedIn());
    // It is there again, whether the keeper or the writer made it.
    store->Set("db/key", value * 10);
    EXPECT_TRUE(IsFoldedIn());
    EXPECT_EQ(ValueIn(DurableFile()), std::to_string(value * 10));
  }
}

TEST_F(Keeper, FoldsInAfterTheFileThatAnnouncesChangesCouldNotBeMade) {
  LogFile();
  const auto store = Open();
  const auto keeper = Keep({.quiet = kSoon, .afterHindrance = kSoon});
  const path directory = RunDir() / "directory";
  // The keeper may make the file again before the directory has its name.
  EXPECT_TRUE(support::WaitUntil([&] {
    std::error_code isTaken;
    std::filesystem::remove(RunDir() / kChangedName);
    std::filesystem::create_directory(directory);
    std::filesystem::rename(directory, RunDir() / kChangedName, isTaken);
    return ::testing::Matches(
        ::testing::Contains(HasSubstr("cannot keep the key store: cannot make")))(LogLines());
  }));
  std::filesystem::remove(RunDir() / kChangedName);
  store->Set("db/key", 1);
  EXPECT_TRUE(IsFoldedIn());
  store->Set("db/key", 2);
  EXPECT_TRUE(IsFoldedIn());
}

TEST_F(Keeper, TheEndOfAKeeperFoldsIn) {
  const auto store = Open();
  {
    const auto keeper = Keep({.quiet = hours(1)});
    store->Set("db/key", 7);
    EXPECT_GT(LogSize(), 0);
  }
  EXPECT_EQ(LogSize(), 0);
  EXPECT_EQ(ValueIn(DurableFile()), "7");
}

TEST_F(Keeper, ALogThatAReaderKeptLongIsCutWhenTheReaderIsDone) {
  const auto store = Open();
  store->Set("db/key", 1);
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(DurableFile().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM keys", nullptr, nullptr, nullptr),
            SQLITE_OK);
  const auto keeper = Keep({.quiet = kSoon, .afterHindrance = kSoon});
  for (int i = 0; i < 40; ++i) {
    store->Set("db/text", std::string(256 * 1024, 'x'));
  }
  store->Set("db/key", 2);
  EXPECT_GT(LogSize(), 10'000'000);
  ASSERT_EQ(sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_TRUE(IsFoldedIn());
  EXPECT_EQ(ValueIn(DurableFile()), "2");
  sqlite3_close(reader);
}

TEST_F(Keeper, AStoreThatIsNeverQuietIsCopiedToo) {
  const auto store = Open();
  auto writer = Start({"count", "1000000", "db/key"});
  ASSERT_TRUE(writer.IsReady());
  const auto keeper = Keep({.quiet = hours(1), .longest = kSoon});
  EXPECT_TRUE(
      support::WaitUntil([this] { return std::filesystem::exists(CopyOf(DurableFile())); }));
  EXPECT_EQ(DamageOf(CopyOf(DurableFile())), std::nullopt);
}

TEST_F(Keeper, AReaderThatKeepsTheLogDoesNotBarTheCopy) {
  const auto store = Open();
  store->Set("db/key", 1);
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(DurableFile().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM keys", nullptr, nullptr, nullptr),
            SQLITE_OK);
  store->Set("db/key", 2);
  const auto keeper = Keep({.quiet = kSoon, .afterHindrance = hours(1)});
  EXPECT_TRUE(IsCopied("2"));
  EXPECT_GT(LogSize(), 0);
  sqlite3_close(reader);
}

TEST_F(Keeper, ACopyIsMadeAndNotAnotherOneBeforeItsTime) {
  const auto store = Open();
  {
    const auto keeper = Keep({.quiet = kSoon, .betweenCopies = hours(1)});
    store->Set("db/key", 1);
    EXPECT_TRUE(IsCopied("1"));
    store->Set("db/key", 2);
    EXPECT_TRUE(IsFoldedIn());
    EXPECT_EQ(ValueIn(CopyOf(DurableFile())), "1");
  }
  const auto keeper = Keep({.quiet = kSoon, .betweenCopies = milliseconds(0)});
  EXPECT_TRUE(IsCopied("2"));
  store->Set("db/key", 3);
  EXPECT_TRUE(IsCopied("3"));
}

TEST_F(Keeper, ACopyMadeUnderAClockThatWasSetBackIsReplaced) {
  const auto store = Open();
  store->Set("db/key", 1);
  CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
  std::filesystem::last_write_time(CopyOf(DurableFile()),
                                   std::filesystem::file_time_type::clock::now() + hours(50'000));
  store->Set("db/key", 2);
  const auto keeper = Keep({.quiet = kSoon});
  EXPECT_TRUE(IsCopied("2"));
}

TEST_F(Keeper, WhatIsDamagedIsNotCopied) {
  Open()->Set("db/key", 1);
  const auto store = Open();
  CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
  std::fstream file(DurableFile(), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(2 * 4096 + 4000);
  file << "damage" << std::flush;
  EXPECT_THROW(CopyKeyFile(DurableFile(), CopyOf(DurableFile())), StoreError);
  EXPECT_EQ(ValueIn(CopyOf(DurableFile())), "1");
  EXPECT_EQ(DamageOf(CopyOf(DurableFile())), std::nullopt);
}

TEST_F(Keeper, AFailureThatLastsIsLoggedOnce) {
  LogFile();
  const auto store = Open();
  // Nothing takes the place of a directory.
  std::filesystem::create_directory(CopyOf(DurableFile()));
  {
    const auto keeper = Keep({.quiet = kSoon, .betweenCopies = kSoon});
    for (int value = 1; value <= 3; ++value) {
      store->Set("db/key", value);
      EXPECT_TRUE(IsFoldedIn());
    }
  }
  EXPECT_THAT(LogLines(), ElementsAre(HasSubstr("cannot keep the key store: ")));
}

TEST_F(Keeper, ACopyThatCannotBeMadeIsNotTriedAgainBeforeItsTime) {
  LogFile();
  const auto store = Open();
  const path copy = CopyOf(DurableFile());
  std::filesystem::create_directory(copy);
  std::filesystem::last_write_time(copy, std::filesystem::file_time_type::clock::now() - hours(2));
  {
    const auto keeper = Keep({.quiet = kSoon, .betweenCopies = hours(1)});
    store->Set("db/key", 1);
    EXPECT_TRUE(support::WaitUntil([] { return !LogLines().empty(); }));
    std::filesystem::remove(copy);
    store->Set("db/key", 2);
    EXPECT_TRUE(IsFoldedIn());
  }
  EXPECT_FALSE(std::filesystem::exists(copy));
  const auto keeper = Keep({.quiet = kSoon, .betweenCopies = hours(1)});
  EXPECT_TRUE(IsCopied("2"));
}

TEST_F(Keeper, AFileThatTookThePlaceOfAnotherStaysAsItIs) {
  const auto store = Open();
  auto keeper = Keep({.quiet = kSoon, .betweenCopies = milliseconds(0)});
  store->Set("db/key", 1);
  ASSERT_TRUE(IsFoldedIn());
  ASSERT_TRUE(IsCopied("1"));
  keeper.reset();
  keeper = Keep({.quiet = hours(1), .betweenCopies = milliseconds(0)});
  std::filesystem::copy_file(DurableFile(), StateDir() / "other");
  store->Set("db/key", 2);
  std::filesystem::rename(StateDir() / "other", DurableFile());
  const std::string before = support::ReadFile(DurableFile());
  const std::string copyBefore = support::ReadFile(CopyOf(DurableFile()));
  keeper.reset();
  EXPECT_EQ(support::ReadFile(DurableFile()), before);
  EXPECT_EQ(support::ReadFile(CopyOf(DurableFile())), copyBefore);
}

TEST_F(Keeper, ACopyOfAStoreInUseIsAWhole) {
  const auto store = Open();
  auto writer = Start({"count", "1000000", "db/key"});
  ASSERT_TRUE(writer.IsReady());
  for (int round = 0; round < 20; ++round) {
    const path copy = StateDir().parent_path() / "backup";
    CopyKeyFile(DurableFile(), copy);
    EXPECT_EQ(DamageOf(copy), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(copy.string() + "-wal"));
    const std::string said = writer.Said().back();
    EXPECT_LE(std::stoi(ValueIn(copy)), std::stoi(said.substr(said.find(' ') + 1)) + 1);
  }
}

}  // namespace
}  // namespace host
