#include <set>
#include <stdexcept>

#include "game_bar_test.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/SourceDataManager.h"

// The callback of the signals, to which the platform may give types that nobody subscribed.
template <auto Callback>
struct CallbackOfSignals {
  friend TVSSignalCallback SignalCallback() { return Callback; }
};
TVSSignalCallback SignalCallback();
template struct CallbackOfSignals<&CSourceDataManager::m_OnTvsSignaled>;

namespace {

constexpr char kNullText[] = "basic_string::_M_construct null not valid";

// The manager of the sources at work: with the console shown and the game item off at its start
// and on from then on.
class SourceEvent : public GameBarTest {
 protected:
  SourceEvent() {
    CreateSourceDataManager();
    manager().InitData();
    CreateVAPManager();
    fake.SetGameModes({.item = 1});
    fake.TakeTrace();
  }

  static CSourceDataManager& manager() { return *CSourceDataManager::GetInstance(); }

  static std::string Received(const std::string& signal) {
    return "E SourceDataManager m_OnTvsSignaled | [GameBarService] Receive SIGNAL_" + signal +
           "\\n\n";
  }
  static std::string PictureSet(const std::string& value = "0") {
    return "E SourceDataManager m_PictureSettingPeriod | [GameBarService] "
           "m_PictureSettingPeriod: " +
           value + "\\n\n";
  }

  void SetPictureDone() { fake.Notify("picture-setting-period", 0); }

  // The source change whose worker finds the picture set. The worker sleeps afterwards.
  void ChangeSource() {
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
    SetPictureDone();
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
    ASSERT_TRUE(fake.WaitForSleepers(1));
  }
  static std::string ChangeTrace() {
    return Received("EXT_SOURCE_CHANGE_START") + PictureSet() + Received("EXT_SOURCE_SIGNAL_OK") +
           "nanosleep(200ms)\n";
  }

  // What the worker leaves when it has waited, up to its decision.
  static std::string DecisionTrace(int gameItem, const std::string& detection = "1",
                                   int source = kConsole) {
    return RefreshTrace(gameItem, source) +
           "E SourceDataManager m_HandleExtSignalOk | [GameBarService] m_GameItemMode:" +
           std::to_string(gameItem) + R"(\n
      vconf_get_int("memory/detection/game") -> 0: )" +
           detection + R"(
      E SourceDataManager m_HandleExtSignalOk | [GameBarService] game vconf is )" +
           detection + R"(\n
    )";
  }
  static constexpr char kWanted[] = R"(
    E SourceDataManager m_HandleExtSignalOk | [GameBarService] Launch gamebar due to source change\n
  )";
  static std::string LoopTrace(int loop) {
    return "E SourceDataManager m_HandleExtSignalOk | [GameBarService] "
           "Ormu Picture Setting not finished, loop: " +
           std::to_string(loop) + "\\n\n";
  }
  static std::string LaunchedTrace() {
    return ViewerTrace() + PopupTrace() + kWanted + LaunchTrace("auto_source_change") +
           RotatedTrace();
  }

  // Lets the worker find the picture set in its loop `at`.
  void SetPictureInLoop(int at) {
    for (int loop = 0; loop < at; ++loop) {
      EndSleep();
    }
    ASSERT_TRUE(fake.WaitForSleepers(1));
    SetPictureDone();
    FinishSourceWorker();
  }
};

TEST_F(SourceEvent, LaunchesTheGameBarAndShowsTheAimPointAfterASourceChange) {
  fake.SetKey(kDetection, 1);
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + LaunchedTrace());
}

TEST_F(SourceEvent, ComesFromAThreadOfTheService) {
  fake.SetKey(kDetection, 1);
  fake.OnServiceThread([&] { ChangeSource(); });
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + LaunchedTrace());
}

TEST_F(SourceEvent, IsIgnoredWhenASignalComesWithoutTheBeginOfAChange) {
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  ExpectTrace(Received("EXT_SOURCE_SIGNAL_OK") + R"(
    E SourceDataManager m_OnTvsSignaled | [GameBarService] Not receive SIGNAL_EXT_SOURCE_CHANGE_START, do not handle!\n
  )");
}

