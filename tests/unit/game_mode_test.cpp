#include <set>
#include <stdexcept>

#include "game_bar_test.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/GameModeDataManager.h"
#include "gamebar/SourceDataManager.h"

namespace {

constexpr char kNullText[] = "basic_string::_M_construct null not valid";

// The manager of the game mode, which watches nothing yet. The console is shown.
class GameMode : public GameBarTest {
 protected:
  GameMode() {
    fake.Name(reinterpret_cast<const void*>(CGameModeDataManager::OnERBrightnessChanged),
              "OnERBrightnessChanged");
    CreateSourceDataManager();
    CSourceDataManager::GetInstance()->InitData();
    CreateVAPManager();
    CreateGameModeDataManager();
  }

  static CGameModeDataManager& manager() { return *CGameModeDataManager::GetInstance(); }

  // Shows another source, and lets the manager of the sources know it.
  void SwitchTo(int source) {
    ShowSource(source);
    CSourceDataManager::GetInstance()->InitData();
    fake.TakeLaunches();
    fake.TakeTrace();
  }

  static constexpr char kIgnored[] = R"(
    vconf_ignore_key_changed("memory/gamebar/launch_by_erbrightness", OnERBrightnessChanged) -> 0
  )";
  static constexpr char kTornDown[] = R"(
    E GameModeDataManager Destory | [GameBarService] GameModeDataManager Destory\n
  )";
};

// The numbers of the registrations go on after that of the sources' manager.
constexpr char kRegistered[] = R"(
  ormu_register_callback_id("game-item-changed", callback5, gameModeDataManager) -> 2
  ormu_register_callback_id("game-mode-changed", callback6, gameModeDataManager) -> 3
)";
constexpr char kWatched[] = R"(
  vconf_notify_key_changed("memory/gamebar/launch_by_erbrightness", OnERBrightnessChanged, gameModeDataManager) -> 0
)";

TEST_F(GameMode, IsReadAndFollowed) {
  fake.SetGameModes({.item = 2});
  manager().InitData();
  ExpectTrace(std::string("ormu_get_game_mode(0, 1) -> 0: 2\n") + kRegistered + kWatched);
}

TEST_F(GameMode, IsFollowedAsFarAsThatWorks) {
  fake.Fail("ormu_get_game_mode", {.code = -6});
  fake.Fail("ormu_register_callback_id");
  fake.Fail("vconf_notify_key_changed");
  manager().InitData();
  ExpectTrace(R"(
    ormu_get_game_mode(0, 1) -> -6
    E GameBarUtil GetGameModeValue | Get game mode failed. nRet: -6\n
    ormu_register_callback_id("game-item-changed", callback5, gameModeDataManager) -> 0
    E GameModeDataManager m_RegisterGameModeHandle | [GameBarService]subscribe game item change failed.\n
    ormu_register_callback_id("game-mode-changed", callback6, gameModeDataManager) -> 0
    E GameModeDataManager m_RegisterGameModeHandle | [GameBarService]subscribe game mode change failed.\n
    vconf_notify_key_changed("memory/gamebar/launch_by_erbrightness", OnERBrightnessChanged, gameModeDataManager) -> -1
  )");
  manager().Destory();
  ExpectTrace(kTornDown + But(kIgnored, {{"-> 0", "-> -1"}}));
}

TEST_F(GameMode, IsFollowedByEachRegistrationWithoutTheOther) {
  fake.Fail("ormu_register_callback_id", {.on = "game-item-changed", .times = 1});
  manager().m_RegisterGameModeHandle();
  ExpectTrace(R"(
    ormu_register_callback_id("game-item-changed", callback5, gameModeDataManager) -> 0
    E GameModeDataManager m_RegisterGameModeHandle | [GameBarService]subscribe game item change failed.\n
    ormu_register_callback_id("game-mode-changed", callback6, gameModeDataManager) -> 2
  )");
  manager().Destory();
  ExpectTrace(kTornDown + std::string("ormu_unregister_callback_id(2) -> 0\n") +
              But(kIgnored, {{"-> 0", "-> -1"}}));
  fake.Fail("ormu_register_callback_id", {.on = "game-mode-changed", .times = 1});
  manager().m_RegisterGameModeHandle();
  ExpectTrace(R"(
    ormu_register_callback_id("game-item-changed", callback5, gameModeDataManager) -> 3
    ormu_register_callback_id("game-mode-changed", callback6, gameModeDataManager) -> 0
    E GameModeDataManager m_RegisterGameModeHandle | [GameBarService]subscribe game mode change failed.\n
  )");
  manager().Destory();
  ExpectTrace(kTornDown + std::string("ormu_unregister_callback_id(3) -> 0\n") +
              But(kIgnored, {{"-> 0", "-> -1"}}));
}

