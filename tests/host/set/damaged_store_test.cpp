#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "device_power.h"
#include "keystore/key_store.h"
#include "keystore/process_store.h"
#include "ormu.h"
#include "source_api.h"
#include "support/temp_directory.h"
#include "system/environment.h"
#include "system/log.h"
#include "tv_service.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A store is damaged for as long as its set runs, and its services are asked often.
TEST(DamagedStore, FailsEveryQuestionToTheSetAndEachDamageIsLoggedOnce) {
  host::ProcessStore();
  // It cannot have read yet what is damaged.
  host::KeyStore(host::StateDir(), host::RunDir()).Set("memory/key", 1);
  host::KeyStore(host::StateDir(), host::RunDir()).Set("db/key", 1);
  const std::filesystem::path durable = host::StateDir() / "keys.db";
  const std::filesystem::path transient = host::RunDir() / "keys.db";
  for (const std::filesystem::path& file : {durable, transient}) {
    std::filesystem::resize_file(file, 0);
    std::filesystem::resize_file(file.string() + "-wal", 0);
  }

  ISourceControl* sources = nullptr;
  IVideoControl* video = nullptr;
  ISignalSubscriber* signals = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &sources), 0);
  ASSERT_EQ(TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &video), 0);
  const auto onSignal = [](ESignalType, EProfile, unsigned short, TSSignalData, void*) {
    return 0;
  };
  ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(onSignal, &signals), 0);
  const auto onPower = [](_device_power_state_info*, void*) {};
  const auto onOutput = [](void*, int, void*) {};
  const auto onSources = [](int, void*) {};
  for (int round = 0; round < 3; ++round) {
    int number = -5;
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    EXPECT_LT(sources->GetSourceState(&number), 0);
    EXPECT_LT(sources->GetCurrentSource(&number), 1);
    EXPECT_LT(sources->GetSourceBeforePreview(&number), 1);
    EXPECT_NE(video->GetVideoWindow(number, number, number, number), 0);
    EXPECT_NE(ormu_get_game_mode(0, 1, &number), 0);
    EXPECT_NE(ormu_get_real_game_mode(1, &number), 0);
    EXPECT_NE(CSourceAPI::Get()->GetSourceList(list), 0);
    EXPECT_NE(CSourceAPI::Get()->RegisterSourceAPICallback(onSources, &number), 0);
    EXPECT_NE(CSourceAPI::Get()->UnregisterSourceAPICallback(&number), 0);
    EXPECT_EQ(ormu_register_callback_id("game-mode-changed", onOutput, nullptr), 0);
    EXPECT_NE(ormu_unregister_callback_id(1), 0);
    EXPECT_NE(device_power_subscribe_state_changed_event(onPower, nullptr), 0);
    EXPECT_NE(device_power_unsubscribe_state_changed_event(onPower), 0);
    EXPECT_NE(signals->Subscribe(SIGNAL_EXT_SOURCE_UNPLUG, nullptr, PROFILE_MAIN), 0);
    EXPECT_NE(signals->Unsubscribe(SIGNAL_EXT_SOURCE_UNPLUG, PROFILE_MAIN, onSignal), 0);
    EXPECT_EQ(number, -5);
    EXPECT_EQ(list, nullptr);
  }
  TVServiceAPI::Destroy(sources);
  TVServiceAPI::Destroy(video);
  TVServiceAPI::Destroy(signals);

  ASSERT_TRUE(host::FlushLog(std::chrono::seconds(10)));
  std::vector<std::string> lines;
  std::istringstream log(support::ReadFile(host::GetEnvironment().root / "log"));
  for (std::string line; std::getline(log, line);) {
    lines.push_back(line);
  }
  EXPECT_THAT(lines,
              ElementsAre(HasSubstr("GetSourceState: key file " + transient.string()),
                          HasSubstr("RegisterSourceAPICallback: key file " + durable.string())));
}

}  // namespace
