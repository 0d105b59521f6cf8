#include "set/fresh_set.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "framework/set_preparation.h"
#include "keystore/store_keeper.h"
#include "set/keys.h"
#include "set/ports.h"
#include "set/set_value.h"
#include "set/speakers.h"
#include "set_test.h"
#include "source_api.h"
#include "support/interrupted_open.h"
#include "system/environment.h"
#include "system/file_descriptor.h"
#include "system/host.h"
#include "tv_service.h"

namespace host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;
using testing::ThrowsMessage;

// While one exists, this process can open so many more descriptors.
class DescriptorsLeft {
 public:
  explicit DescriptorsLeft(std::size_t count) {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &m_Before), 0);
    const rlimit limit{.rlim_cur = 256, .rlim_max = m_Before.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    while (m_Taken.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC))) {
    }
    EXPECT_GT(m_Taken.size(), count);
    m_Taken.resize(m_Taken.size() - 1 - count);
  }
  ~DescriptorsLeft() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &m_Before), 0); }
  DescriptorsLeft(const DescriptorsLeft&) = delete;
  DescriptorsLeft& operator=(const DescriptorsLeft&) = delete;

 private:
  rlimit m_Before{};
  std::vector<FileDescriptor> m_Taken;
};

TEST_F(HostSet, AFreshSetHasATunerTwoEmptyPortsAndNoGame) {
  PrepareFreshSet(Store(), SetLock(RunDir()));
  std::shared_ptr<std::multimap<int, CSourceItem>> list;
  ASSERT_EQ(CSourceAPI::Get()->GetSourceList(list), 0);
  std::map<int, std::string> names;
  for (const auto& [number, source] : *list) {
    EXPECT_EQ(number, source.sourceId);
    EXPECT_EQ(source.detectedName, "");
    names[number] = source.editName;
  }
  EXPECT_EQ(names, (std::map<int, std::string>{{0, "TV"}}));
  const std::vector<SetSource> ports = ReadSources(*Store().Get(kSourcesKey));
  ASSERT_THAT(ports, SizeIs(3));
  EXPECT_TRUE(ports[1].isEmpty);
  EXPECT_EQ(ports[1].editName, "HDMI 1");
  EXPECT_TRUE(ports[2].isEmpty);
  EXPECT_EQ(ports[2].editName, "HDMI 2");
  EXPECT_EQ(Store().Get(kCurrentSourceKey), KeyValue(0));
  EXPECT_EQ(Store().Get(kSourceTypeKey), KeyValue("tv"));
  EXPECT_EQ(Store().Get(kPowerKey), KeyValue(kPowerOn));
  EXPECT_EQ(Store().Get(kGameItemKey), KeyValue(0));
  EXPECT_EQ(Store().Get(kGameModeKey), KeyValue(0));
  EXPECT_EQ(Store().Get(kWindowKey), KeyValue("[0,0,1920,1080]"));
  EXPECT_EQ(Store().Get("memory/tv-viewer/viewer_state"), KeyValue(""));
  EXPECT_EQ(Store().Get("memory/tv-viewer/visible_banners"), KeyValue(""));
  EXPECT_EQ(Store().Get("db/sysman/rotation_state"), KeyValue(1));
  EXPECT_EQ(Store().Get("db/factory/factory_reset_count"), KeyValue(0));
}

TEST_F(HostSet, ItIsTheTunerThatAFreshSetShows) {
  PrepareFreshSet(Store(), SetLock(RunDir()));
  ISourceControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &control), 0);
  int state = -5;
  EXPECT_EQ(control->GetSourceState(&state), 0);
  EXPECT_EQ(state, 1);
  int source = -5;
  EXPECT_EQ(control->GetCurrentSource(&source), 1);
  EXPECT_EQ(source, 0);
  EXPECT_EQ(control->GetSourceBeforePreview(&source), 1);
  EXPECT_EQ(source, 0);
  TVServiceAPI::Destroy(control);
}