TEST_F(GameMode, IsLeftOnce) {
  manager().InitData();
  fake.TakeTrace();
  fake.Fail("ormu_unregister_callback_id", {.on = "2", .code = -4});
  manager().Destory();
  ExpectTrace(std::string(kTornDown) + R"(
    ormu_unregister_callback_id(2) -> -4
    ormu_unregister_callback_id(3) -> 0
  )" + kIgnored);
  manager().Destory();
  ExpectTrace(kTornDown + But(kIgnored, {{"-> 0", "-> -1"}}));
  fake.Notify("game-mode-changed", 1);
  fake.SetKey(kBrightness, 1);
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(GameMode, HasOneManagerThatIsReleasedAndCreatedAnew) {
  CGameModeDataManager* const first = CGameModeDataManager::GetInstance();
  EXPECT_EQ(CGameModeDataManager::GetInstance(), first);
  ExpectTrace("");
  first->InitData();
  fake.TakeTrace();
  CGameModeDataManager::ReleaseInstance();
  ExpectTrace(std::string(kTornDown) + R"(
    ormu_unregister_callback_id(2) -> 0
    ormu_unregister_callback_id(3) -> 0
  )" + kIgnored +
              R"(
    E GameModeDataManager ~CGameModeDataManager | [GameBarService] CGameModeDataManager destructor!!\n
  )");
  CGameModeDataManager::ReleaseInstance();
  ExpectTrace("");
  CGameModeDataManager::GetInstance();
  ExpectTrace(R"(
    E GameModeDataManager CGameModeDataManager | [GameBarService] CGameModeDataManager constructor!!\n
  )");
}

// What changes, with the viewer in front.
class GameModeEvent : public GameMode {
 protected:
  GameModeEvent() {
    manager().InitData();
    fake.TakeTrace();
  }

  static std::string ItemChanged(int value) {
    return "E GameModeDataManager m_GameItemChanged | [GameBarService] m_GameItemChanged: " +
           std::to_string(value) + "\\n\n";
  }
  static std::string ModeChanged(int value) {
    return "E GameModeDataManager m_GameModeChanged | [GameBarService] m_GameModeChanged: " +
           std::to_string(value) + "\\n\n";
  }
  // The device and the feature of the model, as the game item asks for them.
  static std::string DeviceTrace(int type, bool flag = false) {
    return "E GameModeDataManager m_GameItemChanged | [GameBarService]   GameDeviceType : " +
           std::to_string(type) + R"(\n
      system_info_get_custom_bool("com.velmora/featureconf/oobe.show_energy_regulation_brightness") -> 0: )" +
           (flag ? "true" : "false") + R"(
      E GameModeDataManager m_GameItemChanged | pThis -> m_FlagERBrightness = )" +
           (flag ? "1" : "0") + R"(\n
    )";
  }
};

TEST_F(GameModeEvent, LaunchesTheGameBarAndShowsTheAimPointWhenTheGameItemIsOn) {
  for (const int source : {kConsole, kComputer, kPlayer}) {
    SwitchTo(source);
    fake.Notify("game-item-changed", 1);
    ExpectTrace(ItemChanged(1) + DeviceTrace(source - 12) + ViewerTrace() +
                LaunchTrace("auto_game_item_on") + RotatedTrace());
    EXPECT_EQ(fake.TakeLaunches().size(), 1u);
  }
}

TEST_F(GameModeEvent, LaunchesTheGameBarInTheSecondGameStateIfTheGameModeIsOn) {
  fake.SetGameModes({.item = 2, .real = 1});
  fake.OnServiceThread([&] { fake.Notify("game-item-changed", 2); });
  ExpectTrace(ItemChanged(2) + RealGameModeTrace(1) + DeviceTrace(1) + ViewerTrace() +
              LaunchTrace("auto_game_item_on") + RotatedTrace());
  fake.SetGameModes({.item = 2, .real = 0});
  fake.Notify("game-item-changed", 2);
  ExpectTrace(ItemChanged(2) + RealGameModeTrace(0) + AlreadyClosedTrace());
  fake.Fail("ormu_get_real_game_mode", {.code = -3});
  fake.Notify("game-item-changed", 2);
  ExpectTrace(ItemChanged(2) + R"(
    ormu_get_real_game_mode(1) -> -3
    E GameBarUtil isGameModeOn | Game Mode GET value( 0)(0: OFF, 1: ON)\n
    E GameBarUtil isGameModeOn | Get game mode failed. nRet: -3\n
  )" + AlreadyClosedTrace());
}