TEST_F(SourceEvent, EndsOneChangeWithOneSignal) {
  fake.SetKey(kDetection, 1);
  ChangeSource();
  FinishSourceWorker();
  fake.TakeTrace();
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  ExpectTrace(Received("EXT_SOURCE_SIGNAL_OK") + R"(
    E SourceDataManager m_OnTvsSignaled | [GameBarService] Not receive SIGNAL_EXT_SOURCE_CHANGE_START, do not handle!\n
  )");
}

TEST_F(SourceEvent, IsForSomebody) {
  for (const int signal : {25, 26, 27, 28, 29, 30, 128}) {
    fake.SendTvSignal(signal, nullptr);
    ExpectTrace(R"(
      E SourceDataManager m_OnTvsSignaled | [GameBarService] pUserData is NULL\n
    )");
  }
  fake.Notify("picture-setting-period", 0, nullptr);
  ExpectTrace(PictureSet() + R"(
    E SourceDataManager m_PictureSettingPeriod | [GameBarService] pUserData is NULL\n
  )");
  EXPECT_EQ(SignalCallback()(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, 0, {}, nullptr), 0);
}

TEST_F(SourceEvent, WaitsForThePictureTenTimesAtMost) {
  fake.SetKey(kDetection, 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  std::string trace = Received("EXT_SOURCE_CHANGE_START") + Received("EXT_SOURCE_SIGNAL_OK");
  for (int loop = 0; loop < 10; ++loop) {
    loop < 9 ? EndSleep() : FinishSourceWorker();
    trace += "nanosleep(200ms)\n" + LoopTrace(loop);
  }
  ExpectTrace(trace + DecisionTrace(1) + LaunchedTrace());
}

TEST_F(SourceEvent, EndsItsWaitWhenThePictureIsSet) {
  fake.SetKey(kDetection, 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  SetPictureInLoop(2);
  ExpectTrace(Received("EXT_SOURCE_CHANGE_START") + Received("EXT_SOURCE_SIGNAL_OK") +
              "nanosleep(200ms)\n" + LoopTrace(0) + "nanosleep(200ms)\n" + LoopTrace(1) +
              "nanosleep(200ms)\n" + PictureSet() + DecisionTrace(1) + LaunchedTrace());
}

TEST_F(SourceEvent, SleepsOnAfterAnInterruption) {
  fake.SetKey(kDetection, 1);
  ChangeSource();
  ASSERT_TRUE(fake.InterruptSleep(std::chrono::milliseconds(150)));
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + "nanosleep(200ms) -> EINTR\nnanosleep(150ms)\n" + DecisionTrace(1) +
              LaunchedTrace());
}

TEST_F(SourceEvent, WaitsAnewForAPictureThatIsGoneAgain) {
  fake.SetKey(kDetection, 1);
  const std::pair<int, const char*> signals[] = {{27, "EXT_SOURCE_NOT_SUPPORT"},
                                                 {28, "EXT_SOURCE_NO_SIGNAL"},
                                                 {29, "EXT_SOURCE_UNPLUG"},
                                                 {30, "EXT_SOURCE_STOP"}};
  for (const auto& [signal, name] : signals) {
    SCOPED_TRACE(name);
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
    SetPictureDone();
    fake.SendTvSignal(signal);
    fake.SetGameModes({.item = 0});
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
    SetPictureInLoop(1);
    ExpectTrace(Received("EXT_SOURCE_CHANGE_START") + PictureSet() + Received(name) +
                Received("EXT_SOURCE_SIGNAL_OK") + "nanosleep(200ms)\n" + LoopTrace(0) +
                "nanosleep(200ms)\n" + PictureSet() + DecisionTrace(0));
  }
}

TEST_F(SourceEvent, WaitsAnewAfterASecondBeginAndAnUnknownSignal) {
  fake.SetGameModes({.item = 0});
  fake.SetKey(kDetection, 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  SetPictureDone();
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  SetPictureInLoop(1);
  ExpectTrace(Received("EXT_SOURCE_CHANGE_START") + PictureSet() +
              Received("EXT_SOURCE_CHANGE_START") + Received("EXT_SOURCE_SIGNAL_OK") +
              "nanosleep(200ms)\n" + LoopTrace(0) + "nanosleep(200ms)\n" + PictureSet() +
              DecisionTrace(0));
  for (const int signal : {24, 31, 127, 0, -1}) {
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
    SetPictureDone();
    fake.TakeTrace();
    EXPECT_EQ(SignalCallback()(static_cast<ESignalType>(signal), PROFILE_MAIN, 0, {}, &manager()),
              0);
    ExpectTrace("");
    fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
    SetPictureInLoop(1);
    ExpectTrace(Received("EXT_SOURCE_SIGNAL_OK") + "nanosleep(200ms)\n" + LoopTrace(0) +
                "nanosleep(200ms)\n" + PictureSet() + DecisionTrace(0));
  }
}

TEST_F(SourceEvent, KnowsThatThePictureIsSetByZeroAlone) {
  fake.SetGameModes({.item = 0});
  fake.SetKey(kDetection, 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.Notify("picture-setting-period", 1);
  fake.Notify("picture-setting-period", -1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  SetPictureInLoop(1);
  ExpectTrace(Received("EXT_SOURCE_CHANGE_START") + PictureSet("1") + PictureSet("-1") +
              Received("EXT_SOURCE_SIGNAL_OK") + "nanosleep(200ms)\n" + LoopTrace(0) +
              "nanosleep(200ms)\n" + PictureSet() + DecisionTrace(0));
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  SetPictureDone();
  fake.Notify("picture-setting-period", 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  FinishSourceWorker();
  ExpectTrace(Received("EXT_SOURCE_CHANGE_START") + PictureSet() + PictureSet("1") +
              Received("EXT_SOURCE_SIGNAL_OK") + "nanosleep(200ms)\n" + DecisionTrace(0));
}

TEST_F(SourceEvent, ForgetsThePictureAtTheEndOfItsWorker) {
  fake.SetGameModes({.item = 0});
  fake.SetKey(kDetection, 1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  ASSERT_TRUE(fake.WaitForSleepers(1));
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  SetPictureDone();
  fake.TakeTrace();
  EndSleep();  // of the first worker; the second follows
  SetPictureInLoop(1);
  ExpectTrace(DecisionTrace(0) + "nanosleep(200ms)\n" + LoopTrace(0) + "nanosleep(200ms)\n" +
              PictureSet() + DecisionTrace(0));
}

// The change of the source behind a preview.
TEST_F(SourceEvent, TellsAPreviewFromARealChange) {
  const std::string received = Received("SOURCE_INFO_CHANGE") + R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
    ISourceControl::GetSourceBeforePreview() -> 1: {source}
    TVServiceAPI::Destroy(sourceControl)
  )";
  fake.SetPicture({.source = kComputer, .sourceBeforePreview = kConsole});
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  Let("source", "13");
  ExpectTrace(received + R"(
    E SourceDataManager m_OnTvsSignaled | [GameBarService] same source, just preview source change\n
  )");
  EXPECT_EQ(manager().GetCurrentSource(), kConsole);
  ShowSource(kComputer);
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  Let("source", "14");
  ExpectTrace(received + R"(
    E SourceDataManager m_OnTvsSignaled | [GameBarService] real source change, new soure[14]\n
  )");
  EXPECT_EQ(manager().GetCurrentSource(), kComputer);
}

TEST_F(SourceEvent, TakesASourceThatIsNotKnownForAnotherOne) {
  fake.Fail("TVServiceAPI::CreateSourceControl", {.code = -5, .times = 1});
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  ExpectTrace(Received("SOURCE_INFO_CHANGE") + R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> -5: null
    E SourceDataManager m_GetCurrentSourceBeforePreview | [GameBarService] Create Source Control failed\n
    TVServiceAPI::Destroy(null)
    E SourceDataManager m_OnTvsSignaled | [GameBarService] real source change, new soure[-1]\n
  )");
  EXPECT_EQ(manager().GetCurrentSource(), -1);
}

TEST_F(SourceEvent, IsForgottenWhenTheSourceChangesBetween) {
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  fake.TakeTrace();
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_SIGNAL_OK);
  ExpectTrace(Received("EXT_SOURCE_SIGNAL_OK") + R"(
    E SourceDataManager m_OnTvsSignaled | [GameBarService] Not receive SIGNAL_EXT_SOURCE_CHANGE_START, do not handle!\n
  )");
}

TEST_F(SourceEvent, LaunchesOncePerSourceAndThenInTheBackground) {
  fake.SetKey(kDetection, 1);
  ChangeSource();
  FinishSourceWorker();
  fake.TakeTrace();
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    fake.SetAppStatus(kGameBar, status);
    const bool alive = status >= 0 && status != 5 && status != 9;
    ChangeSource();
    FinishSourceWorker();
    ExpectTrace(ChangeTrace() + DecisionTrace(1) + ViewerTrace() + PopupTrace() + kWanted + R"(
      E SourceDataManager m_HandleExtSignalOk | [GameBarService] m_LaunchCount [1] > 0, return\n
    )" + AliveTrace(status) +
                (alive ? "" : LaunchTrace("auto_background")));
  }
}

TEST_F(SourceEvent, LaunchesAgainAfterARealChangeOnly) {
  const auto launches = [&] {
    ChangeSource();
    FinishSourceWorker();
    fake.TakeTrace();
    return fake.TakeLaunches();
  };
  const std::vector<fakes::Launch> foreground = {
      {.appID = kGameBar, .extraData = {{"mode", "auto_source_change"}}}};
  fake.SetAppStatus(kGameBar, 2);
  EXPECT_EQ(launches(), foreground);
  EXPECT_TRUE(launches().empty());
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  EXPECT_TRUE(launches().empty());
  ShowSource(kComputer);
  fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
  EXPECT_EQ(launches(), foreground);
  EXPECT_TRUE(launches().empty());
}

TEST_F(SourceEvent, CountsNeitherTheLaunchAtTheStartNorForgetsOneThatWasForbidden) {
  fake.SetAppStatus(kGameBar, 2);
  manager().InitData();
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
  manager().Destory();
  manager().InitData();
  fake.TakeLaunches();
  fake.SetAppStatus(kForeign, 2);
  ChangeSource();
  FinishSourceWorker();
  EXPECT_TRUE(fake.TakeLaunches().empty());
  fake.SetAppStatus(kForeign, -1);
  fake.TakeTrace();
  ChangeSource();
  FinishSourceWorker();
  EXPECT_TRUE(fake.TakeLaunches().empty());
  EXPECT_TRUE(fake.WaitForTrace("m_LaunchCount [1] > 0, return"));
}

TEST_F(SourceEvent, LaunchesNothingWithoutADevice) {
  fake.SetKey(kDetection, 1);
  ShowSource(kTuner);
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1, "1", kTuner));
}

