// What a store makes of damaged files: a start succeeds whatever is there, and a value is what it
// was, or reading it fails, or the log says what was lost.

#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <fstream>
#include <functional>
#include <map>
#include <random>

#include "key_store_fixture.h"
#include "keystore/file_damage.h"
#include "keystore/sqlite.h"
#include "keystore/store_check.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "keystore/store_salvage.h"
#include "system/log.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

using std::filesystem::path;

class Recovery : public KeyStoreTest {
 protected:
  Recovery() { OpenLog(LogFile()); }
  ~Recovery() override { FlushLog(std::chrono::seconds(10)); }

  path LogFile() const { return StateDir().parent_path() / "log"; }

  std::string Logged() const {
    EXPECT_TRUE(FlushLog(std::chrono::seconds(10)));
    return support::ReadFile(LogFile());
  }

  // A store that was closed properly, with its good copy.
  void MakeStore(int value, bool withCopy) {
    Open()->Set("db/key", value);
    if (withCopy) {
      CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
    }
  }

  // A file of the version without checks.
  void MakeVersion2() {
    std::filesystem::create_directories(StateDir());
    Sql(DurableFile(),
        "PRAGMA journal_mode = WAL;"
        " CREATE TABLE keys (key TEXT PRIMARY KEY, value) WITHOUT ROWID;"
        " PRAGMA application_id = 0x6b657973;"
        " CREATE TABLE changes (number INTEGER PRIMARY KEY, at INTEGER,"
        " bytes INTEGER NOT NULL DEFAULT 0, key TEXT, value); PRAGMA user_version = 2;"
        " INSERT INTO keys VALUES ('db/a', 7); INSERT INTO changes VALUES (9, 1, 0, 'db/a', 7)");
  }

  // Changes one bit.
  static void Flip(const path& file, std::uintmax_t bit) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(bit / 8));
    const auto byte = static_cast<char>(stream.get() ^ (1 << (bit % 8)));
    stream.seekp(static_cast<std::streamoff>(bit / 8));
    stream.put(byte);
  }

  static void Overwrite(const path& file, std::uintmax_t offset, const std::string& bytes) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(offset));
    stream << bytes;
  }

  // Leaves the files of this store as if all its processes had been killed.
  void Kill(std::unique_ptr<KeyStore> store) {
    const path kept = StateDir().parent_path() / "kept";
    std::filesystem::copy(StateDir(), kept);
    const path memory = StateDir().parent_path() / "memory";
    std::filesystem::copy(MemoryFile(), memory);
    store.reset();
    std::filesystem::remove_all(StateDir());
    std::filesystem::rename(kept, StateDir());
  }

  // Keys on many pages.
  static constexpr int kMany = 400;
  static std::string NameOf(int i) { return "db/key" + std::to_string(1000 + i); }
  static std::string ValueOf(int i) { return std::string(100, 'x') + std::to_string(i); }
  static void SetMany(KeyStore& store) {
    for (int i = 0; i < kMany; ++i) {
      store.Set(NameOf(i), ValueOf(i));
    }
  }

  // Some keys cannot be read, but none is missing or has another value.
  void ExpectSomeToFail(KeyStore& store) const {
    int failures = 0;
    for (int i = 0; i < kMany; ++i) {
      try {
        EXPECT_EQ(store.Get(NameOf(i)), KeyValue(ValueOf(i)));
      } catch (const StoreError& error) {
        ++failures;
        EXPECT_EQ(error.Error(), EUCLEAN);
        EXPECT_THAT(error.what(),
                    AllOf(HasSubstr(DurableFile().string()), HasSubstr("a page is damaged")));
      }
    }
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, kMany);
  }

  using Keys = std::vector<std::pair<std::string, KeyValue>>;
};

TEST_F(Recovery, WhatIsDamagedIsSetAsideAndItsCopyTakesItsPlace) {
  const path file = DurableFile();
  const struct {
    const char* name;
    std::function<void()> damage;
    const char* reason;
  } cases[] = {
      {"noise", [&] { Overwrite(file, 0, std::string(std::filesystem::file_size(file), '\xa5')); },
       "is not a database"},
      {"a page of zeros", [&] { Overwrite(file, 4096, std::string(4096, '\0')); },
       "is damaged in page 2"},
      {"cut in the middle", [&] { std::filesystem::resize_file(file, 4096 + 100); },
       "is cut short"},
      {"cut in the first page", [&] { std::filesystem::resize_file(file, 50); }, "is cut short"},
      {"empty", [&] { std::filesystem::resize_file(file, 0); }, "is empty"},
      {"missing", [&] { std::filesystem::remove(file); }, "is missing"},
      {"foreign",
       [&] {
         std::filesystem::remove(file);
         Sql(file, "CREATE TABLE songs (title)");
       },
       "is not a key file"},
      {"of another version", [&] { Sql(file, "PRAGMA user_version = 4"); },
       "was made by another version"},
      {"a directory",
       [&] {
         std::filesystem::remove(file);
         std::filesystem::create_directory(file);
       },
       "is not a file"},
      {"a link to itself",
       [&] {
         std::filesystem::remove(file);
         std::filesystem::create_symlink(file, file);
       },
       "cannot be read"},
  };
  for (const auto& [name, damage, reason] : cases) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(StateDir());
    MakeStore(31, true);
    const std::string before = Logged();
    damage();
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(31));
    const std::string log = Logged().substr(before.size());
    EXPECT_THAT(Lines(log), SizeIs(1));
    EXPECT_THAT(log, AllOf(HasSubstr(" E "), HasSubstr(file.string() + " " + reason),
                           HasSubstr(CopyOf(file).string() + " takes its place")));
    const auto aside = SetAsideFiles(file);
    if (std::string(name) == "missing") {
      EXPECT_THAT(aside, IsEmpty());
    } else {
      ASSERT_THAT(aside, SizeIs(1));
      EXPECT_THAT(log, HasSubstr("set aside as " + aside.front().string()));
    }
    // From here on it is an ordinary store.
    EXPECT_TRUE(Open()->Set("db/key", 32));
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(32));
    EXPECT_EQ(Logged(), before + log);
  }
}