TEST_F(GameModeEvent, ClosesTheAimPointWhenTheGameItemIsAnythingElse) {
  fake.SetKey(kAimStatus, 3);
  for (const int value : {0, -1, 3, 100}) {
    fake.Notify("game-item-changed", value);
    ExpectTrace(ItemChanged(value) + (value == 0 ? R"(
      vconf_get_int("memory/menu/virtualaim/status") -> 0: 3
      I GameBarVAPManager CloseVAP | [GameBarService] do close aim \n
      vconf_set_int("memory/menu/virtualaim/status", 0) -> 0
    )"
                                                 : AlreadyClosedTrace()));
  }
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(0));
}

TEST_F(GameModeEvent, ShowsTheAimPointThoughItLaunchesNothing) {
  SwitchTo(kTuner);
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + DeviceTrace(0) + RotatedTrace());
  SwitchTo(kConsole);
  fake.SetAppStatus(kViewer, 9);
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + DeviceTrace(1) + ViewerTrace("resume_focus", 9) + RotatedTrace());
  fake.SetAppStatus(kViewer, 3);
  fake.SetFeature(kShowsBrightness, true);
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + DeviceTrace(1, true) + ViewerTrace("resume_focus", 3) +
              RotatedTrace());
}

TEST_F(GameModeEvent, KeepsTheModelsFeatureThatCannotBeReadAgain) {
  const std::string unread = R"(-> -4
      E GameModeDataManager m_GameItemChanged | get value of com.velmora/featureconf/oobe.show_energy_regulation_brightness is failed\n
)";
  fake.Fail("system_info_get_custom_bool", {.code = -4, .times = 1});
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + But(DeviceTrace(1), {{"-> 0: false\n", unread}}) + ViewerTrace() +
              LaunchTrace("auto_game_item_on") + RotatedTrace());
  fake.SetFeature(kShowsBrightness, true);
  fake.Notify("game-item-changed", 1);
  fake.TakeTrace();
  fake.Fail("system_info_get_custom_bool", {.code = -4, .times = 1});
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + But(DeviceTrace(1, true), {{"-> 0: true\n", unread}}) +
              ViewerTrace() + RotatedTrace());
}

TEST_F(GameModeEvent, IsForSomebody) {
  fake.Notify("game-item-changed", 1, nullptr);
  ExpectTrace(ItemChanged(1) + R"(
    E GameModeDataManager m_GameItemChanged | pUserData is NULL\n
  )");
  fake.Notify("game-mode-changed", 1, nullptr);
  ExpectTrace(ModeChanged(1) + R"(
    E GameModeDataManager m_GameModeChanged | pUserData is NULL\n
  )");
  CGameModeDataManager::OnERBrightnessChanged(nullptr, nullptr);
  ExpectTrace(R"(
    E GameModeDataManager OnERBrightnessChanged | [GameBarService] ERBrightness vconf changed!\n
    E GameModeDataManager OnERBrightnessChanged | pUserData is NULL\n
  )");
}

TEST_F(GameModeEvent, CreatesTheManagersThatItAsks) {
  CSourceDataManager::ReleaseInstance();
  GameBarVAPManager::ReleaseInstance();
  fake.TakeTrace();
  fake.Notify("game-item-changed", 1);
  ExpectTrace(ItemChanged(1) + R"(
    E SourceDataManager CSourceDataManager | [GameBarService] CSourceDataManager constructor!!\n
  )" + DeviceTrace(0) +
              CreateVAPTrace() + RotatedTrace());
  GameBarVAPManager::ReleaseInstance();
  fake.TakeTrace();
  fake.Notify("game-mode-changed", 0);
  ExpectTrace(ModeChanged(0) + CreateVAPTrace() + AlreadyClosedTrace());
}

TEST_F(GameModeEvent, ClosesTheAimPointWithoutAWorkerWhenTheGameModeIsNotOn) {
  for (const int value : {0, 2, -1}) {
    fake.Notify("game-mode-changed", value);
    ExpectTrace(ModeChanged(value) + AlreadyClosedTrace());
  }
}