TEST_F(HostSet, WhatIsThereStaysWhenASetIsPrepared) {
  PrepareFreshSet(Store(), SetLock(RunDir()));
  std::vector<std::pair<std::string, KeyValue>> keys;
  for (const char* prefix : {"memory/", "db/"}) {
    for (const auto& [key, value] : Store().List(prefix)) {
      keys.emplace_back(key, KeyValue("mine"));
      Store().Set(key, "mine");
    }
  }
  EXPECT_THAT(keys, SizeIs(13));
  const std::int64_t newest = Store().NewestChange("memory/set");
  PrepareFreshSet(Store(), SetLock(RunDir()));
  for (const auto& [key, value] : keys) {
    EXPECT_EQ(Store().Get(key), value) << key;
  }
  EXPECT_EQ(Store().NewestChange("memory/set"), newest);
}

TEST_F(HostSet, IsPreparedThoughItsStoreCannotBeKept) {
  Store();
  {
    // Too few for a keeper, which waits for several things, and enough to write.
    const DescriptorsLeft three(3);
    EXPECT_THAT([] { PrepareSet(); }, ThrowsMessage<std::runtime_error>(
                                          HasSubstr("raise fs.inotify.max_user_instances")));
  }
  EXPECT_EQ(g_Host.storeKeeper.Find(), nullptr);
  for (const auto& [key, value] : FreshSet()) {
    EXPECT_EQ(Store().Get(key), value) << key;
  }
  PrepareSet();
  EXPECT_NE(g_Host.storeKeeper.Find(), nullptr);
  g_Host.storeKeeper.End();
}

TEST_F(HostSet, IsNotLockedToBePreparedWhenNothingIsMissing) {
  PrepareFreshSet(Store(), SetLock(RunDir()));
  {
    const SetLock operating(RunDir());
    EXPECT_NO_THROW(PrepareSet());
  }
  Store().Unset(kRotationKey);
  PrepareSet();
  EXPECT_EQ(Store().Get(kRotationKey), KeyValue(1));
  g_Host.storeKeeper.End();
}

TEST_F(HostSet, AnEmptyListOfSourcesIsAList) {
  Store().Set(kSourcesKey, "[]");
  PrepareFreshSet(Store(), SetLock(RunDir()));
  EXPECT_EQ(Store().Get(kSourcesKey), KeyValue("[]"));
}

TEST_F(HostSet, OneAtATimeHasTheLockOfASet) {
  std::atomic<int> count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        const SetLock lock(RunDir());
        EXPECT_EQ(Store().Get("memory/inside"), std::nullopt);
        Store().Set("memory/inside", 1);
        Store().Unset("memory/inside");
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, 200);
}

TEST_F(HostSet, IsNotWaitedForWithoutEndWhenOneKeepsItLocked) {
  const SetLock lock(RunDir());
  EXPECT_THAT(
      [] { const SetLock second(RunDir()); },
      ThrowsMessage<std::runtime_error>(AllOf(
          HasSubstr("set.lock"), HasSubstr("process " + std::to_string(::getpid()) + " has"))));
}

TEST_F(HostSet, IsLockedThoughASignalInterruptsTheOpeningOfTheLock) {
  InterruptNextOpen(RunDir() / "set.lock");
  const SetLock lock(RunDir());
  EXPECT_TRUE(WasOpenInterrupted());
}

TEST(Ports, AreFoundByNumberAndByNameInWhateverCase) {
  EXPECT_EQ(FindPort("hdmi1")->sourceId, 13);
  EXPECT_EQ(FindPort("HDMI4")->sourceId, 16);
  EXPECT_EQ(FindPort("Usb-C")->sourceId, 41);
  EXPECT_EQ(FindPort(33)->name, "displayport");
  EXPECT_EQ(FindPort(47)->name, "hdmi8");
  EXPECT_EQ(FindPort("hdmi"), nullptr);
  EXPECT_EQ(FindPort("hdmi11"), nullptr);
  EXPECT_EQ(FindPort(""), nullptr);
  EXPECT_EQ(FindPort(99), nullptr);
  EXPECT_EQ(SourceType(0), "tv");
  EXPECT_EQ(SourceType(38), "hdmi");
  EXPECT_EQ(SourceType(99), "av");
}

TEST(Speakers, HaveRoutesByTheirNames) {
  EXPECT_EQ(SpeakerRoute(""), 0);
  EXPECT_EQ(SpeakerRoute("tvspeaker"), 0);
  EXPECT_EQ(SpeakerRoute("bluetooth"), 3);
  EXPECT_EQ(SpeakerRoute("gramophone"), -1);
}

}  // namespace
}  // namespace host