TEST_F(Recovery, TheCopyTakesThePlaceOfAFileThatIsGoneThoughOthersStillHaveItOpen) {
  MakeStore(31, true);
  const auto open = Open();
  std::filesystem::remove(DurableFile());
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(31));
  EXPECT_THAT(Logged(), HasSubstr(CopyOf(DurableFile()).string() + " takes its place"));
}

TEST_F(Recovery, WithoutACopyTheStoreBeginsEmpty) {
  MakeStore(31, false);
  Overwrite(DurableFile(), 0, std::string(8192, 'x'));
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(1));
  EXPECT_THAT(Logged(), HasSubstr("an empty one takes its place"));
}

TEST_F(Recovery, ACopyThatIsDamagedIsSetAsideToo) {
  MakeStore(31, true);
  Flip(DurableFile(), 8 * 5000);
  Flip(CopyOf(DurableFile()), 8 * 5000);
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(2));
  EXPECT_FALSE(std::filesystem::exists(CopyOf(DurableFile())));
}

TEST_F(Recovery, ACopyThatIsEmptyIsNoCopy) {
  MakeStore(31, false);
  std::ofstream(CopyOf(DurableFile())).close();
  Flip(DurableFile(), 8 * 5000);
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  EXPECT_THAT(Logged(), AllOf(HasSubstr("its copy is no better and set aside as "),
                              HasSubstr("an empty one takes its place")));
  EXPECT_FALSE(std::filesystem::exists(CopyOf(DurableFile())));
}

TEST_F(Recovery, FiveFilesAreKeptThatWereSetAside) {
  std::vector<path> aside;
  for (int i = 1; i <= 7; ++i) {
    MakeStore(i, false);
    Flip(DurableFile(), 8 * 5000);
    Open();
    const auto now = SetAsideFiles(DurableFile());
    ASSERT_THAT(now, Not(IsEmpty()));
    aside.push_back(now.back());
  }
  EXPECT_EQ(SetAsideFiles(DurableFile()), std::vector<path>(aside.begin() + 2, aside.end()));
}

TEST_F(Recovery, TheMemoryFileBeginsEmptyWhenItIsDamaged) {
  Open()->Set("memory/key", 1);
  Overwrite(MemoryFile(), 0, std::string(8192, 'x'));
  const auto store = Open();
  EXPECT_EQ(store->Get("memory/key"), std::nullopt);
  EXPECT_TRUE(store->Set("memory/key", 2));
  EXPECT_THAT(Logged(), HasSubstr(MemoryFile().string() + " is not a database"));
}

TEST_F(Recovery, ABitThatFlipsAnywhereInTheFileIsNoticed) {
  Keys keys;
  {
    const auto store = Open();
    for (int i = 100; i < 200; ++i) {
      store->Set("db/key" + std::to_string(i), i);
    }
    store->Set("db/text", std::string(20'000, 'x'));
    keys = store->List("db/");
  }
  const path whole = StateDir().parent_path() / "whole";
  std::filesystem::copy(DurableFile(), whole);
  std::mt19937 random(1);
  std::uniform_int_distribution<std::uintmax_t> bit(0, std::filesystem::file_size(whole) * 8 - 1);
  for (int round = 0; round < 300; ++round) {
    std::filesystem::remove_all(StateDir());
    std::filesystem::create_directory(StateDir());
    std::filesystem::copy(whole, DurableFile());
    const std::uintmax_t flipped = bit(random);
    Flip(DurableFile(), flipped);
    EXPECT_NE(DamageOf(DurableFile()), std::nullopt) << flipped;
    EXPECT_THAT(Open()->List("db/"), IsEmpty()) << flipped;
    EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(1)) << flipped;
  }
  EXPECT_THAT(keys, SizeIs(101));
}

TEST_F(Recovery, ABitThatFlipsSoThatAFileSaysThatItHasNoPagesIsNoticed) {
  std::uintmax_t pages = 0;
  for (int i = 0; !std::has_single_bit(pages) || pages < 4; ++i) {
    Open()->Set("db/key" + std::to_string(i), std::string(1500, 'x'));
    pages = std::filesystem::file_size(DurableFile()) / 4096;
  }
  ASSERT_EQ(DamageOf(DurableFile()), std::nullopt);
  // The number of pages, in four bytes, the highest first.
  const auto bit = static_cast<std::uintmax_t>(std::countr_zero(pages));
  Flip(DurableFile(), (31 - bit / 8) * 8 + bit % 8);
  EXPECT_EQ(support::ReadFile(DurableFile()).substr(28, 4), std::string(4, '\0'));
  EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "is damaged in page 1");
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  EXPECT_THAT(Logged(), HasSubstr(DurableFile().string() + " is damaged in page 1; "));
}