TEST_F(GameModeEvent, LogsAnExceptionInACallback) {
  const auto expect = [&](const std::string& function) {
    const auto trace = fake.TakeTrace();
    ASSERT_FALSE(trace.empty());
    EXPECT_TRUE(trace.back().starts_with("E GameModeDataManager " + function + " | "))
        << trace.back();
    EXPECT_NE(trace.back().find(kNullText), std::string::npos) << trace.back();
  };
  fake.Fail("vconf_get_str", {.on = kViewerState, .times = 2});
  fake.OnServiceThread([&] { fake.Notify("game-item-changed", 1); });
  expect("m_GameItemChanged");
  fake.SetGameModes({.item = 1});
  fake.SetKey(kBrightness, 1);
  fake.RunMainLoopOnce();
  expect("OnERBrightnessChanged");
  // The wish is consumed all the same.
  EXPECT_EQ(fake.Key(kBrightness), fakes::KeyValue(0));
  fake.Notify("game-item-changed", 1);
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

// The game mode that begins, with a second game state and a console.
class GameModeWorker : public GameModeEvent {
 protected:
  GameModeWorker() {
    fake.SetGameModes({.item = 2, .real = 1});
    fake.SetKey(kDetection, 1);
  }

  // Lets the game mode begin and the worker end.
  void Begin() {
    fake.Notify("game-mode-changed", 1);
    FinishGameModeWorker();
  }

  static std::string BeginTrace(int item = 2) {
    const std::string number = std::to_string(item);
    return ModeChanged(1) + "nanosleep(500ms)\normu_get_game_mode(0, 1) -> 0: " + number + R"(
      E GameModeDataManager m_GameModeChanged | [GameBarService] m_CurrentGameItemMode is )" +
           number + R"(\n
    )";
  }
  static std::string GameTrace(const std::string& detection = "1", bool flag = false) {
    return R"(
      vconf_get_int("memory/detection/game") -> 0: )" +
           detection + R"(
      E GameModeDataManager m_GameModeChanged | [GameBarService] game vconf is )" +
           detection + R"(\n
      system_info_get_custom_bool("com.velmora/featureconf/oobe.show_energy_regulation_brightness") -> 0: )" +
           (flag ? "true" : "false") + R"(
      E GameModeDataManager m_GameModeChanged | p -> m_FlagERBrightness = )" +
           (flag ? "1" : "0") + R"(\n
    )";
  }
  static std::string BackgroundTrace() {
    return AliveTrace(-1) + R"(
      E GameModeDataManager m_GameModeChanged | [GameBarService] launch gamebar in background\n
    )" + LaunchTrace("auto_background") +
           RotatedTrace();
  }
};

TEST_F(GameModeWorker, LaunchesTheGameBarForAGameThatIsDetected) {
  for (const int source : {kConsole, kPlayer}) {
    SwitchTo(source);
    Begin();
    ExpectTrace(BeginTrace() + GameTrace() + ViewerTrace() +
                LaunchTrace("auto_internal_game_mode_on") + RotatedTrace());
  }
}

TEST_F(GameModeWorker, LaunchesTheGameBarInTheBackgroundForAComputerOrNothing) {
  for (const int source : {kComputer, kTuner}) {
    SwitchTo(source);
    Begin();
    ExpectTrace(BeginTrace() + BackgroundTrace());
  }
}

TEST_F(GameModeWorker, LaunchesTheGameBarInTheBackgroundWithAnotherGameItem) {
  for (const int item : {-1, 0, 1, 3}) {
    fake.SetGameModes({.item = item, .real = 1});
    Begin();
    ExpectTrace(BeginTrace(item) + BackgroundTrace());
  }
}

TEST_F(GameModeWorker, LaunchesTheGameBarInTheBackgroundWithoutADetectedGame) {
  const std::set<int> games = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 13, 14};
  for (int detection = -1; detection <= 33; ++detection) {
    SCOPED_TRACE(detection);
    fake.SetKey(kDetection, detection);
    Begin();
    ExpectTrace(BeginTrace() + GameTrace(std::to_string(detection)) +
                (games.contains(detection)
                     ? ViewerTrace() + LaunchTrace("auto_internal_game_mode_on") + RotatedTrace()
                     : BackgroundTrace()));
  }
}

TEST_F(GameModeWorker, TakesADetectionThatCannotBeReadForAGame) {
  fake.SetKey(kDetection, "text");
  Begin();
  ExpectTrace(BeginTrace() + But(GameTrace(), {{"-> 0: 1\n", "-> -1\n"}}) + ViewerTrace() +
              LaunchTrace("auto_internal_game_mode_on") + RotatedTrace());
}

