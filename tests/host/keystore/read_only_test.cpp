// A store whose file system is read-only can be read, from its copy if need be.

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "io_faults.h"
#include "keystore/sqlite.h"
#include "keystore/store_check.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "store_state.h"
#include "support/temp_directory.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::ThrowsMessage;

using std::filesystem::path;

class ReadOnly : public ::testing::Test {
 protected:
  ReadOnly() {
    KeyStore(m_Files.StateDir(), m_Files.RunDir()).Set("db/key", 31);
    CopyKeyFile(m_Files.Durable(), CopyOf(m_Files.Durable()));
    KeyStore(m_Files.StateDir(), m_Files.RunDir()).Set("db/key", 32);
  }

  void Overwrite(const path& file) const { std::ofstream(file) << std::string(8192, 'x'); }

  std::unique_ptr<KeyStore> Open() const {
    return std::make_unique<KeyStore>(m_Files.StateDir(), m_Files.RunDir());
  }

  void ExpectRefused(KeyStore& store) const {
    try {
      store.Set("db/key", 33);
      ADD_FAILURE() << "a read-only file was written";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.Error(), EROFS) << error.what();
    }
  }

  // Leaves the files of this store as if all its processes had been killed.
  void Kill(std::unique_ptr<KeyStore> store) const {
    const path kept = m_Files.root / "kept";
    std::filesystem::copy(m_Files.StateDir(), kept);
    store.reset();
    std::filesystem::remove_all(m_Files.StateDir());
    std::filesystem::rename(kept, m_Files.StateDir());
  }

  // Runs SQL as a program does that knows nothing of checks.
  static void Sql(const path& file, const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }

  support::TempDirectory m_Directory;
  const StoreFiles m_Files{m_Directory.Path()};
};

TEST_F(ReadOnly, AWholeFileIsRead) {
  const ReadOnlyFiles readOnly(m_Files.StateDir());
  const auto store = Open();
  EXPECT_EQ(store->Get("db/key"), KeyValue(32));
  ExpectRefused(*store);
  EXPECT_TRUE(store->Set("memory/key", 1));
}

TEST_F(ReadOnly, TheCopyOfAFileThatIsDamagedOrMissingIsReadWhereItIs) {
  const path file = m_Files.Durable();
  for (const std::function<void()>& harm :
       {std::function<void()>([&] { Overwrite(file); }),
        std::function<void()>([&] { std::filesystem::resize_file(file, 0); }),
        std::function<void()>([&] { std::filesystem::remove(file); })}) {
    harm();
    const std::uintmax_t before = LogSize();
    const ReadOnlyFiles readOnly(m_Files.StateDir());
    const auto store = Open();
    EXPECT_EQ(store->Get("db/key"), KeyValue(31));
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(31));
    ExpectRefused(*store);
    EXPECT_THAT(LogSince(before), AllOf(HasSubstr(" E "), HasSubstr(file.string() + " is "),
                                        HasSubstr(CopyOf(file).string() + " is read")));
    EXPECT_THAT(SetAsideFiles(file), IsEmpty());
  }
}

TEST_F(ReadOnly, WithoutAGoodCopyTheFailureNamesTheFileAndWhatToDo) {
  const path file = m_Files.Durable();
  Overwrite(file);
  Overwrite(CopyOf(file));
  for (const bool isEmpty : {false, true}) {
    SCOPED_TRACE(isEmpty);
    if (isEmpty) {
      std::filesystem::resize_file(CopyOf(file), 0);
    }
    const ReadOnlyFiles readOnly(m_Files.StateDir());
    EXPECT_THAT([&] { Open(); },
                ThrowsMessage<StoreError>(AllOf(HasSubstr(file.string() + " is not a database"),
                                                HasSubstr("read-only"), Not(HasSubstr("-wal")))));
  }
}

TEST_F(ReadOnly, WhatALogHasLostIsSaid) {
  const path file = m_Files.Durable();
  auto store = Open();
  for (int value = 33; value <= 60; ++value) {
    store->Set("db/key", value);
  }
  Kill(std::move(store));
  std::filesystem::resize_file(LogOf(file), 32 + 20 * 4120);
  const std::uintmax_t before = LogSize();
  const ReadOnlyFiles readOnly(m_Files.StateDir());
  const auto open = Open();
  const KeyValue value = open->Get("db/key").value();
  EXPECT_GT(std::get<int>(value), 33);
  EXPECT_LT(std::get<int>(value), 60);
  ExpectRefused(*open);
  EXPECT_THAT(LogSince(before), AllOf(HasSubstr(" E "), HasSubstr(file.string()),
                                      HasSubstr("the newest changes are lost")));
}