TEST_F(Recovery, ABitThatFlipsInTheLogCostsWhatWasWrittenBehindItAndIsSaid) {
  auto open = Open();
  for (int value = 1; value <= 40; ++value) {
    open->Set("db/key", value);
  }
  Kill(std::move(open));
  const path whole = StateDir().parent_path() / "whole";
  std::filesystem::copy(StateDir(), whole);
  std::mt19937 random(1);
  std::uniform_int_distribution<std::uintmax_t> bit(
      0, std::filesystem::file_size(LogOf(DurableFile())) * 8 - 1);
  int losses = 0;
  for (int round = 0; round < 200; ++round) {
    std::filesystem::remove_all(StateDir());
    std::filesystem::copy(whole, StateDir());
    const std::uintmax_t flipped = bit(random);
    Flip(LogOf(DurableFile()), flipped);
    const std::string before = Logged();
    const int value = Integer(*Open(), "db/key");
    EXPECT_GE(value, 0);
    if (value != 40) {
      ++losses;
      EXPECT_THAT(Logged().substr(before.size()), HasSubstr("the newest changes are lost"))
          << flipped << " " << value;
      EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(1));
    }
  }
  EXPECT_GT(losses, 100);
}

TEST_F(Recovery, ALogThatIsMissingIsSaid) {
  for (const bool isRemoved : {true, false}) {
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    open->Set("db/key", 1);
    Kill(std::move(open));
    if (isRemoved) {
      std::filesystem::remove(LogOf(DurableFile()));
    } else {
      std::filesystem::resize_file(LogOf(DurableFile()), 0);
    }
    EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "has lost the end of its log");
    const std::string before = Logged();
    EXPECT_TRUE(Open()->Set("db/key", 2));
    EXPECT_THAT(Logged().substr(before.size()), HasSubstr("the newest changes are lost"));
  }
}

// What SQLite shared about the log is gone then, or older than the log.
TEST_F(Recovery, ALogThatIsDamagedIsSaidAfterAPowerLossToo) {
  auto open = Open();
  open->Set("db/key", 1);
  const path older = StateDir().parent_path() / "older";
  std::filesystem::copy(LogIndexOf(DurableFile()), older);
  Database(DurableFile()).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  for (int value = 2; value <= 9; ++value) {
    open->Set("db/key", value);
  }
  Kill(std::move(open));
  const path whole = StateDir().parent_path() / "whole";
  std::filesystem::copy(StateDir(), whole);
  for (const bool isIndexThere : {false, true}) {
    // The header, the first frame with it, and a place in the midst.
    for (const auto& [offset, bytes] :
         {std::pair(0, std::string(32, '\0')), std::pair(0, std::string(4152, '\0')),
          std::pair(9000, std::string("damage"))}) {
      SCOPED_TRACE(::testing::Message() << isIndexThere << " " << offset << " " << bytes.size());
      std::filesystem::remove_all(StateDir());
      std::filesystem::copy(whole, StateDir());
      std::filesystem::remove(LogIndexOf(DurableFile()));
      if (isIndexThere) {
        std::filesystem::copy(older, LogIndexOf(DurableFile()));
      }
      std::filesystem::remove_all(RunDir());
      Overwrite(LogOf(DurableFile()), offset, bytes);
      const std::string before = Logged();
      EXPECT_LT(Integer(*Open(), "db/key"), 9);
      EXPECT_THAT(Logged().substr(before.size()), HasSubstr("the newest changes are lost"));
      const auto aside = SetAsideFiles(DurableFile());
      ASSERT_THAT(aside, SizeIs(1));
      EXPECT_FALSE(ReadDamaged(aside.front(), {}).isWhole);
    }
  }
}

// The log stays when somebody is reading while its changes are folded in.
TEST_F(Recovery, DamageInALogThatIsFoldedInCostsNothing) {
  const path log = LogOf(DurableFile());
  const std::function<void()> damages[] = {
      [&] { Flip(log, std::uintmax_t{8} * (32 + 9 * 4120 + 1000)); },
      [&] { std::filesystem::resize_file(log, 32 + 20 * 4120); },
      [&] { Flip(log, std::uintmax_t{8} * 10); },
      [&] { std::filesystem::resize_file(log, 20); },
  };
  for (const auto& damage : damages) {
    SCOPED_TRACE(&damage - damages);
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    for (int value = 1; value <= 20; ++value) {
      open->Set("db/key", value);
    }
    Database(DurableFile()).Execute("PRAGMA wal_checkpoint(PASSIVE)");
    Kill(std::move(open));
    ASSERT_GT(std::filesystem::file_size(log), 32 + 30 * 4120);
    damage();
    const std::string before = Logged();
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(20));
    EXPECT_THAT(Logged().substr(before.size()), Not(HasSubstr("lost")));
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(20));
  }
}

TEST_F(Recovery, DamageInALogThatIsFoldedInCostsNothingAfterARestartOfTheMachine) {
  auto open = Open();
  for (int value = 1; value <= 20; ++value) {
    open->Set("db/key", value);
  }
  Database(DurableFile()).Execute("PRAGMA wal_checkpoint(PASSIVE)");
  Kill(std::move(open));
  std::filesystem::remove_all(RunDir());
  Flip(LogOf(DurableFile()), std::uintmax_t{8} * (32 + 9 * 4120 + 1000));
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(20));
  EXPECT_THAT(Logged(),
              AllOf(HasSubstr("its log is damaged; it is set aside"), Not(HasSubstr("lost"))));
}