TEST_F(GameModeWorker, LaunchesTheGameBarInTheBackgroundWhileTheViewerIsNotInFront) {
  fake.SetKey(kViewerState, "pause");
  Begin();
  ExpectTrace(BeginTrace() + GameTrace() + ViewerTrace("pause") + BackgroundTrace());
}

TEST_F(GameModeWorker, LaunchesTheGameBarInTheBackgroundWhereTheModelShowsItsBrightnessStep) {
  fake.SetFeature(kShowsBrightness, true);
  Begin();
  ExpectTrace(BeginTrace() + GameTrace("1", true) + ViewerTrace() + BackgroundTrace());
  fake.Fail("system_info_get_custom_bool", {.code = -4});
  Begin();
  ExpectTrace(BeginTrace() + But(GameTrace("1", true), {{"-> 0: true\n", R"(-> -4
      E GameModeDataManager m_GameModeChanged | get value of com.velmora/featureconf/oobe.show_energy_regulation_brightness is failed\n
)"}}) + ViewerTrace() +
              BackgroundTrace());
}

TEST_F(GameModeWorker, LeavesAGameBarAloneThatIsAlive) {
  SwitchTo(kComputer);
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    fake.SetAppStatus(kGameBar, status);
    Begin();
    const bool alive = status >= 0 && status != 5 && status != 9;
    ExpectTrace(BeginTrace() +
                (alive ? AliveTrace(status) + RotatedTrace()
                       : AliveTrace(status) + BackgroundTrace().substr(AliveTrace(-1).size())));
  }
}

TEST_F(GameModeWorker, TakesAGameItemThatCannotBeReadForOff) {
  fake.Fail("ormu_get_game_mode", {.code = -6});
  Begin();
  ExpectTrace(But(BeginTrace(0), {{"-> 0: 0\n", R"(-> -6
      E GameBarUtil GetGameModeValue | Get game mode failed. nRet: -6\n
)"}}) + BackgroundTrace());
}

TEST_F(GameModeWorker, SleepsOnAfterAnInterruption) {
  fake.Notify("game-mode-changed", 1);
  ASSERT_TRUE(fake.WaitForSleepers(1));
  fake.TakeTrace();
  ASSERT_TRUE(fake.InterruptSleep(std::chrono::microseconds(1500)));
  ASSERT_TRUE(fake.WaitForTrace("nanosleep(1500000ns)"));
  FinishGameModeWorker();
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

TEST_F(GameModeWorker, CreatesTheAimPoint) {
  GameBarVAPManager::ReleaseInstance();
  fake.TakeTrace();
  Begin();
  ExpectTrace(BeginTrace() + GameTrace() + ViewerTrace() +
              LaunchTrace("auto_internal_game_mode_on") + CreateVAPTrace() + RotatedTrace());
}

TEST_F(GameModeWorker, LogsAnExceptionAndLetsTheNextOneRun) {
  fake.Fail("vconf_get_str", {.on = kViewerState, .times = 1});
  Begin();
  ASSERT_TRUE(fake.WaitForTrace(kNullText));
  EXPECT_TRUE(fake.TakeTrace().back().starts_with("E GameModeDataManager m_GameModeChanged | "));
  Begin();
  ExpectTrace(BeginTrace() + GameTrace() + ViewerTrace() +
              LaunchTrace("auto_internal_game_mode_on") + RotatedTrace());
}

TEST_F(GameModeWorker, RunsAfterTheOneThatIsUnderWay) {
  fake.Notify("game-mode-changed", 1);
  ASSERT_TRUE(fake.WaitForSleepers(1));
  fake.Notify("game-mode-changed", 1);
  fake.TakeTrace();
  EndSleep();
  ASSERT_TRUE(fake.WaitForTrace("nanosleep(500ms)"));
  const std::string run = BeginTrace().substr(ModeChanged(1).size()) + GameTrace() + ViewerTrace() +
                          LaunchTrace("auto_internal_game_mode_on") + RotatedTrace();
  FinishGameModeWorker();
  ExpectTrace(run.substr(run.find('\n') + 1) + run);
}

TEST_F(GameModeWorker, SleepsBesideAWorkerOfTheSources) {
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  ASSERT_TRUE(fake.WaitForSleepers(1));
  fake.Notify("picture-setting-period", 0);
  fake.Notify("game-mode-changed", 1);
  ASSERT_TRUE(fake.WaitForSleepers(2));
  ASSERT_TRUE(fake.StepSleep());
  FinishGameModeWorker();
  JoinSourceWorker();
  EXPECT_TRUE(fake.WaitForTrace("m_GameItemMode:2"));
  EXPECT_EQ(fake.TakeLaunches().size(), 2u);
}

// The end of the brightness step of the first use.
class BrightnessStep : public GameModeEvent {
 protected:
  BrightnessStep() { fake.SetGameModes({.item = 1}); }

  // Another process writes the key.
  void Write(int value) {
    fake.SetKey(kBrightness, value);
    Deliver();
  }
  // The service's own writing is announced too; that is left out here.
  void Deliver() { fake.RunMainLoopOnce(); }

  static std::string ChangedTrace(int value, int item = 1) {
    const std::string number = std::to_string(value);
    return R"(
      E GameModeDataManager OnERBrightnessChanged | [GameBarService] ERBrightness vconf changed!\n
      ormu_get_game_mode(0, 1) -> 0: )" +
           std::to_string(item) + R"(
      vconf_get_int("memory/gamebar/launch_by_erbrightness") -> 0: )" +
           number + R"(
      E GameModeDataManager OnERBrightnessChanged | [GameBarService] ERBrightness vconfValue: )" +
           number + R"(\n
    )";
  }
  static constexpr char kConsumed[] = R"(
    vconf_set_int("memory/gamebar/launch_by_erbrightness", 0) -> 0
  )";
};