TEST_F(SourceEvent, LaunchesForAnyDevice) {
  fake.SetKey(kDetection, 1);
  for (const int source : {kComputer, kPlayer}) {
    ShowSource(source);
    fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
    fake.TakeTrace();
    ChangeSource();
    FinishSourceWorker();
    ExpectTrace(ChangeTrace() + DecisionTrace(1, "1", source) + LaunchedTrace());
  }
}

TEST_F(SourceEvent, LaunchesNothingWithAnotherGameItem) {
  fake.SetKey(kDetection, 1);
  for (const int item : {-1, 0, 3, 4}) {
    SCOPED_TRACE(item);
    fake.SetGameModes({.item = item});
    ChangeSource();
    FinishSourceWorker();
    ExpectTrace(ChangeTrace() + DecisionTrace(item));
  }
}

TEST_F(SourceEvent, NeedsADetectedGameInTheSecondGameState) {
  const std::set<int> games = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 13, 14};
  fake.SetAppStatus(kGameBar, 2);
  for (int detection = -1; detection <= 33; ++detection) {
    SCOPED_TRACE(detection);
    ShowSource(detection % 2 == 0 ? kConsole : kPlayer);  // a new one each time
    fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE);
    fake.SetGameModes({.item = 2});
    fake.SetKey(kDetection, detection);
    fake.TakeTrace();
    ChangeSource();
    FinishSourceWorker();
    ExpectTrace(
        ChangeTrace() +
        DecisionTrace(2, std::to_string(detection), detection % 2 == 0 ? kConsole : kPlayer) +
        (games.contains(detection) ? LaunchedTrace() : ""));
  }
}