TEST_F(Recovery, AnOlderLogIsNotFoldedIntoAFileThatHasLaterChanges) {
  constexpr int kKeys = 200;
  auto open = Open();
  const auto set = [&](int begin, int end) {
    for (int i = begin; i < end; ++i) {
      open->Set(NameOf(i), ValueOf(i));
    }
  };
  set(0, kKeys / 4);
  CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
  set(kKeys / 4, kKeys / 2);
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(DurableFile().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM keys", nullptr, nullptr, nullptr),
            SQLITE_OK);
  set(kKeys / 2, kKeys);
  Database(DurableFile()).Execute("PRAGMA wal_checkpoint(PASSIVE)");
  sqlite3_close(reader);
  Kill(std::move(open));
  Flip(LogOf(DurableFile()), std::uintmax_t{8} * (32 + 50 * 4120 + 1000));
  const auto keys = Open()->List("db/");
  EXPECT_GE(std::ssize(keys), kKeys / 4);
  for (const auto& [key, value] : keys) {
    EXPECT_EQ(value, KeyValue(ValueOf(std::stoi(key.substr(6)) - 1000)));
  }
  ExpectIntegrity();
  EXPECT_THAT(Logged(), AllOf(HasSubstr(" E "), HasSubstr("has a damaged log"),
                              HasSubstr(CopyOf(DurableFile()).string() + " takes its place")));
}

TEST_F(Recovery, WhatALogHoldsIsTakenWhenItsFileIsGone) {
  for (const bool isRemoved : {true, false}) {
    SCOPED_TRACE(isRemoved);
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    SetMany(*open);
    Kill(std::move(open));
    if (isRemoved) {
      std::filesystem::remove(DurableFile());
    } else {
      std::filesystem::resize_file(DurableFile(), 0);
    }
    const std::string before = Logged();
    EXPECT_THAT(Open()->List("db/"), SizeIs(kMany));
    const std::string log = Logged().substr(before.size());
    EXPECT_THAT(log, HasSubstr(" E "));
    EXPECT_THAT(log, HasSubstr("what its log holds takes its place"));
    const auto aside = SetAsideFiles(DurableFile());
    ASSERT_THAT(aside, SizeIs(1));
    EXPECT_THAT(log, HasSubstr("set aside as " + aside.front().string()));
    EXPECT_EQ(DamageOf(DurableFile()), std::nullopt);
  }
}

TEST_F(Recovery, ALogWhoseFileIsGoneIsSetAsideWhenItDoesNotHoldEverything) {
  auto open = Open();
  SetMany(*open);
  Sql(DurableFile(), "PRAGMA wal_checkpoint(TRUNCATE)");
  open->Set("db/key", 1);
  Kill(std::move(open));
  std::filesystem::remove(DurableFile());
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  const auto aside = SetAsideFiles(DurableFile());
  ASSERT_THAT(aside, SizeIs(1));
  EXPECT_THAT(Logged(), AllOf(HasSubstr("its log is set aside as " + aside.front().string()),
                              HasSubstr("an empty one takes its place")));
}

TEST_F(Recovery, WhatIsLeftOfADamagedLogIsTakenWhenThereIsNoGoodCopy) {
  enum class Copy { kNone, kEmpty, kDamaged, kGood };
  for (const Copy copy : {Copy::kNone, Copy::kEmpty, Copy::kDamaged, Copy::kGood}) {
    SCOPED_TRACE(static_cast<int>(copy));
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    SetMany(*open);
    if (copy == Copy::kGood) {
      CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
    } else if (copy != Copy::kNone) {
      std::ofstream(CopyOf(DurableFile())) << (copy == Copy::kEmpty ? "" : "damage");
    }
    Kill(std::move(open));
    Flip(LogOf(DurableFile()), std::filesystem::file_size(LogOf(DurableFile())) / 2 * 8);
    std::filesystem::remove(DurableFile());
    const std::string before = Logged();
    const std::size_t count = Open()->List("db/").size();
    const std::string log = Logged().substr(before.size());
    if (copy == Copy::kGood) {
      EXPECT_EQ(count, kMany);
      EXPECT_THAT(log, HasSubstr(CopyOf(DurableFile()).string() + " takes its place"));
    } else {
      EXPECT_GT(count, 0);
      EXPECT_LT(count, kMany);
      EXPECT_THAT(log, HasSubstr("takes its place, without the newest changes"));
    }
  }
}

TEST_F(Recovery, FiveLogsAreKeptThatWereSetAsideWithoutAFile) {
  MakeStore(1, true);
  for (int i = 1; i <= 8; ++i) {
    std::filesystem::remove(DurableFile());
    std::ofstream(LogOf(DurableFile())) << "a log";
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(1));
  }
  EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(5));
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator(StateDir())) {
    found += entry.path().string().find(".damaged-") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(found, 5);
}

