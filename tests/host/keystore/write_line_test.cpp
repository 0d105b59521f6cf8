// Writers wait for those who came before; readers wait for nobody.

#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "key_store_fixture.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// The state of a process, as ps prints it: 'T' when stopped, 'S' when sleeping.
char StateOf(const support::Process& process) {
  const std::string stat = support::ReadFile("/proc/" + std::to_string(process.Pid()) + "/stat");
  const auto name = stat.rfind(')');
  return name == std::string::npos ? '?' : stat.at(name + 2);
}

// Whether this process has the file open.
bool IsOpenHere(const std::filesystem::path& file) {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::any_of(begin(files), end(files), [&](const auto& each) {
    std::error_code ignored;
    return std::filesystem::read_symlink(each, ignored) == file;
  });
}

class WriteLineTest : public KeyStoreTest {
 protected:
  // A stopped worker that holds the durable file.
  Worker StartStuck() {
    Worker worker = Start({"stuck", "count", "1", "db/stuck"});
    EXPECT_TRUE(support::WaitUntil([&] { return StateOf(*worker.process) == 'T'; }));
    return worker;
  }

  // So many writes that none of them can have waited a second.
  static void ExpectPromptWrites(KeyStore& store) {
    const auto begin = std::chrono::steady_clock::now();
    for (int value = 1; value <= 30; ++value) {
      EXPECT_TRUE(store.Set("db/key", value));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  }

  // Begins a transaction as any SQLite program can; the destructor ends it.
  class Foreigner {
   public:
    explicit Foreigner(const std::filesystem::path& file) {
      EXPECT_EQ(sqlite3_open(file.c_str(), &m_Database), SQLITE_OK);
      EXPECT_EQ(sqlite3_exec(m_Database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~Foreigner() { sqlite3_close(m_Database); }
    Foreigner(const Foreigner&) = delete;
    Foreigner& operator=(const Foreigner&) = delete;

   private:
    sqlite3* m_Database = nullptr;
  };

  static std::string NameOf(const support::Process& process) {
    return "process " + std::to_string(process.Pid()) + " ";
  }
};

TEST_F(WriteLineTest, ProcessesThatWriteToASlowDiskTakeTurns) {
  constexpr std::size_t kWriters = 4;
  const auto store = Open();
  const auto writesOf = [&](std::size_t writer) {
    return Integer(*store, "db/" + std::to_string(writer));
  };
  std::vector<Worker> writers;
  for (std::size_t i = 0; i < kWriters; ++i) {
    writers.push_back(Start({"slowly", "3000", "hurry", "300", "db/" + std::to_string(i)}));
  }
  for (std::size_t i = 0; i < kWriters; ++i) {
    ASSERT_TRUE(support::WaitUntil([&] { return writesOf(i) > 0; }));
  }
  // From here on all of them write.
  std::array<int, kWriters> before{};
  for (std::size_t i = 0; i < kWriters; ++i) {
    before[i] = writesOf(i);
  }
  ASSERT_TRUE(support::WaitUntil([&] { return writesOf(0) >= before[0] + 100; }));
  for (std::size_t i = 1; i < kWriters; ++i) {
    EXPECT_NEAR(writesOf(i) - before[i], 100, 20) << i;
  }
  for (std::size_t i = 0; i < kWriters; ++i) {
    EXPECT_EQ(writers[i]->Wait(), 0) << support::ReadFile(writers[i].err);
    EXPECT_EQ(writesOf(i), 300);
  }
}

TEST_F(WriteLineTest, FourWriteBesideAProcessThatFlushesWithoutAPause) {
  const auto store = Open();
  Worker flushing = Start({"flush", StateDir() / "blocks"});
  ASSERT_TRUE(flushing.IsReady());
  std::vector<Worker> writers;
  for (int i = 0; i < 4; ++i) {
    writers.push_back(Start({"hurry", "100", "db/" + std::to_string(i)}));
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(writers[i]->Wait(), 0) << support::ReadFile(writers[i].err);
    EXPECT_EQ(Integer(*store, "db/" + std::to_string(i)), 100);
  }
  EXPECT_TRUE(support::ReadFile(flushing.err).empty());
}

TEST_F(WriteLineTest, ThreadsOfAProcessTakeTurns) {
  const auto store = Open();
  std::array<std::atomic<int>, 3> writes{};
  std::atomic<bool> isEnd = false;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < writes.size(); ++i) {
    threads.emplace_back([&, i] {
      while (!isEnd) {
        store->Set("db/" + std::to_string(i), writes[i]);
        ++writes[i];
      }
    });
  }
  const auto slowest = [&] {
    return std::min({writes[0].load(), writes[1].load(), writes[2].load()});
  };
  EXPECT_TRUE(support::WaitUntil([&] { return slowest() > 0; }));
  const std::array<int, 3> before{writes[0], writes[1], writes[2]};
  EXPECT_TRUE(support::WaitUntil([&] { return slowest() >= before[0] + 100; }));
  const int newest = std::max({writes[0].load(), writes[1].load(), writes[2].load()});
  EXPECT_LE(newest - slowest(), 100);
  isEnd = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(WriteLineTest, AWriteFailsWhenOneProcessHoldsTheFileForFiveSecondsAndNamesIt) {
  const auto store = Open();
  Worker stuck = StartStuck();
  EXPECT_THAT([&] { store->Set("db/key", 1); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(DurableFile().string()), HasSubstr(NameOf(*stuck.process)))));
  EXPECT_EQ(store->Get("db/key"), std::nullopt);
  EXPECT_TRUE(store->Set("memory/key", 1));
  stuck->Signal(SIGCONT);
  EXPECT_TRUE(store->Set("db/key", 2));
  EXPECT_EQ(stuck->Wait(), 0) << support::ReadFile(stuck.err);
  EXPECT_EQ(store->Get("db/stuck"), KeyValue(1));
}

TEST_F(WriteLineTest, AWriteGoesOnAtOnceWhenTheProcessThatHoldsTheFileIsKilled) {
  const auto store = Open();
  Worker stuck = StartStuck();
  bool isSet = false;
  std::thread writer([&] { isSet = store->Set("db/key", 1); });
  stuck->Signal(SIGKILL);
  writer.join();
  EXPECT_TRUE(isSet);
  EXPECT_EQ(store->Get("db/stuck"), std::nullopt);
}

TEST_F(WriteLineTest, AProcessThatIsStoppedWhileItWaitsKeepsNobodyWaiting) {
  const auto store = Open();
  store->Set("db/key", 0);
  Worker holder = StartStuck();
  Worker waiting = Start({"count", "1", "db/waiting"});
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*waiting.process) == 'S'; }));
  waiting->Signal(SIGSTOP);
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*waiting.process) == 'T'; }));
  Worker behind = Start({"count", "1", "db/behind"});
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*behind.process) == 'S'; }));
  holder->Signal(SIGCONT);
  EXPECT_EQ(holder->Wait(), 0) << support::ReadFile(holder.err);
  EXPECT_EQ(behind->Wait(), 0) << support::ReadFile(behind.err);
  ExpectPromptWrites(*store);
  EXPECT_EQ(store->Get("db/waiting"), std::nullopt);
  waiting->Signal(SIGCONT);
  EXPECT_EQ(waiting->Wait(), 0) << support::ReadFile(waiting.err);
  EXPECT_EQ(store->Get("db/waiting"), KeyValue(1));
}