TEST_F(SourceEvent, NeedsNoDetectedGameWithTheGameItemOn) {
  fake.SetKey(kDetection, 4);
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1, "4") + LaunchedTrace());
}

TEST_F(SourceEvent, TakesADetectionThatCannotBeReadForAGame) {
  fake.SetGameModes({.item = 2});
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + But(DecisionTrace(2), {{"game\") -> 0: 1", "game\") -> -1"}}) +
              LaunchedTrace());
}

TEST_F(SourceEvent, LaunchesNothingWhileTheViewerIsNotInFront) {
  fake.SetKey(kDetection, 1);
  fake.SetAppStatus(kViewer, 4);
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + ViewerTrace("resume_focus", 4));
}

TEST_F(SourceEvent, LaunchesNothingOverTheDisplayModePopup) {
  fake.SetKey(kDetection, 1);
  fake.SetKey(kBanners, "screen_ratio");
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + ViewerTrace() +
              PopupTrace("resume_focus", "screen_ratio"));
}

TEST_F(SourceEvent, TakesAGameItemThatCannotBeReadForOff) {
  fake.SetKey(kDetection, 1);
  fake.Fail("ormu_get_game_mode", {.code = -6});
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + But(DecisionTrace(0), {{"mode(0, 1) -> 0: 0", R"(mode(0, 1) -> -6
      E GameBarUtil GetGameModeValue | Get game mode failed. nRet: -6\n)"}}));
}

TEST_F(SourceEvent, CreatesTheAimPoint) {
  GameBarVAPManager::ReleaseInstance();
  fake.SetKey(kDetection, 1);
  fake.TakeTrace();
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + ViewerTrace() + PopupTrace() + kWanted +
              LaunchTrace("auto_source_change") + CreateVAPTrace() + RotatedTrace());
}

TEST_F(SourceEvent, LogsAnExceptionInItsWorkerAndLetsTheNextOneRun) {
  fake.SetKey(kDetection, 1);
  fake.Fail("vconf_get_str", {.on = kViewerState, .times = 1});
  ChangeSource();
  FinishSourceWorker();
  ASSERT_TRUE(fake.WaitForTrace(kNullText));
  EXPECT_TRUE(fake.TakeTrace().back().starts_with("E SourceDataManager m_HandleExtSignalOk | "));
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + LaunchedTrace());
}

