// Events that other processes cause, and what the service threads do when there are none.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <thread>

#include "device_power.h"
#include "ormu.h"
#include "set/keys.h"
#include "set_test.h"
#include "source_api.h"
#include "support/process.h"
#include "support/temp_directory.h"
#include "system/environment.h"
#include "tv_service.h"

namespace host {
namespace {

constexpr int kProcesses = 4;
constexpr int kWrites = 250;

// What each of several processes writes at once, in the order in which it happened.
class Writers {
 public:
  explicit Writers(KeyStore& store) : m_Watcher(store) {}

  // Has each process count the keys up.
  void Run(const std::vector<std::string>& keys) {
    std::vector<std::unique_ptr<support::Process>> processes;
    for (int i = 0; i < kProcesses; ++i) {
      std::vector<std::string> command = {KEY_STORE_WORKER, StateDir(), RunDir(), "count",
                                          std::to_string(kWrites)};
      command.insert(command.end(), keys.begin(), keys.end());
      processes.push_back(
          std::make_unique<support::Process>(command, support::Variables(), support::Files()));
    }
    for (const auto& process : processes) {
      EXPECT_EQ(process->Wait(), 0);
    }
  }

  std::vector<int> Written(const std::string& key) {
    for (std::vector<KeyChange> some = m_Watcher.TakeChanges(); !some.empty();
         some = m_Watcher.TakeChanges()) {
      for (const KeyChange& change : some) {
        if (change.value) {
          m_Written[change.key].push_back(std::get<int>(*change.value));
        }
      }
    }
    return m_Written[key];
  }

 private:
  KeyWatcher m_Watcher;
  std::map<std::string, std::vector<int>> m_Written;
};

TEST_F(HostSet, EventsOfSeveralProcessesComeInTheOrderOfTheirWrites) {
  const GameItems items;
  Writers writers(Store());
  writers.Run({kGameItemKey});
  ASSERT_TRUE(items.WaitForCount(kProcesses * kWrites));
  EXPECT_EQ(items.All(), writers.Written(kGameItemKey));
}

TEST_F(HostSet, TheStateBeforeAPowerChangeIsThatOfTheChangeBefore) {
  struct Powers {
    static void Call(_device_power_state_info* info, void* self) {
      static_cast<Powers*>(self)->previous.Take(info->previous_state);
      static_cast<Powers*>(self)->current.Take(info->current_state);
    }
    Numbers previous;
    Numbers current;
  } powers;
  Store().Set(kPowerKey, 77);
  ASSERT_EQ(device_power_subscribe_state_changed_event(Powers::Call, &powers), 0);
  Writers writers(Store());
  writers.Run({kPowerKey});
  EXPECT_TRUE(powers.current.WaitForCount(kProcesses * kWrites));
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(Powers::Call), 0);
  std::vector<int> written = writers.Written(kPowerKey);
  EXPECT_EQ(powers.current.All(), written);
  written.insert(written.begin(), 77);
  written.pop_back();
  EXPECT_EQ(powers.previous.All(), written);
}

int TakeSource(ESignalType, EProfile, unsigned short, TSSignalData data, void* numbers) {
  static_cast<Numbers*>(numbers)->Take(data.sourceId);
  return 0;
}

TEST_F(HostSet, ASignalTellsTheSourceOfItsTimeHoweverLateItIsDelivered) {
  Numbers sources;
  ISignalSubscriber* subscriber = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(TakeSource, &subscriber), 0);
  ASSERT_EQ(subscriber->Subscribe(SIGNAL_SOURCE_INFO_CHANGE, &sources, PROFILE_MAIN), 0);
  std::vector<int> shown;
  for (int source = 1; source <= 1000; ++source) {
    Store().Set(kCurrentSourceKey, source);
    Store().Set(kSignalKey, 128);
    shown.push_back(source);
  }
  EXPECT_TRUE(sources.WaitForCount(shown.size()));
  TVServiceAPI::Destroy(subscriber);
  EXPECT_EQ(sources.All(), shown);
}

// How often the threads of the services slept and woke, by their numbers.
std::map<std::string, std::string> SwitchesOfServiceThreads() {
  std::map<std::string, std::string> switches;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    const std::string status = support::ReadFile(task.path() / "status");
    if (status.find("Name:\tset-") == 0) {
      switches[task.path().filename()] = status.substr(status.find("voluntary_ctxt_switches"));
    }
  }
  return switches;
}

TEST_F(HostSet, ServiceThreadsSleepUntilSomethingHappens) {
  struct Nothing {
    static void Source(int, void*) {}
    static void Power(_device_power_state_info*, void*) {}
    static int Signal(ESignalType, EProfile, unsigned short, TSSignalData, void*) { return 0; }
  };
  const GameItems items;
  ISignalSubscriber* subscriber = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(Nothing::Signal, &subscriber), 0);
  ASSERT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, nullptr, PROFILE_MAIN), 0);
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(Nothing::Source, nullptr), 0);
  ASSERT_EQ(device_power_subscribe_state_changed_event(Nothing::Power, nullptr), 0);
  Store().Set(kGameItemKey, 1);
  ASSERT_TRUE(items.WaitForCount(1));
  // What the threads do about the last write may still go on.
  std::map<std::string, std::string> before;
  std::map<std::string, std::string> after = SwitchesOfServiceThreads();
  EXPECT_TRUE(support::WaitUntil([&] {
    before = std::exchange(after, {});
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    after = SwitchesOfServiceThreads();
    return before == after;
  }));
  EXPECT_EQ(after.size(), 5U);
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(Nothing::Power), 0);
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(nullptr), 0);
  TVServiceAPI::Destroy(subscriber);
}

}  // namespace
}  // namespace host