TEST_F(WriteLineTest, AProcessThatIsStoppedWhenItsTurnComesKeepsNobodyWaiting) {
  const auto store = Open();
  store->Set("db/key", 0);
  Worker absent = Start({"absent", "count", "1", "db/absent"});
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*absent.process) == 'T'; }));
  ExpectPromptWrites(*store);
  EXPECT_EQ(store->Get("db/absent"), std::nullopt);
  absent->Signal(SIGCONT);
  EXPECT_EQ(absent->Wait(), 0) << support::ReadFile(absent.err);
  EXPECT_EQ(store->Get("db/absent"), KeyValue(1));
  ExpectPromptWrites(*store);
}

TEST_F(WriteLineTest, AProcessThatIsStoppedWhenItInheritsTheTurnOfAKilledOneKeepsNobodyWaiting) {
  const auto store = Open();
  store->Set("db/key", 0);
  Worker holder = StartStuck();
  Worker absent = Start({"absent", "count", "1", "db/absent"});
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*absent.process) == 'S'; }));
  holder->Signal(SIGKILL);
  EXPECT_EQ(holder->Wait(), 128 + SIGKILL);
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*absent.process) == 'T'; }));
  ExpectPromptWrites(*store);
  EXPECT_EQ(store->Get("db/absent"), std::nullopt);
  absent->Signal(SIGCONT);
  EXPECT_EQ(absent->Wait(), 0) << support::ReadFile(absent.err);
  EXPECT_EQ(store->Get("db/absent"), KeyValue(1));
  ExpectPromptWrites(*store);
}