TEST_F(SourceEvent, LogsAnExceptionInACallback) {
  const auto broken = std::make_exception_ptr(std::runtime_error("broken"));
  fake.Fail("TVServiceAPI::CreateSourceControl", {.times = 2, .exception = broken});
  const auto expect = [&](const std::string& beginning) {
    const auto trace = fake.TakeTrace();
    ASSERT_FALSE(trace.empty());
    EXPECT_TRUE(trace.back().starts_with(beginning)) << trace.back();
    EXPECT_NE(trace.back().find("broken"), std::string::npos) << trace.back();
  };
  fake.OnServiceThread([&] { fake.SendTvSignal(SIGNAL_SOURCE_INFO_CHANGE); });
  expect("E SourceDataManager m_OnTvsSignaled | ");
  fake.OnServiceThread([&] { fake.ChangePower(2, 0); });
  expect("E SourceDataManager m_OnPowerStateChanged | ");
}

class PowerEvent : public SourceEvent {
 protected:
  static std::string Changed(int previous, int current) {
    return "E SourceDataManager m_OnPowerStateChanged | [GameBarService] "
           "power state is changed from " +
           std::to_string(previous) + " to " + std::to_string(current) + "\\n\n";
  }

  // The power comes back; the worker sleeps afterwards.
  void PowerOn() {
    fake.ChangePower(2, 0);
    ASSERT_TRUE(fake.WaitForSleepers(1));
  }