TEST_F(Recovery, ALogOrIndexThatCannotBeReadDoesNotKeepTheStoreFromOpening) {
  const path file = DurableFile();
  const auto makeDirectory = [](const path& name) {
    std::filesystem::create_directory(name);
    std::ofstream(name / "something") << "here";
  };
  const struct {
    const char* name;
    std::function<void()> damage;
    std::optional<KeyValue> value;
    bool isSaid;
  } cases[] = {
      {"a directory", [&] { makeDirectory(LogOf(file)); }, 31, true},
      {"a link to itself", [&] { std::filesystem::create_symlink(LogOf(file), LogOf(file)); }, 31,
       true},
      {"without a file",
       [&] {
         std::filesystem::remove(file);
         makeDirectory(LogOf(file));
       },
       std::nullopt, true},
      {"an index", [&] { makeDirectory(LogIndexOf(file)); }, 31, false},
  };
  for (const auto& [name, damage, value, isSaid] : cases) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(StateDir());
    MakeStore(31, false);
    damage();
    const std::string before = Logged();
    std::unique_ptr<KeyStore> open;
    ASSERT_NO_THROW(open = Open());
    EXPECT_EQ(open->Get("db/key"), value);
    EXPECT_TRUE(open->Set("db/key", 32));
    open.reset();
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(32));
    const auto aside = SetAsideFiles(file);
    ASSERT_THAT(aside, SizeIs(isSaid ? 1 : 0));
    if (isSaid) {
      EXPECT_THAT(Logged().substr(before.size()),
                  HasSubstr("set aside as " + aside.front().string()));
    }
  }
}

TEST_F(Recovery, FiveLogsThatCannotBeReadAreKept) {
  MakeStore(1, true);
  for (int i = 1; i <= 8; ++i) {
    std::filesystem::create_directory(LogOf(DurableFile()));
    std::ofstream(LogOf(DurableFile()) / "something") << "here";
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(1));
  }
  EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(5));
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator(StateDir())) {
    found += entry.path().string().ends_with("-wal") ? 1 : 0;
  }
  EXPECT_EQ(found, 5);
}

TEST_F(Recovery, WhoIsKilledWhileHeMendsLeavesNoOlderValuesWithoutAWord) {
  const path closed = StateDir().parent_path() / "closed";
  const path killed = StateDir().parent_path() / "killed";
  auto open = Open();
  SetMany(*open);
  Kill(std::move(open));
  std::filesystem::copy(StateDir(), killed);
  Open();
  std::filesystem::copy(StateDir(), closed);
  const path file = DurableFile();
  constexpr std::string_view kForeign = "the log of another file";
  const struct {
    std::string_view name;
    std::function<void()> damage;
    bool isAllKept;
  } cases[] = {
      {"a copy", [&] { CopyKeyFile(file, CopyOf(file)); }, true},
      {"no copy", [] {}, false},
      {"a log alone",
       [&] {
         std::filesystem::copy(LogOf(killed / "keys.db"), LogOf(file));
         NotePair(file);
         std::filesystem::remove(file);
       },
       true},
      {"a damaged log",
       [&] {
         std::filesystem::remove_all(StateDir());
         std::filesystem::copy(killed, StateDir());
         NotePair(file);
         Flip(LogOf(file), std::filesystem::file_size(LogOf(file)) / 2 * 8);
       },
       false},
      {kForeign,
       [&] {
         std::filesystem::remove_all(StateDir());
         std::filesystem::copy(killed, StateDir());
         NotePair(file);
         std::filesystem::copy(closed / "keys.db", StateDir() / "other");
         std::filesystem::rename(StateDir() / "other", file);
       },
       true},
  };
  for (const auto& [name, damage, isAllKept] : cases) {
    int number = 1;
    for (bool isKilled = true; isKilled; ++number) {
      SCOPED_TRACE(std::string(name) + ", number " + std::to_string(number));
      ASSERT_LT(number, 100);
      std::filesystem::remove_all(StateDir());
      std::filesystem::copy(closed, StateDir());
      damage();
      if (std::filesystem::exists(file) && !std::filesystem::exists(LogOf(file))) {
        Flip(file, 8 * 5000);
      }
      const std::string before = Logged();
      auto worker = Start({"moving", std::to_string(number), "count", "0"});
      isKilled = worker->Wait() == 128 + SIGKILL;
      const auto keys = Open()->List("db/");
      const std::string told = support::ReadFile(worker.err) + Logged().substr(before.size());
      EXPECT_THAT(told, AllOf(HasSubstr(" E "), HasSubstr(file.string())));
      if (isAllKept) {
        EXPECT_THAT(keys, SizeIs(kMany));
        EXPECT_THAT(told, Not(HasSubstr("changes are lost")));
      }
      EXPECT_EQ(told.find("took the place of another") != std::string::npos, name == kForeign)
          << told;
      EXPECT_THAT(SetAsideFiles(file), Not(IsEmpty()));
      for (const path& aside : SetAsideFiles(file)) {
        EXPECT_THAT(told, HasSubstr(aside.string().substr(0, aside.string().rfind("-wal"))));
      }
    }
    EXPECT_GT(number, 5);
  }
}

TEST_F(Recovery, ALinkToAMissingFileIsCalledSo) {
  MakeStore(31, true);
  std::filesystem::remove(DurableFile());
  std::filesystem::create_symlink("nowhere", DurableFile());
  EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "is a link to a missing file");
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(31));
  EXPECT_THAT(Logged(), HasSubstr(DurableFile().string() + " is a link to a missing file; it is"));
}

TEST_F(Recovery, TheMemoryFileIsNotMissedWhileNoSetRuns) {
  MakeStore(31, false);
  std::filesystem::remove_all(RunDir());
  EXPECT_THAT(CheckStore(StateDir(), RunDir()),
              ElementsAre(Field(&StoreFile::state, StoreFile::State::kWhole)));
  const auto open = Open();
  std::filesystem::remove(MemoryFile());
  EXPECT_THAT(CheckStore(StateDir(), RunDir()),
              ElementsAre(Field(&StoreFile::state, StoreFile::State::kWhole),
                          Field(&StoreFile::state, StoreFile::State::kMissing)));
}

