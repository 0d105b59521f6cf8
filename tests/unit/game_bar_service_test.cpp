#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "SettingsService.h"
#include "game_bar_test.h"
#include "gamebar/GameBarService.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/GameModeDataManager.h"
#include "gamebar/SourceDataManager.h"

namespace {

constexpr char kSupport[] = "com.velmora/featureconf/game_bar.support";

const std::string kModeConstructed = R"(
  E GameModeDataManager CGameModeDataManager | [GameBarService] CGameModeDataManager constructor!!\n
)";
const std::string kSourceConstructed = R"(
  E SourceDataManager CSourceDataManager | [GameBarService] CSourceDataManager constructor!!\n
)";
const std::string kServiceConstructed = R"(
  E GameBarService CGameBarService | [GameBarService] CGameBarService constructor!!\n
)";
const std::string kServiceDestroyed = R"(
  E GameBarService ~CGameBarService | [GameBarService] CGameBarService destructor!!\n
)";

class GameBarAssembly : public GameBarTest {
 protected:
  GameBarAssembly() {
    fake.Name(reinterpret_cast<const void*>(CGameModeDataManager::OnERBrightnessChanged),
              "OnERBrightnessChanged");
    fake.Name(reinterpret_cast<const void*>(GameBarVAPManager::OnVAPDataChanged),
              "OnVAPDataChanged");
    fake.Name(reinterpret_cast<const void*>(GameBarVAPManager::OnRotateChanged), "OnRotateChanged");
    fake.SetKey(kAimStore, "[]");
  }