  static constexpr char kLaunches[] = R"(
    E SourceDataManager m_OnPowerStateChanged | [GameBarService] Launch gamebar due to soft power off/on\n
  )";
};

TEST_F(PowerEvent, LaunchesTheGameBarAfterAWhile) {
  PowerOn();
  FinishSourceWorker();
  ExpectTrace(Changed(2, 0) + RefreshTrace(1) + "nanosleep(2500ms)\n" + RefreshTrace(1) +
              ViewerTrace() + kLaunches + LaunchTrace("auto_source_change"));
}

TEST_F(PowerEvent, LaunchesEachTimeAndCountsNot) {
  fake.SetKey(kDetection, 1);
  for (int i = 0; i < 2; ++i) {
    PowerOn();
    FinishSourceWorker();
    EXPECT_EQ(fake.TakeLaunches().size(), 1u);
  }
  fake.TakeTrace();
  ChangeSource();
  FinishSourceWorker();
  ExpectTrace(ChangeTrace() + DecisionTrace(1) + LaunchedTrace());
  fake.TakeLaunches();
  PowerOn();
  FinishSourceWorker();
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

TEST_F(PowerEvent, WaitsLongerForAPlayStation) {
  const std::pair<const char*, const char*> names[] = {
      {"PlayStation 5", "x"}, {"x", "PlayStation"}, {"my PlayStation!", "a PlayStation"}};
  for (const auto& [editName, detectedName] : names) {
    SCOPED_TRACE(editName);
    fake.SetSources({{13, {.sourceId = 13, .editName = editName, .detectedName = detectedName}}});
    fake.SendSourceEvent(0);
    fake.TakeTrace();
    PowerOn();
    EXPECT_TRUE(fake.WaitForTrace("nanosleep(5000ms)"));
    const auto trace = fake.TakeTrace();
    EXPECT_EQ(trace[trace.size() - 2],
              "E SourceDataManager m_OnPowerStateChanged | [GameBarService] PlayStation "
              "detect!\\n");
    FinishSourceWorker();
    EXPECT_EQ(fake.TakeLaunches().size(), 1u);
  }
  fake.SetSources({{13, {.sourceId = 13, .editName = "Playstation", .detectedName = "PS5"}}});
  fake.SendSourceEvent(0);
  fake.TakeTrace();
  PowerOn();
  EXPECT_TRUE(fake.WaitForTrace("nanosleep(2500ms)"));
  FinishSourceWorker();
}

TEST_F(PowerEvent, SleepsOnAfterAnInterruption) {
  PowerOn();
  fake.TakeTrace();
  ASSERT_TRUE(fake.InterruptSleep(std::chrono::milliseconds(1700)));
  FinishSourceWorker();
  ExpectTrace("nanosleep(2500ms) -> EINTR\nnanosleep(1700ms)\n" + RefreshTrace(1) + ViewerTrace() +
              kLaunches + LaunchTrace("auto_source_change"));
}

TEST_F(PowerEvent, IsIgnoredUnlessThePowerComesBack) {
  fake.ChangePower(1, 0);
  ExpectTrace(Changed(1, 0) + R"(
    E SourceDataManager m_OnPowerStateChanged | [GameBarService] power resume from picture off, ignore!\n
  )");
  const std::pair<int, int> others[] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2},
                                        {2, 1}, {2, 3}, {3, 2}, {-1, 5}};
  for (const auto& [previous, current] : others) {
    fake.ChangePower(previous, current);
    ExpectTrace(Changed(previous, current));
    fake.ChangePower(previous, current, nullptr);
    ExpectTrace(Changed(previous, current));
  }
}