TEST_F(Recovery, AFileThatIsEmptiedWhileItIsOpenKeepsItsLog) {
  const auto open = Open();
  SetMany(*open);
  std::filesystem::resize_file(DurableFile(), 0);
  EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "is empty");
  EXPECT_THROW(CopyKeyFile(DurableFile(), CopyOf(DurableFile())), StoreError);
  EXPECT_GT(std::filesystem::file_size(LogOf(DurableFile())), 0);
  // Who opens it takes what the log holds.
  EXPECT_THAT(Open()->List("db/"), SizeIs(kMany));
}

TEST_F(Recovery, AFileThatIsEmptiedDoesNotKeepOthersFromOpeningTheStore) {
  MakeStore(31, true);
  auto watch = Start({"watch", "db/key"});
  ASSERT_TRUE(watch.IsReady());
  std::filesystem::resize_file(DurableFile(), 0);
  const auto open = Open();
  EXPECT_EQ(open->Get("db/key"), KeyValue(31));
  EXPECT_TRUE(open->Set("db/key", 32));
  EXPECT_THAT(Logged(), HasSubstr(CopyOf(DurableFile()).string() + " takes its place"));
}

// SQLite would remove a log of that name.
TEST_F(Recovery, WhoClosesAFileThatWasReplacedTakesNothingFromTheNewOne) {
  MakeStore(31, true);
  auto watch = Start({"watch", "db/key"});
  ASSERT_TRUE(watch.IsReady());
  std::filesystem::resize_file(DurableFile(), 0);
  const auto open = Open();
  open->Set("memory/wake", 1);
  EXPECT_NE(watch->Wait(), 0) << "it does not read an empty file";
  EXPECT_TRUE(open->Set("db/key", 33));
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(33));
}

TEST_F(Recovery, AStoreWhoseFileIsGoneCountsAsMadeWhenItCanBeTakenFromElsewhere) {
  MakeStore(31, true);
  std::filesystem::resize_file(DurableFile(), 0);
  EXPECT_TRUE(IsStoreMade(StateDir(), RunDir()));
  std::filesystem::remove(DurableFile());
  EXPECT_TRUE(IsStoreMade(StateDir(), RunDir()));
  std::filesystem::rename(CopyOf(DurableFile()), LogOf(DurableFile()));
  EXPECT_TRUE(IsStoreMade(StateDir(), RunDir()));
  std::filesystem::remove(LogOf(DurableFile()));
  EXPECT_FALSE(IsStoreMade(StateDir(), RunDir()));
}

TEST_F(Recovery, ALogThatEndsInTheMiddleOfAWriteIsNoDamage) {
  auto open = Open();
  open->Set("db/key", 1);
  const auto size = std::filesystem::file_size(LogOf(DurableFile()));
  Kill(std::move(open));
  // A writer that was killed before its transaction was whole.
  std::ofstream(LogOf(DurableFile()), std::ios::app | std::ios::binary) << std::string(4120, 'x');
  EXPECT_GT(std::filesystem::file_size(LogOf(DurableFile())), size);
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(1));
  EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(Recovery, APageThatIsDamagedWhileTheStoreIsOpenIsAFailureAndMendedNextTime) {
  SetMany(*Open());
  CopyKeyFile(DurableFile(), CopyOf(DurableFile()));
  auto store = Open();
  Flip(DurableFile(), 8 * (6 * 4096 + 4000));
  ExpectSomeToFail(*store);
  EXPECT_TRUE(store->Set("memory/key", 1));
  store.reset();
  store = Open();
  for (int i = 0; i < kMany; ++i) {
    EXPECT_EQ(store->Get(NameOf(i)), KeyValue(ValueOf(i)));
  }
  EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(1));
}

TEST_F(Recovery, AFrameOfTheLogThatIsDamagedWhileTheStoreIsOpenIsAFailure) {
  auto store = Open();
  SetMany(*store);
  Sql(DurableFile(), "UPDATE keys SET value = value || 'y'");
  // Restarts the log, which then has every leaf once.
  Sql(DurableFile(), "PRAGMA wal_checkpoint(TRUNCATE)");
  Sql(DurableFile(), "UPDATE keys SET value = rtrim(value, 'y')");
  Flip(LogOf(DurableFile()), 8 * (32 + 6 * 4120 + 4000));
  ExpectSomeToFail(*store);
}

TEST_F(Recovery, AProgramThatKnowsNothingOfChecksMayLookAtAStoreThatWasKilled) {
  auto open = Open();
  for (int value = 1; value <= 40; ++value) {
    open->Set("db/key", value);
  }
  Kill(std::move(open));
  EXPECT_EQ(Sql(DurableFile(), "SELECT value FROM keys"), "40");
  EXPECT_FALSE(std::filesystem::exists(LogOf(DurableFile())));
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(40));
  EXPECT_THAT(SetAsideFiles(DurableFile()), IsEmpty());
  // And its pages have checks again.
  Flip(DurableFile(), 8 * 5000);
  EXPECT_NE(DamageOf(DurableFile()), std::nullopt);
}

