#include <gmock/gmock.h>

#include "key_store_fixture.h"

namespace host {
namespace {

using ::testing::ElementsAre;

class KeyStoreProcesses : public KeyStoreTest {
 protected:
  // What "count" with both keys writes, in order.
  static std::vector<std::string> CountedTogether(const std::string& first,
                                                  const std::string& second, int last) {
    std::vector<std::string> texts;
    for (int value = 1; value <= last; ++value) {
      texts.push_back(first + " " + std::to_string(value));
      texts.push_back(second + " " + std::to_string(value));
    }
    return texts;
  }
};

TEST_F(KeyStoreProcesses, OneSeesWhatAnotherWrote) {
  const auto store = Open();
  KeyWatcher watcher(*store);
  auto writer = Start({"count", "3", "db/a", "memory/a"});
  EXPECT_EQ(writer->Wait(), 0);
  EXPECT_EQ(store->Get("db/a"), KeyValue(3));
  EXPECT_EQ(store->Get("memory/a"), KeyValue(3));
  EXPECT_EQ(Start({"remove", "db/a"})->Wait(), 0);
  EXPECT_EQ(store->Get("db/a"), std::nullopt);
  EXPECT_THAT(ToTexts(TakeAnnounced(watcher)),
              ElementsAre("db/a 1", "memory/a 1", "db/a 2", "memory/a 2", "db/a 3", "memory/a 3",
                          "db/a removed"));
}

TEST_F(KeyStoreProcesses, OneIsWokenByTheWritesOfAnother) {
  auto watcher = Start({"watch", "memory/end"});
  ASSERT_TRUE(watcher.IsReady());
  const auto store = Open();
  store->Set("db/a", "text");
  EXPECT_TRUE(support::WaitUntil([&] { return watcher.Said().size() == 2; }));
  store->Set("memory/end", 1);
  EXPECT_EQ(watcher->Wait(), 0);
  EXPECT_THAT(watcher.Said(), ElementsAre("ready", "db/a text", "memory/end 1"));
}

TEST_F(KeyStoreProcesses, FourWriteAtOnceAndAllWatchersSeeEachOnesChangesOnceInOrder) {
  constexpr int kWriters = 4;
  constexpr int kLast = 250;
  const auto store = Open();
  KeyWatcher watcher(*store);
  std::vector<Worker> watchers;
  for (int i = 0; i < 2; ++i) {
    watchers.push_back(Start({"watch", "memory/end"}));
    ASSERT_TRUE(watchers.back().IsReady());
  }
  std::vector<Worker> writers;
  for (int i = 0; i < kWriters; ++i) {
    const std::string name = "writer" + std::to_string(i);
    writers.push_back(
        Start({"count", std::to_string(kLast), "db/" + name + "/n", "memory/" + name + "/n"}));
  }
  std::vector<std::string> seen;
  const auto take = [&] {
    const auto texts = ToTexts(TakeAnnounced(watcher));
    seen.insert(seen.end(), texts.begin(), texts.end());
  };
  for (Worker& writer : writers) {
    EXPECT_TRUE(support::WaitUntil([&] {
      take();
      return !writer->Running();
    }));
    EXPECT_EQ(writer->Wait(), 0) << support::ReadFile(writer.err);
  }
  store->Set("memory/end", 1);
  take();

  std::vector<std::vector<std::string>> views{seen};
  for (Worker& each : watchers) {
    EXPECT_EQ(each->Wait(), 0);
    views.push_back(each.Said());
  }
  for (const auto& view : views) {
    for (int i = 0; i < kWriters; ++i) {
      const std::string name = "writer" + std::to_string(i) + "/n";
      std::vector<std::string> own;
      for (const std::string& line : view) {
        if (line.find(name) != std::string::npos) {
          own.push_back(line);
        }
      }
      EXPECT_EQ(own, CountedTogether("db/" + name, "memory/" + name, kLast));
    }
  }
}

TEST_F(KeyStoreProcesses, ManyMayMakeTheStoreAtOnce) {
  for (int round = 0; round < 5; ++round) {
    std::filesystem::remove_all(StateDir());
    std::filesystem::remove_all(RunDir());
    std::vector<Worker> workers;
    for (int i = 0; i < 6; ++i) {
      const std::string name = std::to_string(i);
      workers.push_back(Start({"count", "1", "db/" + name, "memory/" + name}));
    }
    for (Worker& worker : workers) {
      EXPECT_EQ(worker->Wait(), 0) << support::ReadFile(worker.err);
    }
    EXPECT_EQ(Open()->List("").size(), 12u);
  }
}

}  // namespace
}  // namespace host