TEST_F(PowerEvent, IsForSomebody) {
  fake.ChangePower(3, 0, nullptr);
  ExpectTrace(Changed(3, 0) + R"(
    E SourceDataManager m_OnPowerStateChanged | [GameBarService] pUserData is NULL\n
  )");
  fake.ChangePower(1, 0, nullptr);
  ExpectTrace(Changed(1, 0) + R"(
    E SourceDataManager m_OnPowerStateChanged | [GameBarService] power resume from picture off, ignore!\n
  )");
}

TEST_F(PowerEvent, ComesFromEveryOtherState) {
  for (const int previous : {-1, 2, 3, 7}) {
    fake.ChangePower(previous, 0);
    FinishSourceWorker();
    EXPECT_EQ(fake.TakeLaunches().size(), 1u) << previous;
  }
}

TEST_F(PowerEvent, DecidesByWhatIsTrueAfterItsSleep) {
  PowerOn();
  fake.TakeTrace();
  ShowSource(kTuner);
  FinishSourceWorker();
  ExpectTrace(RefreshTrace(1, kTuner));

  ShowSource(kConsole);
  PowerOn();
  fake.TakeTrace();
  fake.SetGameModes({.item = 2});
  FinishSourceWorker();
  ExpectTrace(RefreshTrace(2));

  fake.SetGameModes({.item = 1});
  for (const int state : {-1, 0, 2}) {
    PowerOn();
    fake.TakeTrace();
    fake.SetPicture({.sourceState = state, .source = kConsole, .sourceBeforePreview = kConsole});
    FinishSourceWorker();
    ExpectTrace(RefreshTrace(1, kConsole, state));
  }

  ShowSource(kConsole);
  PowerOn();
  fake.TakeTrace();
  fake.SetKey(kViewerState, "pause");
  FinishSourceWorker();
  ExpectTrace(RefreshTrace(1) + ViewerTrace("pause"));
}

TEST_F(PowerEvent, LaunchesOverTheDisplayModePopupAndForEveryDetection) {
  fake.SetKey(kBanners, "screen_ratio");
  fake.SetKey(kDetection, 4);
  PowerOn();
  fake.TakeTrace();
  FinishSourceWorker();
  ExpectTrace(RefreshTrace(1) + ViewerTrace() + kLaunches + LaunchTrace("auto_source_change"));
}

TEST_F(PowerEvent, LogsAnExceptionInItsWorkerAndLetsTheNextOneRun) {
  fake.Fail("vconf_get_str", {.on = kViewerState, .times = 1});
  PowerOn();
  FinishSourceWorker();
  ASSERT_TRUE(fake.WaitForTrace(kNullText));
  EXPECT_TRUE(fake.TakeTrace().back().starts_with("E SourceDataManager m_OnPowerStateChanged | "));
  PowerOn();
  FinishSourceWorker();
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

TEST_F(PowerEvent, IsHandledAfterTheSourceChangeThatIsUnderWay) {
  fake.SetKey(kDetection, 1);
  ChangeSource();
  fake.ChangePower(2, 0);
  EXPECT_FALSE(fake.WaitForSleepers(2, std::chrono::milliseconds(50)));
  fake.TakeTrace();
  EndSleep();
  ASSERT_TRUE(fake.WaitForTrace("nanosleep(2500ms)"));
  FinishSourceWorker();
  ExpectTrace(DecisionTrace(1) + LaunchedTrace() + "nanosleep(2500ms)\n" + RefreshTrace(1) +
              ViewerTrace() + kLaunches + LaunchTrace("auto_source_change"));
}

}  // namespace
