// Makes the Nth open, write or flush of a store's files fail and looks at what becomes of its
// values. Prints how often each outcome occurred (docs/reliability.md).

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <functional>
#include <map>

#include "io_faults.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "store_state.h"
#include "support/temp_directory.h"

namespace host {
namespace {

using std::filesystem::path;

class Faults : public ::testing::Test {
 protected:
  Faults() {
    KeyStore store(StoreFiles{Template()}.StateDir(), StoreFiles{Template()}.RunDir());
    for (const char* key : {"db/a", "db/b", "memory/a", "memory/b"}) {
      store.Set(key, "before");
      m_Before[key].newest = KeyValue("before");
    }
    std::filesystem::copy(Template(), LogTemplate(), kOverwrite);
  }

  static constexpr auto kOverwrite =
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing;

  path Template() const { return m_Directory / "template"; }

  // The same after all its processes were killed: the log holds everything.
  path LogTemplate() const { return m_Directory / "killed"; }

  // Opens the store, writes, and closes it, as far as it can. Notes in `keys` what was
  // acknowledged. Returns whether something failed.
  static bool Use(const StoreFiles& files, ExpectedKeys& keys) {
    bool isReported = false;
    try {
      KeyStore store(files.StateDir(), files.RunDir());
      for (int round = 0; round < 8; ++round) {
        for (auto& [key, expected] : keys) {
          const KeyValue value = round % 3 == 1
                                     ? KeyValue(std::string(20'000, static_cast<char>('a' + round)))
                                     : KeyValue(round);
          try {
            store.Set(key, value);
            expected = {.newest = value, .attempted = std::nullopt};
          } catch (const std::exception&) {
            expected.attempted = value;
            isReported = true;
          }
        }
      }
    } catch (const std::exception&) {
      isReported = true;
    }
    return isReported;
  }

  StoreFiles Fresh() {
    const path root = m_Directory / "case";
    std::filesystem::remove_all(root);
    std::filesystem::copy(Template(), root, std::filesystem::copy_options::recursive);
    return {root};
  }

  support::TempDirectory m_Directory;
  ExpectedKeys m_Before;
};

TEST_F(Faults, ChangeNoValueWithoutAWordAndTheStoreOpensAfterwards) {
  const struct {
    const char* name;
    IoFault fault;
  } kinds[] = {
      {"open: EIO", {IoCall::kOpen, EIO, IoFault::kOnce}},
      {"open: EIO from then on", {IoCall::kOpen, EIO, IoFault::kFromThenOn}},
      {"open: ENOSPC", {IoCall::kOpen, ENOSPC, IoFault::kOnce}},
      {"write: EIO", {IoCall::kWrite, EIO, IoFault::kOnce}},
      {"write: ENOSPC", {IoCall::kWrite, ENOSPC, IoFault::kOnce}},
      {"write: ENOSPC from then on", {IoCall::kWrite, ENOSPC, IoFault::kFromThenOn}},
      {"write: half of it, then ENOSPC", {IoCall::kWrite, ENOSPC, IoFault::kHalf}},
      {"flush: EIO", {IoCall::kFlush, EIO, IoFault::kOnce}},
      {"flush: EIO from then on", {IoCall::kFlush, EIO, IoFault::kFromThenOn}},
      {"flush: ENOSPC", {IoCall::kFlush, ENOSPC, IoFault::kOnce}},
  };
  Outcomes outcomes;
  for (const auto& kind : kinds) {
    // Until nothing is left to fail.
    bool hasFailed = true;
    int nth = 1;
    for (; hasFailed && nth < 2000; nth += 1 + nth / 16) {
      const StoreFiles files = Fresh();
      ExpectedKeys keys = m_Before;
      const std::uintmax_t logBegin = LogSize();
      BeginIoFault(files.root, kind.fault, nth);
      const bool isReported = Use(files, keys);
      hasFailed = EndIoFault();
      const Fate fate = Judge(files, keys, logBegin, isReported);
      outcomes.Add(kind.name, fate);
      EXPECT_LT(fate, Fate::kNotOpened) << kind.name << ", number " << nth;
      // The device fails, not the files.
      for (const path& file : {files.Durable(), files.Memory()}) {
        EXPECT_TRUE(SetAsideFiles(file).empty()) << kind.name << ", number " << nth;
      }
    }
    EXPECT_GT(nth, 2) << kind.name << " never happened";
    EXPECT_FALSE(hasFailed) << kind.name;
  }
  outcomes.Print("fault");
  EXPECT_EQ(outcomes.Count(Fate::kSilent), 0);
  EXPECT_GT(outcomes.Count(Fate::kReported), 0);
}

TEST_F(Faults, AStartThatFailsOnAFullDiskLeavesTheFilesAsTheyWere) {
  const StoreFiles files{LogTemplate()};
  std::filesystem::resize_file(LogOf(files.Durable()),
                               std::filesystem::file_size(LogOf(files.Durable())) - 4120);
  const auto list = [&] {
    std::map<path, std::uintmax_t> found;
    for (const auto& entry : std::filesystem::directory_iterator(files.StateDir())) {
      found[entry.path()] = entry.file_size();
    }
    return found;
  };
  const auto before = list();
  for (int start = 1; start <= 7; ++start) {
    for (const int nth : {1, 2}) {
      BeginIoFault(files.root, {IoCall::kWrite, ENOSPC, IoFault::kFromThenOn}, nth);
      EXPECT_THROW(KeyStore(files.StateDir(), files.RunDir()), StoreError);
      EXPECT_TRUE(EndIoFault());
      EXPECT_EQ(list(), before);
    }
  }
}

// A log of which a part cannot be read, as on a bad sector.
TEST_F(Faults, OfALogThatCannotBeReadWhatPrecedesThatStays) {
  const StoreFiles files{LogTemplate()};
  const path log = LogOf(files.Durable());
  const std::uintmax_t end = std::filesystem::file_size(log) - 4120;
  const std::uintmax_t logBegin = LogSize();
  {
    const UnreadableBytes bad(log, end);
    KeyStore store(files.StateDir(), files.RunDir());
    EXPECT_EQ(store.Get("db/a"), KeyValue("before"));
  }
  EXPECT_EQ(SetAsideFiles(files.Durable()).size(), 1);
  EXPECT_NE(LogSince(logBegin).find("the newest changes are lost"), std::string::npos);
}

// Damaged files, and what their values are once they are mended.
TEST_F(Faults, OnAFileSystemWithoutTimesOfBirthABackupThatIsPutBackIsRead) {
  for (const bool hasEmptyLog : {false, true}) {
    SCOPED_TRACE(hasEmptyLog);
    const StoreFiles files = Fresh();
    const NumbersUsedAgain usedAgain(files.root);
    std::filesystem::copy_file(files.Durable(), files.root / "backup");
    KeyStore(files.StateDir(), files.RunDir()).Set("db/a", "after");
    std::filesystem::rename(files.Durable(), files.root / "old");
    std::filesystem::rename(files.root / "backup", files.Durable());
    if (hasEmptyLog) {
      std::ofstream(LogOf(files.Durable())).close();
    }
    const std::uintmax_t before = LogSize();
    EXPECT_EQ(KeyStore(files.StateDir(), files.RunDir()).Get("db/a"), KeyValue("before"));
    EXPECT_TRUE(SetAsideFiles(files.Durable()).empty());
    EXPECT_EQ(LogSince(before), "");
  }
}

TEST_F(Faults, WhileAStoreIsMendedLoseNothingMoreAndNothingWithoutAWord) {
  const auto harm = [](const path& file, int page = 3) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp((page - 1) * 4096 + 1000);
    stream << std::string(100, 'x');
  };
  const struct {
    const char* name;
    std::function<void(const StoreFiles&)> damage;
    bool isAllKept;
  } damages[] = {
      {"a copy",
       [&](const StoreFiles& files) {
         CopyKeyFile(files.Durable(), CopyOf(files.Durable()));
         harm(files.Durable());
       },
       true},
      {"a copy beside a log",
       [&](const StoreFiles& files) {
         const path later = m_Directory / "later";
         std::filesystem::remove_all(later);
         CopyKeyFile(files.Durable(), CopyOf(files.Durable()));
         {
           KeyStore store(files.StateDir(), files.RunDir());
           store.Set("db/a", "later");
           std::filesystem::copy(files.StateDir(), later);
         }
         std::filesystem::copy(later, files.StateDir(), kOverwrite);
         harm(files.Durable(), 1);
       },
       true},
      {"no copy", [&](const StoreFiles& files) { harm(files.Durable()); }, false},
      {"a bad copy",
       [&](const StoreFiles& files) {
         harm(files.Durable());
         std::filesystem::copy(files.Durable(), CopyOf(files.Durable()));
       },
       false},
      {"a log alone",
       [&](const StoreFiles& files) {
         std::filesystem::copy(LogTemplate(), files.root, kOverwrite);
         std::filesystem::remove(files.Durable());
       },
       true},
      {"a damaged log",
       [&](const StoreFiles& files) {
         std::filesystem::copy(LogTemplate(), files.root, kOverwrite);
         std::filesystem::resize_file(LogOf(files.Durable()),
                                      std::filesystem::file_size(LogOf(files.Durable())) - 4120);
       },
       false},
  };
  const struct {
    const char* name;
    IoFault fault;
  } kinds[] = {
      {"open: EIO", {IoCall::kOpen, EIO, IoFault::kOnce}},
      {"open: ENOSPC from then on", {IoCall::kOpen, ENOSPC, IoFault::kFromThenOn}},
      {"write: EIO", {IoCall::kWrite, EIO, IoFault::kOnce}},
      {"write: ENOSPC from then on", {IoCall::kWrite, ENOSPC, IoFault::kFromThenOn}},
      {"flush: EIO", {IoCall::kFlush, EIO, IoFault::kOnce}},
      {"flush: EIO from then on", {IoCall::kFlush, EIO, IoFault::kFromThenOn}},
      {"move: EIO", {IoCall::kMove, EIO, IoFault::kOnce}},
      {"move: ENOSPC from then on", {IoCall::kMove, ENOSPC, IoFault::kFromThenOn}},
  };
  Outcomes outcomes;
  for (const auto& [name, damage, isAllKept] : damages) {
    for (const auto& kind : kinds) {
      const std::string what = std::string(name) + ", " + kind.name;
      bool hasFailed = true;
      int nth = 1;
      for (; hasFailed && nth < 200; nth += 1 + nth / 16) {
        SCOPED_TRACE(what + ", number " + std::to_string(nth));
        const StoreFiles files = Fresh();
        damage(files);
        const std::uintmax_t logBegin = LogSize();
        BeginIoFault(files.root, kind.fault, nth);
        try {
          KeyStore(files.StateDir(), files.RunDir());
        } catch (const std::exception&) {
          // The next start succeeds.
        }
        hasFailed = EndIoFault();
        const Fate fate = Judge(files, m_Before, logBegin, false);
        outcomes.Add(what, fate);
        EXPECT_LE(fate, isAllKept ? Fate::kKept : Fate::kTold);
        EXPECT_GE(SetAsideFiles(files.Durable()).size(), 1);
      }
      EXPECT_FALSE(hasFailed) << what;
    }
  }
  outcomes.Print("fault in mending");
  EXPECT_GT(outcomes.Count(Fate::kTold), 0);
}

}  // namespace
}  // namespace host