// Pages without checks are judged by whether they fit, which must not hide what the log has lost.
TEST_F(Recovery, WhatALogHasLostIsSaidThoughAnotherProgramWrotePages) {
  const path log = LogOf(DurableFile());
  const std::function<void()> damages[] = {
      [&] { Flip(log, std::uintmax_t{8} * (32 + 9 * 4120 + 1000)); },
      [&] { std::filesystem::resize_file(log, 32 + 10 * 4120); },
  };
  for (const auto& damage : damages) {
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    SetMany(*open);
    Sql(DurableFile(), "PRAGMA wal_checkpoint");
    for (int value = 1; value <= 20; ++value) {
      open->Set("db/key", value);
    }
    Kill(std::move(open));
    damage();
    const auto contents = [this] {
      std::map<path, std::string> found;
      for (const auto& entry : std::filesystem::directory_iterator(StateDir())) {
        found[entry.path()] = support::ReadFile(entry.path());
      }
      return found;
    };
    const auto before = contents();
    EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().what, "has lost the end of its log");
    EXPECT_TRUE(contents() == before);
    const std::string logged = Logged();
    EXPECT_LT(Integer(*Open(), "db/key"), 20);
    EXPECT_THAT(Logged().substr(logged.size()), HasSubstr("the newest changes are lost"));
    EXPECT_THAT(SetAsideFiles(DurableFile()), SizeIs(1));
    // And the pages have checks again.
    Flip(DurableFile(), 8 * (5 * 4096 + 1000));
    EXPECT_NE(DamageOf(DurableFile()), std::nullopt);
  }
}

TEST_F(Recovery, PagesOfAnotherProgramThatDoNotFitAreDamage) {
  const auto harm = [this] {
    // The check of a page, and what tells where its cells are.
    Overwrite(DurableFile(), 6 * 4096 + 4088, std::string(8, '\0'));
    Overwrite(DurableFile(), 6 * 4096 + 8, std::string(40, 'x'));
  };
  SetMany(*Open());
  harm();
  const std::string before = support::ReadFile(DurableFile());
  EXPECT_EQ(CheckStore(StateDir(), RunDir()).front().state, StoreFile::State::kDamaged);
  EXPECT_TRUE(support::ReadFile(DurableFile()) == before);
  EXPECT_THAT(Open()->List("db/"), IsEmpty());
  EXPECT_THAT(Logged(), HasSubstr(DurableFile().string() + " is damaged; it is set aside"));
}

TEST_F(Recovery, AFileOfTheVersionWithoutChecksIsTakenOver) {
  MakeVersion2();
  {
    const auto store = Open();
    EXPECT_THAT(store->List("db/"), ElementsAre(Pair("db/a", KeyValue(7))));
    EXPECT_EQ(store->NewestChange("db/a"), 9);
    EXPECT_TRUE(store->Set("db/a", 8));
    EXPECT_EQ(store->NewestChange("db/a"), 10);
  }
  EXPECT_EQ(Sql(DurableFile(), "PRAGMA user_version"), "3");
  Flip(DurableFile(), 8 * 5000);
  EXPECT_NE(DamageOf(DurableFile()), std::nullopt);
}

// The first user may be a privileged one, after whom the set must still be able to write.
TEST_F(Recovery, AFileKeepsItsOwnerWhoeverMendsOrConvertsIt) {
  const uid_t owner = ::geteuid() == 0 ? 4321 : ::geteuid();
  const gid_t group = ::geteuid() == 0 ? 4321 : ::getegid();
  const path file = DurableFile();
  const auto give = [&](const path& given) {
    EXPECT_EQ(::chown(given.c_str(), owner, group), 0) << given;
  };
  const std::function<void()> damages[] = {
      [&] {
        std::filesystem::remove(file);
        MakeVersion2();
      },
      [&] { Overwrite(file, 0, std::string(8192, 'x')); },
      [&] {
        std::filesystem::remove(file);
        std::ofstream(LogOf(file)) << "a log";
      },
      [&] {
        CopyKeyFile(file, CopyOf(file));
        std::filesystem::resize_file(file, 0);
      },
      [&] {
        auto open = Open();
        for (int value = 1; value <= 40; ++value) {
          open->Set("db/key", value);
        }
        Kill(std::move(open));
        Flip(LogOf(file), std::uintmax_t{8} * (32 + 9 * 4120 + 1000));
      },
  };
  for (const auto& damage : damages) {
    SCOPED_TRACE(&damage - damages);
    std::filesystem::remove_all(StateDir());
    MakeStore(31, false);
    damage();
    for (const auto& entry : std::filesystem::directory_iterator(StateDir())) {
      give(entry.path());
    }
    give(StateDir());
    const auto open = Open();
    EXPECT_TRUE(open->Set("db/key", 32));
    for (const path& each : {file, LogOf(file), LogIndexOf(file)}) {
      struct stat status {};
      ASSERT_EQ(::stat(each.c_str(), &status), 0) << each;
      EXPECT_EQ(status.st_uid, owner) << each;
      EXPECT_EQ(status.st_gid, group) << each;
    }
  }
}

