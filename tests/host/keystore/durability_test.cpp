// Whether a write is on disk when it returns cannot be seen from a process that lives on, so these
// tests look at what puts it there: the calls that flush a file. The program's own definitions take
// precedence over the C library's, also for SQLite.

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include "key_store_fixture.h"

namespace {

// How often each file was flushed, by path. Any thread may flush.
struct FlushCounts {
  std::mutex mutex;
  std::map<std::string, int> byFile;
};

FlushCounts& Counts() {
  static auto* const counts = new FlushCounts();
  return *counts;
}

std::map<std::string, int> Flushes() {
  const std::lock_guard lock(Counts().mutex);
  return Counts().byFile;
}

void ForgetFlushes() {
  const std::lock_guard lock(Counts().mutex);
  Counts().byFile.clear();
}

void CountFlush(int fd) {
  const std::string file = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
  const std::lock_guard lock(Counts().mutex);
  ++Counts().byFile[file];
}

}  // namespace

extern "C" int fsync(int fd) {
  CountFlush(fd);
  return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int fdatasync(int fd) {
  CountFlush(fd);
  return static_cast<int>(syscall(SYS_fdatasync, fd));
}

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class KeyStoreDurability : public KeyStoreTest {
 protected:
  std::string Log(const std::filesystem::path& file) const { return file.string() + "-wal"; }
};

TEST_F(KeyStoreDurability, ADurableWriteIsFlushedOnceBeforeItReturns) {
  const auto store = Open();
  store->Set("db/key", 0);
  for (int value = 1; value <= 10; ++value) {
    ForgetFlushes();
    store->Set("db/key", value);
    EXPECT_THAT(Flushes(), ElementsAre(Pair(Log(DurableFile()), 1)));
  }
  ForgetFlushes();
  store->Unset("db/key");
  EXPECT_THAT(Flushes(), ElementsAre(Pair(Log(DurableFile()), 1)));
}

TEST_F(KeyStoreDurability, AWriteToMemoryIsNeverFlushed) {
  const auto store = Open();
  ForgetFlushes();
  for (int value = 1; value <= 2000; ++value) {
    store->Set("memory/key", value);
  }
  EXPECT_THAT(Flushes(), IsEmpty());
}

TEST_F(KeyStoreDurability, ReadingFlushesNothing) {
  const auto store = Open();
  store->Set("db/key", 1);
  ForgetFlushes();
  store->Get("db/key");
  store->List("");
  KeyWatcher(*store).TakeChanges();
  EXPECT_THAT(Flushes(), IsEmpty());
}

TEST_F(KeyStoreDurability, AWriteTouchesTwoPages) {
  constexpr std::uintmax_t kFrame = 24 + 4096;
  const auto store = Open();
  store->Set("db/key", 0);
  for (int value = 1; value <= 10; ++value) {
    const auto before = std::filesystem::file_size(Log(DurableFile()));
    store->Set("db/key", value);
    EXPECT_EQ(std::filesystem::file_size(Log(DurableFile())) - before, 2 * kFrame);
  }
}

TEST_F(KeyStoreDurability, NewDirectoriesAreOnDiskBeforeTheyAreUsed) {
  ForgetFlushes();
  const KeyStore store(StateDir() / "below", RunDir());
  EXPECT_EQ(Flushes().count(StateDir().parent_path()), 1);
  EXPECT_EQ(Flushes().count(StateDir()), 1);
}

TEST_F(KeyStoreDurability, BothFilesAreInWriteAheadMode) {
  Open();
  EXPECT_EQ(Sql(DurableFile(), "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(Sql(MemoryFile(), "PRAGMA journal_mode"), "wal");
}

}  // namespace
}  // namespace host