TEST_F(ReadOnly, ALogThatIsOlderThanItsFileIsNotRead) {
  const path file = m_Files.Durable();
  auto store = Open();
  for (int value = 33; value <= 60; ++value) {
    store->Set("db/key", value);
  }
  CopyKeyFile(file, CopyOf(file));
  store->Set("db/key", 61);
  Database(file).Execute("PRAGMA wal_checkpoint(PASSIVE)");
  Kill(std::move(store));
  std::filesystem::resize_file(LogOf(file), 32 + 20 * 4120);
  const std::uintmax_t before = LogSize();
  const ReadOnlyFiles readOnly(m_Files.StateDir());
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(60));
  EXPECT_THAT(LogSince(before), AllOf(HasSubstr(" E "), HasSubstr(file.string() + " has a damaged"),
                                      HasSubstr(CopyOf(file).string() + " is read")));
}

TEST_F(ReadOnly, AFileThatTookThePlaceOfAnotherIsReadWithoutThatOnesLog) {
  const path file = m_Files.Durable();
  for (const bool isLogEmpty : {true, false}) {
    SCOPED_TRACE(isLogEmpty);
    auto store = Open();
    store->Set("db/key", 40);
    Database(file).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    std::filesystem::copy_file(file, m_Files.root / "other");
    store->Set("db/text", std::string(20'000, 'x'));
    Database(file).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    if (!isLogEmpty) {
      store->Set("db/key", 41);
    }
    std::filesystem::rename(m_Files.root / "other", file);
    store.reset();
    ASSERT_EQ(std::filesystem::file_size(LogOf(file)) == 0, isLogEmpty);
    const std::string log = support::ReadFile(LogOf(file));
    {
      const ReadOnlyFiles readOnly(m_Files.StateDir());
      const auto opened = Open();
      EXPECT_EQ(opened->Get("db/key"), KeyValue(40));
      ExpectRefused(*opened);
      EXPECT_EQ(CheckStore(m_Files.StateDir(), m_Files.RunDir()).front().what,
                isLogEmpty ? "is whole" : "took the place of another one, whose log is beside it");
    }
    EXPECT_TRUE(support::ReadFile(LogOf(file)) == log);
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(40));
  }
}

TEST_F(ReadOnly, PagesThatAnotherProgramWroteAreRead) {
  const path file = m_Files.Durable();
  auto writer = Open();
  writer->Set("db/key", 34);
  Sql(file, "PRAGMA wal_checkpoint(TRUNCATE)");
  Kill(std::move(writer));
  const std::string before = support::ReadFile(file);
  {
    const ReadOnlyFiles readOnly(m_Files.StateDir());
    const auto store = Open();
    EXPECT_EQ(store->Get("db/key"), KeyValue(34));
    ExpectRefused(*store);
  }
  EXPECT_TRUE(support::ReadFile(file) == before);
}

TEST_F(ReadOnly, TheCopyIsReadWhenDamageShowsOnlyInOpening) {
  const path file = m_Files.Durable();
  const char* const changes[] = {"PRAGMA user_version = 4", "DROP TABLE keys"};
  for (const char* change : changes) {
    SCOPED_TRACE(change);
    {
      KeyStore store(m_Files.StateDir(), m_Files.RunDir());
      store.Set("db/key", 35);
      CopyKeyFile(file, CopyOf(file));
    }
    auto store = Open();
    Sql(file, change);
    Kill(std::move(store));
    const std::uintmax_t before = LogSize();
    {
      const ReadOnlyFiles readOnly(m_Files.StateDir());
      EXPECT_EQ(Open()->Get("db/key"), KeyValue(35));
    }
    EXPECT_THAT(LogSince(before),
                AllOf(HasSubstr(" E "), HasSubstr(file.string() + " cannot be used"),
                      HasSubstr(CopyOf(file).string() + " is read")));
    // Where it can be written it is mended.
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(35));
  }
}

}  // namespace
}  // namespace host