TEST_F(Recovery, OnlyItsOwnerCanWriteAFileThatIsMadeAnew) {
  const mode_t before = umask(0);
  for (const bool isOfLog : {false, true}) {
    SCOPED_TRACE(isOfLog);
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(StateDir().parent_path() / "memory");
    auto open = Open();
    SetMany(*open);
    if (isOfLog) {
      Kill(std::move(open));
      std::filesystem::remove(DurableFile());
    } else {
      open.reset();
      Overwrite(DurableFile(), 0, std::string(8192, 'x'));
    }
    const std::string logged = Logged();
    open = Open();
    EXPECT_THAT(
        Logged().substr(logged.size()),
        HasSubstr(isOfLog ? "what its log holds takes its place" : "an empty one takes its place"));
    EXPECT_EQ(open->List("db/").size(), isOfLog ? kMany : 0);
    open->Set("db/key", 1);
    for (const path& file : {DurableFile(), LogOf(DurableFile())}) {
      EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0644}) << file;
    }
  }
  umask(before);
}

TEST_F(Recovery, WhatCanBeReadOfADamagedFileIsGotOut) {
  auto store = Open();
  SetMany(*store);
  store.reset();
  std::vector<std::string> known;
  for (int i = 0; i < kMany; ++i) {
    known.push_back(NameOf(i));
  }
  EXPECT_TRUE(ReadDamaged(DurableFile(), {}).isWhole);
  EXPECT_THAT(ReadDamaged(DurableFile(), {}).keys, SizeIs(kMany));
  // The first page says where all others are; the others are leaves.
  const path whole = StateDir().parent_path() / "whole";
  std::filesystem::copy(DurableFile(), whole);
  for (const std::uintmax_t page : {0, 5, 8}) {
    SCOPED_TRACE(page);
    std::filesystem::copy(whole, DurableFile(), std::filesystem::copy_options::overwrite_existing);
    Overwrite(DurableFile(), page * 4096, std::string(4096, 'x'));
    const std::string before = support::ReadFile(DurableFile());
    const Salvage salvage = ReadDamaged(DurableFile(), known);
    EXPECT_FALSE(salvage.isWhole);
    EXPECT_GE(salvage.keys.size(), page == 0 ? kMany : kMany - 80);
    for (const auto& [key, value] : salvage.keys) {
      EXPECT_EQ(value, KeyValue(ValueOf(std::stoi(key.substr(6)) - 1000))) << key;
    }
    EXPECT_EQ(support::ReadFile(DurableFile()), before);
  }
}

TEST_F(Recovery, AFileWhoseLogIsDamagedIsNotCalledWholeWhenItIsGotOut) {
  auto open = Open();
  SetMany(*open);
  Kill(std::move(open));
  EXPECT_TRUE(ReadDamaged(DurableFile(), {}).isWhole);
  const auto size = std::filesystem::file_size(LogOf(DurableFile()));
  const path whole = StateDir().parent_path() / "whole";
  std::filesystem::copy(StateDir(), whole);
  // In the middle, and in the last transaction.
  for (const std::uintmax_t offset : {size / 2, size - 1000}) {
    SCOPED_TRACE(offset);
    std::filesystem::remove_all(StateDir());
    std::filesystem::copy(whole, StateDir());
    Flip(LogOf(DurableFile()), offset * 8);
    const Keys kept = Open()->List("db/");
    const auto aside = SetAsideFiles(DurableFile());
    ASSERT_THAT(aside, SizeIs(1));
    const Salvage salvage = ReadDamaged(aside.front(), {});
    EXPECT_FALSE(salvage.isWhole);
    EXPECT_EQ(salvage.keys, kept);
    EXPECT_LT(kept.size(), kMany);
  }
}

TEST_F(Recovery, WhatALogHoldsIsGotOutWithoutItsFile) {
  auto open = Open();
  SetMany(*open);
  Kill(std::move(open));
  std::filesystem::remove(DurableFile());
  Flip(LogOf(DurableFile()), std::filesystem::file_size(LogOf(DurableFile())) / 2 * 8);
  Open();
  const path log = SetAsideFiles(DurableFile()).front();
  const std::string before = support::ReadFile(log);
  const Salvage cut = ReadDamaged(log, {});
  EXPECT_FALSE(cut.isWhole);
  EXPECT_THAT(cut.keys, Not(IsEmpty()));
  for (const auto& [key, value] : cut.keys) {
    EXPECT_EQ(value, KeyValue(ValueOf(std::stoi(key.substr(6)) - 1000))) << key;
  }
  EXPECT_EQ(support::ReadFile(log), before);
  Flip(log, std::filesystem::file_size(log) / 2 * 8);
  const Salvage whole = ReadDamaged(log, {});
  EXPECT_TRUE(whole.isWhole);
  EXPECT_THAT(whole.keys, SizeIs(kMany));
}

TEST_F(Recovery, ALogWithoutItsFileThatDoesNotHoldEveryPageIsNotCalledWhole) {
  auto open = Open();
  open->Set("db/key", 1);
  Sql(DurableFile(), "PRAGMA wal_checkpoint(TRUNCATE)");
  open->Set("db/key", 2);
  Kill(std::move(open));
  std::filesystem::remove(DurableFile());
  Open();
  const Salvage salvage = ReadDamaged(SetAsideFiles(DurableFile()).front(), {});
  EXPECT_FALSE(salvage.isWhole);
  EXPECT_THAT(salvage.keys, ElementsAre(Pair("db/key", KeyValue(2))));
}

TEST_F(Recovery, AFileThatIsOpenElsewhereIsNotSetAside) {
  const auto store = Open();
  store->Set("db/key", 1);
  Flip(LogOf(DurableFile()), 8 * 5000);
  Open();
  EXPECT_THAT(SetAsideFiles(DurableFile()), IsEmpty());
}

}  // namespace
}  // namespace host