TEST_F(BrightnessStep, LaunchesTheGameBarOnceWhenItEnds) {
  Write(1);
  ExpectTrace(ChangedTrace(1) + kConsumed + ViewerTrace() + LaunchTrace("auto_game_item_on") +
              RotatedTrace());
  EXPECT_EQ(fake.Key(kBrightness), fakes::KeyValue(0));
  Deliver();
  ExpectTrace(ChangedTrace(0));
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(BrightnessStep, LaunchesTheGameBarThoughTheModelShowsIt) {
  fake.SetFeature(kShowsBrightness, true);
  fake.Notify("game-item-changed", 1);
  fake.TakeTrace();
  Write(1);
  ExpectTrace(ChangedTrace(1) + kConsumed + ViewerTrace() + LaunchTrace("auto_game_item_on") +
              RotatedTrace());
}

TEST_F(BrightnessStep, LaunchesNothingAndIsNotConsumedWithAnotherGameItem) {
  for (const int item : {-1, 0, 2}) {
    fake.SetGameModes({.item = item});
    Write(1);
    ExpectTrace(ChangedTrace(1, item));
    EXPECT_EQ(fake.Key(kBrightness), fakes::KeyValue(1));
  }
}

TEST_F(BrightnessStep, LaunchesNothingForAnotherValue) {
  for (const int value : {0, 2, -1}) {
    Write(value);
    ExpectTrace(ChangedTrace(value));
    EXPECT_EQ(fake.Key(kBrightness), fakes::KeyValue(value));
  }
}

TEST_F(BrightnessStep, TakesWhatCannotBeReadForZero) {
  fake.SetKey(kBrightness, "text");
  Deliver();
  ExpectTrace(But(ChangedTrace(0), {{"brightness\") -> 0: 0", "brightness\") -> -1"}}));
  fake.Fail("ormu_get_game_mode", {.code = -6});
  Write(1);
  ExpectTrace(But(ChangedTrace(1, 0), {{"-> 0: 0\n", R"(-> -6
      E GameBarUtil GetGameModeValue | Get game mode failed. nRet: -6\n
)"}}));
}

TEST_F(BrightnessStep, ShowsTheAimPointThoughItLaunchesNothing) {
  SwitchTo(kTuner);
  Write(1);
  ExpectTrace(ChangedTrace(1) + kConsumed + RotatedTrace());
  Deliver();
  SwitchTo(kConsole);
  fake.SetAppStatus(kViewer, 5);
  Write(1);
  ExpectTrace(ChangedTrace(1) + kConsumed + ViewerTrace("resume_focus", 5) + RotatedTrace());
}

TEST_F(BrightnessStep, LaunchesTheGameBarThoughItsEndCannotBeConsumed) {
  fake.Fail("vconf_set_int", {.on = kBrightness, .code = -2});
  Write(1);
  ExpectTrace(ChangedTrace(1) + But(kConsumed, {{"-> 0", "-> -2"}}) + ViewerTrace() +
              LaunchTrace("auto_game_item_on") + RotatedTrace());
  EXPECT_EQ(fake.Key(kBrightness), fakes::KeyValue(1));
}

}  // namespace