  // What Init leaves, nothing being there before it. `launch` is what the sources leave at last.
  static std::string InitTrace(int gameItem = 0, const std::string& launch = "") {
    return R"(
      E GameBarService Init | [GameBarService] Init!!\n
    )" + std::string(kModeConstructed) +
           "ormu_get_game_mode(0, 1) -> 0: " + std::to_string(gameItem) + R"(
      ormu_register_callback_id("game-item-changed", callback1, object1) -> 1
      ormu_register_callback_id("game-mode-changed", callback2, object1) -> 2
      vconf_notify_key_changed("memory/gamebar/launch_by_erbrightness", OnERBrightnessChanged, object1) -> 0
    )" + kSourceConstructed +
           R"(
      CSourceAPI::RegisterSourceAPICallback(callback3, object2) -> 0
      ormu_register_callback_id("picture-setting-period", callback4, object2) -> 3
      device_power_subscribe_state_changed_event(callback5, object2) -> 0
      TVServiceAPI::CreateSignalSubscriber(callback6) -> 0: subscriber
      ISignalSubscriber::Subscribe(25, object2, 1) -> 0
      ISignalSubscriber::Subscribe(26, object2, 1) -> 0
      ISignalSubscriber::Subscribe(27, object2, 1) -> 0
      ISignalSubscriber::Subscribe(28, object2, 1) -> 0
      ISignalSubscriber::Subscribe(29, object2, 1) -> 0
      ISignalSubscriber::Subscribe(30, object2, 1) -> 0
      ISignalSubscriber::Subscribe(128, object2, 1) -> 0
    )" + SourceListTrace() +
           RefreshTrace(gameItem) + R"(
      TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
      ISourceControl::GetSourceBeforePreview() -> 1: 13
      TVServiceAPI::Destroy(sourceControl)
    )" + launch +
           CreateVAPTrace() + R"(
      vconf_get_str("db/menu/virtualaim/position") -> "[]"
      E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [[]]\n
      I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[]\n
      vconf_notify_key_changed("db/menu/virtualaim/position", OnVAPDataChanged, null) -> 0
      vconf_notify_key_changed("db/sysman/rotation_state", OnRotateChanged, null) -> 0
    )" + RealGameModeTrace(0);
  }

  static std::string DestoryTrace() {
    return R"(
      E GameBarService Destory | [GameBarService] Destory!!\n
      E GameModeDataManager Destory | [GameBarService] GameModeDataManager Destory\n
      ormu_unregister_callback_id(1) -> 0
      ormu_unregister_callback_id(2) -> 0
      vconf_ignore_key_changed("memory/gamebar/launch_by_erbrightness", OnERBrightnessChanged) -> 0
      E GameModeDataManager ~CGameModeDataManager | [GameBarService] CGameModeDataManager destructor!!\n
      ISignalSubscriber::Unsubscribe(25, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(26, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(27, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(28, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(29, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(30, 1, callback6) -> 0
      ISignalSubscriber::Unsubscribe(128, 1, callback6) -> 0
      CSourceAPI::UnregisterSourceAPICallback(object2) -> 0
      ormu_unregister_callback_id(3) -> 0
      device_power_unsubscribe_state_changed_event(callback5) -> 0
      E SourceDataManager ~CSourceDataManager | [GameBarService] CSourceDataManager destructor!!\n
    )";
  }

  inline static const std::string kVAPReleased = R"(
    vconf_ignore_key_changed("db/menu/virtualaim/position", OnVAPDataChanged) -> 0
    vconf_ignore_key_changed("db/sysman/rotation_state", OnRotateChanged) -> 0
    E GameBarVAPManager ~GameBarVAPManager | [GameBarService] GameBarVAPManager destructor!!\n
  )";

  // Initialised, with the trace of it gone.
  CGameBarService& Initialised() {
    CGameBarService& service = *CGameBarService::GetInstance();
    service.Init();
    fake.TakeTrace();
    return service;
  }
};

TEST_F(GameBarAssembly, IsOne) {
  CGameBarService* const service = CGameBarService::GetInstance();
  ExpectTrace(kServiceConstructed);
  EXPECT_EQ(CGameBarService::GetInstance(), service);
  ExpectTrace("");
}

TEST_F(GameBarAssembly, BringsUpTheGameModeTheSourcesAndTheAimPointInThisOrder) {
  CGameBarService::GetInstance()->Init();
  ExpectTrace(kServiceConstructed + InitTrace());
}

TEST_F(GameBarAssembly, MayLaunchTheGameBarAtOnce) {
  fake.SetGameModes({.item = 1});
  CGameBarService::GetInstance()->Init();
  ExpectTrace(kServiceConstructed + InitTrace(1, R"(
    E SourceDataManager InitData | [GameBarService] Launch gamebar due to source change\n
  )" + LaunchTrace("auto_source_change")));
}

TEST_F(GameBarAssembly, UsesTheManagersThatAreThere) {
  CreateGameModeDataManager();
  CreateSourceDataManager();
  CreateVAPManager();
  fake.Name(CGameModeDataManager::GetInstance(), "object1");
  fake.Name(CSourceDataManager::GetInstance(), "object2");
  CGameBarService::GetInstance()->Init();
  ExpectTrace(kServiceConstructed + But(InitTrace(), {{kModeConstructed, "\n"},
                                                      {kSourceConstructed, "\n"},
                                                      {CreateVAPTrace(), "\n"}}));
}

TEST_F(GameBarAssembly, RegistersEverythingAgainWhenItIsInitialisedTwice) {
  Initialised().Init();
  const auto trace = fake.TakeTrace();
  ASSERT_GE(trace.size(), 4u);
  EXPECT_EQ(trace[2], R"(ormu_register_callback_id("game-item-changed", callback1, object1) -> 4)");
  fake.Notify("game-mode-changed", 0);
  EXPECT_EQ(fake.TakeTrace().size(), 6u);
}

TEST_F(GameBarAssembly, ComesUpThoughNothingOfItWorks) {
  for (const char* call :
       {"ormu_get_game_mode", "ormu_register_callback_id", "vconf_notify_key_changed",
        "CSourceAPI::RegisterSourceAPICallback", "device_power_subscribe_state_changed_event",
        "TVServiceAPI::CreateSignalSubscriber", "CSourceAPI::GetSourceList",
        "TVServiceAPI::CreateSourceControl", "vconf_get_int", "vconf_get_str",
        "ormu_get_real_game_mode"}) {
    fake.Fail(call);
  }
  CGameBarService::GetInstance()->Init();
  EXPECT_EQ(fake.TakeTrace().back(),
            "E GameBarUtil isGameModeOn | Get game mode failed. nRet: -1\\n");
}

TEST_F(GameBarAssembly, BringsUpTheRestAfterAnException) {
  fake.SetGameModes({.item = 1});
  fake.SetKey(kScreensInfo, R"({"mode":[]})");
  CGameBarService::GetInstance()->Init();
  EXPECT_TRUE(fake.WaitForTrace("not convertible to string", std::chrono::milliseconds(0)));
  EXPECT_EQ(fake.TakeTrace().back(),
            "E GameBarUtil isGameModeOn | Game Mode GET value( 0)(0: OFF, 1: ON)\\n");
}

TEST_F(GameBarAssembly, TakesTheTwoTrackersDownAndLeavesTheAimPoint) {
  CGameBarService& service = Initialised();
  service.Destory();
  ExpectTrace(DestoryTrace());
  service.Destory();
  ExpectTrace(R"(
    E GameBarService Destory | [GameBarService] Destory!!\n
  )");
  fake.SetKey(kRotation, 3);
  fake.RunMainLoop();
  ExpectTrace(R"(
    I GameBarVAPManager OnRotateChanged | [GameBarService] Rotate changed!\n
    vconf_get_int("db/sysman/rotation_state") -> 0: 3
  )");
}

TEST_F(GameBarAssembly, LeavesNoCallbackOfTheTrackersBehind) {
  Initialised().Destory();
  fake.TakeTrace();
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendSourceEvent(0);
  fake.Notify("picture-setting-period", 0);
  fake.Notify("game-item-changed", 1);
  fake.Notify("game-mode-changed", 1);
  fake.ChangePower(2, 0);
  fake.SetKey(kBrightness, 1);
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(GameBarAssembly, CreatesAFreshManagerOfTheSourcesAfterItWasTakenDown) {
  Initialised().Destory();
  fake.TakeTrace();
  EXPECT_EQ(CSourceDataManager::GetInstance()->GetCurrentSource(), -1);
  ExpectTrace(kSourceConstructed);
}

TEST_F(GameBarAssembly, TakesDownWhatThereIs) {
  CGameBarService& service = *CGameBarService::GetInstance();
  CSourceDataManager::GetInstance();
  fake.TakeTrace();
  service.Destory();
  ExpectTrace(R"(
    E GameBarService Destory | [GameBarService] Destory!!\n
    CSourceAPI::UnregisterSourceAPICallback(object1) -> -1
    ormu_unregister_callback_id(0) -> -1
    device_power_unsubscribe_state_changed_event(callback1) -> -1
    E SourceDataManager ~CSourceDataManager | [GameBarService] CSourceDataManager destructor!!\n
  )");
}

TEST_F(GameBarAssembly, IsReleasedWithEverything) {
  Initialised();
  CGameBarService::ReleaseInstance();
  ExpectTrace(DestoryTrace() + kVAPReleased + kServiceDestroyed);
  CGameBarService::ReleaseInstance();
  ExpectTrace("");
  CGameBarService::GetInstance();
  ExpectTrace(kServiceConstructed);
}

TEST_F(GameBarAssembly, IsNotReleasedWhenItIsNotThere) {
  CreateSourceDataManager();
  CreateGameModeDataManager();
  CreateVAPManager();
  CSourceDataManager* const sources = CSourceDataManager::GetInstance();
  CGameBarService::ReleaseInstance();
  ExpectTrace("");
  EXPECT_EQ(CSourceDataManager::GetInstance(), sources);
  ExpectTrace("");
}

// The daemon's start on a model with a game bar, one without and one that does not say.
class GameBarStart : public GameBarAssembly {
 protected:
  // What the start leaves from the question about the feature to the one after it.
  std::string Start() {
    fake.TakeTrace();
    EXPECT_TRUE(m_Service.t_OnCreate());
    std::string part;
    for (const std::string& line : fake.TakeTrace()) {
      if (!part.empty() || line.find(kSupport) != std::string::npos) {
        part += line + "\n";
      }
      if (line.find("outdoor_tv_product_image_support") != std::string::npos) {
        break;
      }
    }
    return part;
  }

  // The same as an expectation is written.
  void ExpectStart(const std::string& expected) {
    std::string lines;
    std::istringstream stream(expected);
    for (std::string line; std::getline(stream, line);) {
      line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
      lines += line.empty() ? "" : line + "\n";
    }
    EXPECT_EQ(Start(), lines);
  }

  static constexpr char kNext[] = R"(
    system_info_get_custom_bool("com.velmora/featureconf/outdoor_tv_product_image_support") -> -1
  )";

 private:
  SettingsService m_Service;
};

TEST_F(GameBarStart, BringsTheGameBarUpWhereTheModelHasIt) {
  fake.SetFeature(kSupport, true);
  // The daemon has named objects and callbacks of its own before.
  const std::string trace = Start();
  EXPECT_TRUE(trace.starts_with(
      R"(system_info_get_custom_bool("com.velmora/featureconf/game_bar.support") -> 0: true
E SettingsService m_Initialize | [GameBarService] isSupportGameBar: 1\n
E GameBarService CGameBarService | [GameBarService] CGameBarService constructor!!\n
E GameBarService Init | [GameBarService] Init!!\n
E GameModeDataManager CGameModeDataManager | [GameBarService] CGameModeDataManager constructor!!\n
)")) << trace;
  EXPECT_TRUE(trace.ends_with(
      R"(E GameBarUtil isGameModeOn | Game Mode GET value( 0)(0: OFF, 1: ON)\n
system_info_get_custom_bool("com.velmora/featureconf/outdoor_tv_product_image_support") -> -1
)")) << trace;
}

TEST_F(GameBarStart, LeavesTheGameBarOutWhereTheModelDoesNotHaveIt) {
  fake.SetFeature(kSupport, false);
  ExpectStart(R"(
    system_info_get_custom_bool("com.velmora/featureconf/game_bar.support") -> 0: false
    E SettingsService m_Initialize | [GameBarService] isSupportGameBar: 0\n
  )" + std::string(kNext));
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendSourceEvent(0);
  fake.Notify("game-mode-changed", 0);
  fake.ChangePower(2, 0);
  ExpectTrace("");
  CGameBarService::GetInstance();
  CGameModeDataManager::GetInstance();
  CSourceDataManager::GetInstance();
  GameBarVAPManager::GetInstance();
  ExpectTrace(std::string(kServiceConstructed) + kModeConstructed + kSourceConstructed +
              CreateVAPTrace());
}

TEST_F(GameBarStart, LeavesTheGameBarOutWhereTheModelDoesNotSay) {
  for (int i = 0; i < 2; ++i) {
    ExpectStart(R"(
      system_info_get_custom_bool("com.velmora/featureconf/game_bar.support") -> -1
      E SettingsService m_Initialize | [GameBarService] isSupportGameBar: 0\n
    )" + std::string(kNext));
    fake.SetFeature(kSupport, 1);
  }
}

TEST_F(GameBarStart, LeavesTheGameBarUpAtItsEnd) {
  fake.SetFeature(kSupport, true);
  SettingsService service;
  service.t_OnCreate();
  service.t_OnTerminate();
  fake.TakeTrace();
  fake.Notify("game-mode-changed", 0);
  fake.SendSourceEvent(-1);
  ExpectTrace(R"(
    E GameModeDataManager m_GameModeChanged | [GameBarService] m_GameModeChanged: 0\n
  )" + AlreadyClosedTrace() +
              R"(
    E SourceDataManager m_SourceListChanged | [GameBarService] m_SourceListChanged\n
  )");
}

}  // namespace