TEST_F(WriteLineTest, OpeningFailsWhenOneProcessIsStoppedWhileItOpensTheStoreAndNamesIt) {
  Open();
  std::filesystem::remove(DurableFile());
  Worker opening = Start({"opening", "count", "1", "db/key"});
  ASSERT_TRUE(support::WaitUntil([&] { return StateOf(*opening.process) == 'T'; }));
  EXPECT_THAT([&] { Open(); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(RunDir().string()), HasSubstr(NameOf(*opening.process)))));
  opening->Signal(SIGCONT);
  EXPECT_EQ(opening->Wait(), 0) << support::ReadFile(opening.err);
  EXPECT_EQ(Open()->Get("db/key"), KeyValue(1));
}

TEST_F(WriteLineTest, AWriteNamesAForeignProgramThatHoldsTheFile) {
  const auto store = Open();
  const Foreigner foreigner(MemoryFile());
  EXPECT_THAT([&] { store->Set("memory/key", 1); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(MemoryFile().string()),
                        HasSubstr("process " + std::to_string(::getpid()) + " "))));
}

TEST_F(WriteLineTest, ReadingDoesNotWaitForAStoppedProcessThatWrites) {
  const auto store = Open();
  store->Set("db/key", 1);
  Worker stuck = StartStuck();
  EXPECT_EQ(store->Get("db/key"), KeyValue(1));
  EXPECT_EQ(store->List("db/").size(), 1u);
  EXPECT_EQ(store->NewestChange("db/key"), 1);
  EXPECT_EQ(KeyWatcher(*store).TakeChanges().size(), 0u);
  const auto other = Open();
  EXPECT_EQ(other->Get("db/key"), KeyValue(1));
  EXPECT_EQ(StateOf(*stuck.process), 'T');
}

TEST_F(WriteLineTest, ReadingDoesNotWaitForAThreadOfTheSameProcessThatWrites) {
  const auto store = Open();
  store->Set("memory/key", 1);
  KeyWatcher watcher(*store);
  const Foreigner foreigner(MemoryFile());
  std::atomic<bool> isEnd = false;
  std::thread writer([&] {
    EXPECT_THROW(store->Set("memory/key", 2), std::runtime_error);
    isEnd = true;
  });
  // It has this file open while it writes.
  ASSERT_TRUE(support::WaitUntil([&] { return IsOpenHere(RunDir() / "changed"); }));
  // The writer waits five seconds. That all of these fit into that time shows that none waits with
  // it.
  int readings = 0;
  while (!isEnd) {
    EXPECT_EQ(store->Get("memory/key"), KeyValue(1));
    EXPECT_EQ(store->List("memory/").size(), 1u);
    EXPECT_EQ(store->NewestChange("memory/key"), 1);
    EXPECT_TRUE(watcher.TakeChanges().empty());
    ++readings;
  }
  writer.join();
  EXPECT_GE(readings, 100);
}

}  // namespace
}  // namespace host
