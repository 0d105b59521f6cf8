#include <climits>

#include "game_bar_test.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/SourceDataManager.h"

namespace {

// The aim point with a source shown whose window is 1920 wide and 1080 high, and a store with one
// record for it.
class AimPoint : public GameBarTest {
 protected:
  AimPoint() {
    fake.Name(reinterpret_cast<const void*>(GameBarVAPManager::OnVAPDataChanged),
              "OnVAPDataChanged");
    fake.Name(reinterpret_cast<const void*>(GameBarVAPManager::OnRotateChanged), "OnRotateChanged");
    CreateSourceDataManager();
    CSourceDataManager::GetInstance()->InitData();
    CreateVAPManager(1);
    SetWindow(1920, 1080);
    Fill(kRecord);
  }

  void Fill(const std::string& text) {
    manager().ParseVAPData(text);
    fake.TakeTrace();
  }

  void SetWindow(int width, int height) {
    fake.SetPicture({.source = kConsole,
                     .sourceBeforePreview = kConsole,
                     .x = 3,
                     .y = 4,
                     .width = width,
                     .height = height});
  }

  // What SetVAP leaves up to the look at the store.
  static std::string WindowTrace(const std::string& width = "1920",
                                 const std::string& height = "1080") {
    return MultiScreenTrace() + R"(
      TVServiceAPI::CreateVideoControl(1, 0) -> 0: videoControl
      I SourceDataManager GetVideoControlSize | get video control ret=[0]\n
      IVideoControl::GetVideoWindow() -> 0: 3, 4, )" +
           height + ", " + width + R"(
      I SourceDataManager GetVideoControlSize | get size ret=[0], x,y,w,h=[3,4,)" +
           width + "," + height + R"(]\n
      TVServiceAPI::Destroy(videoControl)
      I GameBarVAPManager SetVAP | [GameBarService] current source [13]\n
    )";
  }

  static constexpr char kRecord[] = R"([{"s":13,"d":[{"rt":1,"as":5,"at":2,"ax":0.5,"ay":0.25}]}])";
  static constexpr char kFound[] = R"(
    I GameBarVAPManager SetVAP | [GameBarService] find source [13] !!\n
  )";
  static constexpr char kData[] = R"(
    I GameBarVAPManager SetVAP | [GameBarService] find data aim status[5], aim type[2], ratio type [1],aim pos [0.500000, 0.250000] !!\n
  )";
  static constexpr char kWritten[] = R"(
    vconf_set_int("db/menu/virtualaim/aimtype", 2) -> 0
    vconf_set_int("memory/menu/virtualaim/status", 5) -> 0
    I GameBarVAPManager SetVAP | [GameBarService] set aim status success !!\n
  )";
  static constexpr char kDone[] = R"(
    I GameBarVAPManager SetVAP | [GameBarService] set VAP done\n
  )";
  static std::string AppliedTrace() { return WindowTrace() + kFound + kData + kWritten + kDone; }

  static GameBarVAPManager& manager() { return *GameBarVAPManager::GetInstance(); }

  // Turns the screen as another process reports it.
  void Rotate(int state) {
    fake.SetKey(kRotation, state);
    fake.RunMainLoop();
  }
};

TEST_F(AimPoint, IsShownAsItsRecordSays) {
  manager().SetVAP();
  ExpectTrace(AppliedTrace());
  EXPECT_EQ(fake.Key(kAimType), fakes::KeyValue(2));
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(5));
  EXPECT_EQ(fake.TvObjects(), 1);  // the subscriber of signals
}

TEST_F(AimPoint, IsSwitchedOffByARecordThatSaysSo) {
  fake.SetKey(kAimStatus, 1);
  fake.SetKey(kAimType, 9);
  Fill(R"([{"s":13,"d":[{"rt":1,"as":0,"at":2,"ax":1,"ay":2}]}])");
  manager().SetVAP();
  ExpectTrace(WindowTrace() + kFound + R"(
    I GameBarVAPManager SetVAP | [GameBarService] find data aim status[0], aim type[2], ratio type [1],aim pos [1.000000, 2.000000] !!\n
    vconf_set_int("memory/menu/virtualaim/status", 0) -> 0
    I GameBarVAPManager SetVAP | [GameBarService] set aim status success !!\n
  )" + kDone);
  EXPECT_EQ(fake.Key(kAimType), fakes::KeyValue(9));
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(0));
}

TEST_F(AimPoint, ReportsKeysThatCannotBeWrittenAndItsSuccessAllTheSame) {
  fake.Fail("vconf_set_int", {.on = kAimType, .code = -2, .times = 1});
  fake.Fail("vconf_set_int", {.on = kAimStatus, .code = -3});
  manager().SetVAP();
  ExpectTrace(WindowTrace() + kFound + kData + R"(
    vconf_set_int("db/menu/virtualaim/aimtype", 2) -> -2
    I GameBarVAPManager SetVAP | [GameBarService] Fail to set aim type value !!\n
    vconf_set_int("memory/menu/virtualaim/status", 5) -> -3
    I GameBarVAPManager SetVAP | [GameBarService] Fail to set aim status value !!\n
    I GameBarVAPManager SetVAP | [GameBarService] set aim status success !!\n
  )" + kDone);
  Fill(R"([{"s":13,"d":[{"rt":1}]}])");
  manager().SetVAP();
  ExpectTrace(WindowTrace() + kFound + R"(
    I GameBarVAPManager SetVAP | [GameBarService] find data aim status[0], aim type[0], ratio type [1],aim pos [0.000000, 0.000000] !!\n
    vconf_set_int("memory/menu/virtualaim/status", 0) -> -3
    I GameBarVAPManager SetVAP | [GameBarService] Fail to set aim status value !!\n
    I GameBarVAPManager SetVAP | [GameBarService] set aim status success !!\n
  )" + kDone);
}

TEST_F(AimPoint, IsNotShownWithSeveralScreensWhateverTheRotation) {
  const std::string showing = MultiScreenTrace("on") + R"(
    E GameBarVAPManager SetVAP | [GameBarService]  MultiScreen is Showing, virtual aim point can not be showing in this case!\n
  )";
  fake.SetKey(kScreensInfo, R"({"mode":"on"})");
  manager().SetVAP();
  ExpectTrace(showing);
  GameBarVAPManager::ReleaseInstance();
  CreateVAPManager(0);
  manager().SetVAP();
  ExpectTrace(showing);
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(0));
}

TEST_F(AimPoint, IsShownInEveryRotationButTwo) {
  for (const int state : {-2, -1, 0, 1, 2, 3, 4, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(state);
    GameBarVAPManager::ReleaseInstance();
    CreateVAPManager(state);
    Fill(kRecord);
    manager().SetVAP();
    ExpectTrace(state == 0 || state == 2 ? RotatedTrace() : AppliedTrace());
  }
}

TEST_F(AimPoint, IsNotShownWithoutAStore) {
  Fill("[]");
  manager().SetVAP();
  ExpectTrace(MultiScreenTrace() + R"(
    I GameBarVAPManager SetVAP | [GameBarService] no data\n
  )");
}

TEST_F(AimPoint, IsLeftAloneWithoutARecordForTheSourceAndItsWindow) {
  fake.SetKey(kAimStatus, 7);
  const auto expect = [&](const std::string& text, const std::string& trace) {
    SCOPED_TRACE(text);
    Fill(text);
    manager().SetVAP();
    ExpectTrace(WindowTrace() + trace + kDone);
    EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(7));
    EXPECT_EQ(fake.Key(kAimType), std::nullopt);
  };
  expect(R"([{"s":14,"d":[{"rt":1,"as":1}]}])", "");
  expect(R"([{"s":13}])", kFound);
  expect(R"([{"s":13,"d":[{"rt":0,"as":1},{"rt":3,"as":1}]}])", kFound);
  // Only the first entry of a source counts.
  expect(R"([{"s":13,"d":[{"rt":3}]},{"s":13,"d":[{"rt":1,"as":1}]}])", kFound);
}

TEST_F(AimPoint, TakesTheFirstRecordForTheWindow) {
  Fill(R"([{"s":14,"d":[{"rt":1,"as":9}]},{"s":13,"d":[{"rt":3,"as":8},
          {"rt":1,"as":5,"at":2,"ax":0.5,"ay":0.25},{"rt":1,"as":6}]}])");
  manager().SetVAP();
  ExpectTrace(AppliedTrace());
}

TEST_F(AimPoint, DependsOnTheRatioOfTheWindowWithoutItsFraction) {
  struct Window {
    int width;
    int height;
    int ratio;
  };
  for (const auto& [width, height, ratio] :
       {Window{1920, 1080, 1}, Window{3840, 1080, 3}, Window{1080, 1920, 0}, Window{0, 1080, 0},
        Window{3839, 1080, 3}, Window{2160, 1080, 2}, Window{-1920, 1080, -1},
        Window{1920, -1080, -1}}) {
    SCOPED_TRACE(ratio);
    SetWindow(width, height);
    Let("ratio", std::to_string(ratio));
    Fill(R"([{"s":13,"d":[{"rt":)" + std::to_string(ratio) +
         R"(,"as":5,"at":2,"ax":0.5,"ay":0.25}]}])");
    manager().SetVAP();
    ExpectTrace(But(WindowTrace(std::to_string(width), std::to_string(height)) + kFound + kData +
                        kWritten + kDone,
                    {{"ratio type [1]", "ratio type [{ratio}]"}}));
  }
}

TEST_F(AimPoint, HasNoRecordForAWindowWithoutHeight) {
  Fill(R"([{"s":13,"d":[{"rt":0,"as":1},{"rt":1,"as":1},{"rt":1920,"as":1},{"rt":2147483647}]}])");
  SetWindow(1920, 0);
  manager().SetVAP();
  ExpectTrace(WindowTrace("1920", "0") + kFound + kDone);
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(0));
  EXPECT_EQ(fake.Key(kAimType), std::nullopt);
}

TEST_F(AimPoint, HasNoRecordForARatioThatIsNoNumber) {
  Fill(R"([{"s":13,"d":[{"rt":-2147483648,"as":1},{"rt":2147483647,"as":1},{"rt":0,"as":1}]}])");
  SetWindow(INT_MIN, -1);
  manager().SetVAP();
  ExpectTrace(WindowTrace("-2147483648", "-1") + kFound + kDone);
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(0));
}

TEST_F(AimPoint, HasNoRecordWhenTheWindowIsNotKnown) {
  fake.Fail("TVServiceAPI::CreateVideoControl", {.code = -5, .times = 1});
  manager().SetVAP();
  ExpectTrace(MultiScreenTrace() + R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> -5: null
    I SourceDataManager GetVideoControlSize | get video control ret=[-5]\n
    TVServiceAPI::Destroy(null)
    I GameBarVAPManager SetVAP | [GameBarService] current source [13]\n
  )" + kFound +
              kDone);
  fake.Fail("TVServiceAPI::CreateVideoControl", {.code = 0, .times = 1});
  manager().SetVAP();
  ExpectTrace(MultiScreenTrace() + R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> 0: null
    I SourceDataManager GetVideoControlSize | get video control ret=[0]\n
    TVServiceAPI::Destroy(null)
    I GameBarVAPManager SetVAP | [GameBarService] current source [13]\n
  )" + kFound +
              kDone);
  fake.Fail("IVideoControl::GetVideoWindow", {.code = -6});
  manager().SetVAP();
  ExpectTrace(MultiScreenTrace() + R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> 0: videoControl
    I SourceDataManager GetVideoControlSize | get video control ret=[0]\n
    IVideoControl::GetVideoWindow() -> -6
    I SourceDataManager GetVideoControlSize | get size ret=[-6], x,y,w,h=[0,0,0,0]\n
    TVServiceAPI::Destroy(videoControl)
    I GameBarVAPManager SetVAP | [GameBarService] current source [13]\n
  )" + kFound +
              kDone);
}

TEST_F(AimPoint, CreatesTheSourceManagerThatItAsks) {
  CSourceDataManager::ReleaseInstance();
  fake.TakeTrace();
  Fill(R"([{"s":-1,"d":[{"rt":1}]}])");
  SetWindow(1, 2);
  manager().SetVAP();
  const std::string trace = But(WindowTrace("1", "2"), {{"source [13]", "source [-1]"},
                                                        {"TVServiceAPI::CreateVideoControl", R"(
    E SourceDataManager CSourceDataManager | [GameBarService] CSourceDataManager constructor!!\n
    TVServiceAPI::CreateVideoControl)"}});
  ExpectTrace(trace + But(kFound, {{"[13]", "[-1]"}}) + kDone);
}

TEST_F(AimPoint, IsClosedWhenItIsShown) {
  fake.SetKey(kAimStatus, 3);
  GameBarVAPManager::CloseVAP();
  ExpectTrace(R"(
    vconf_get_int("memory/menu/virtualaim/status") -> 0: 3
    I GameBarVAPManager CloseVAP | [GameBarService] do close aim \n
    vconf_set_int("memory/menu/virtualaim/status", 0) -> 0
  )");
  GameBarVAPManager::CloseVAP();
  ExpectTrace(AlreadyClosedTrace());
}

TEST_F(AimPoint, ReportsThatItCannotBeClosed) {
  fake.SetKey(kAimStatus, -1);
  fake.Fail("vconf_set_int", {.on = kAimStatus, .code = -3});
  GameBarVAPManager::CloseVAP();
  ExpectTrace(R"(
    vconf_get_int("memory/menu/virtualaim/status") -> 0: -1
    I GameBarVAPManager CloseVAP | [GameBarService] do close aim \n
    vconf_set_int("memory/menu/virtualaim/status", 0) -> -3
    I GameBarVAPManager CloseVAP | [GameBarService] Fail to set aim status value !!\n
  )");
}

TEST_F(AimPoint, CountsAsClosedWhenThatCannotBeRead) {
  fake.SetKey(kAimStatus, 3);
  fake.Fail("vconf_get_int", {.on = kAimStatus, .code = -3});
  GameBarVAPManager::CloseVAP();
  ExpectTrace(R"(
    vconf_get_int("memory/menu/virtualaim/status") -> -3
    I GameBarVAPManager CloseVAP | [GameBarService] Fail to get aim status value !!\n
    I GameBarVAPManager CloseVAP | [GameBarService] already closed aim!!\n
  )");
  EXPECT_EQ(fake.Key(kAimStatus), fakes::KeyValue(3));
}

constexpr char kVAPInit[] = R"(
  vconf_get_str("db/menu/virtualaim/position") -> "[{"s":13}]"
  E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [[{"s":13}]]\n
  I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=13, ]\n
  vconf_notify_key_changed("db/menu/virtualaim/position", OnVAPDataChanged, null) -> 0
  vconf_notify_key_changed("db/sysman/rotation_state", OnRotateChanged, null) -> 0
)";

TEST_F(AimPoint, BeginsWithTheStoredTextAndTheWatchOfTwoKeys) {
  fake.SetKey(kAimStore, R"([{"s":13}])");
  manager().InitData();
  ExpectTrace(kVAPInit + RealGameModeTrace(0));
}

TEST_F(AimPoint, IsShownAtItsBeginningInTheGameMode) {
  fake.SetKey(kAimStore, R"([{"s":13}])");
  fake.SetGameModes({.real = 1});
  manager().InitData();
  ExpectTrace(kVAPInit + RealGameModeTrace(1) + WindowTrace() + kFound + kDone);
}

TEST_F(AimPoint, BeginsThoughNothingOfItWorks) {
  for (const char* call :
       {"vconf_get_str", "vconf_notify_key_changed", "ormu_get_real_game_mode"}) {
    fake.Fail(call, {.code = -4});
  }
  manager().InitData();
  ExpectTrace(R"(
    vconf_get_str("db/menu/virtualaim/position") -> null
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = []\n
    E GameBarVAPManager ParseVAPData | [GameBarService] json parse error\n
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=13, ratioType=1, aimStatus=5, aimType=2, aimPosX=0.5, aimPosY=0.25, \n]\n
    vconf_notify_key_changed("db/menu/virtualaim/position", OnVAPDataChanged, null) -> -4
    vconf_notify_key_changed("db/sysman/rotation_state", OnRotateChanged, null) -> -4
    ormu_get_real_game_mode(1) -> -4
    E GameBarUtil isGameModeOn | Game Mode GET value( 0)(0: OFF, 1: ON)\n
    E GameBarUtil isGameModeOn | Get game mode failed. nRet: -4\n
  )");
}

class WatchedAimPoint : public AimPoint {
 protected:
  WatchedAimPoint() {
    fake.SetKey(kAimStore, kRecord);
    manager().InitData();
    fake.TakeTrace();
  }

  static std::string RotationTrace(int state) {
    return R"(
      I GameBarVAPManager OnRotateChanged | [GameBarService] Rotate changed!\n
      vconf_get_int("db/sysman/rotation_state") -> 0: )" +
           std::to_string(state) + "\n";
  }
};

TEST_F(WatchedAimPoint, IsReadAgainWhenItsTextChangesButNotShown) {
  fake.SetKey(kAimStore, R"([{"s":14}])");
  fake.RunMainLoop();
  ExpectTrace(R"(
    I GameBarVAPManager OnVAPDataChanged | [GameBarService] VAP data changed!\n
    vconf_get_str("db/menu/virtualaim/position") -> "[{"s":14}]"
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [[{"s":14}]]\n
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=14, ]\n
  )");
  fake.SetKey(kAimStore, "{");
  fake.RunMainLoop();
  ExpectTrace(R"(
    I GameBarVAPManager OnVAPDataChanged | [GameBarService] VAP data changed!\n
    vconf_get_str("db/menu/virtualaim/position") -> "{"
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [{]\n
    E GameBarVAPManager ParseVAPData | [GameBarService] json parse error\n
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=14, ]\n
  )");
}

TEST_F(WatchedAimPoint, ReadsItsOwnWritingAgain) {
  manager().OnSourceListChange(std::make_shared<std::multimap<int, CSourceItem>>());
  fake.TakeTrace();
  fake.RunMainLoop();
  ExpectTrace(R"(
    I GameBarVAPManager OnVAPDataChanged | [GameBarService] VAP data changed!\n
    vconf_get_str("db/menu/virtualaim/position") -> "null\n"
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [null\n]\n
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[]\n
  )");
}

TEST_F(WatchedAimPoint, IsShownWhenTheScreenIsTurnedToOne) {
  Rotate(1);
  ExpectTrace(RotationTrace(1) + AppliedTrace());
}

TEST_F(WatchedAimPoint, IsClosedWhenTheScreenIsTurnedToZeroOrTwo) {
  for (const int state : {0, 2}) {
    Rotate(state);
    ExpectTrace(RotationTrace(state) + AlreadyClosedTrace());
    manager().SetVAP();
    ExpectTrace(RotatedTrace());
  }
}

TEST_F(WatchedAimPoint, IsLeftAloneInAnyOtherRotation) {
  for (const int state : {3, -1, 4, 100}) {
    Rotate(state);
    ExpectTrace(RotationTrace(state));
  }
  manager().SetVAP();
  ExpectTrace(AppliedTrace());
}

TEST_F(WatchedAimPoint, IsClosedWhenTheRotationCannotBeRead) {
  fake.SetKey(kAimStatus, 3);
  fake.Fail("vconf_get_int", {.on = kRotation, .times = 1});
  Rotate(1);
  ExpectTrace(R"(
    I GameBarVAPManager OnRotateChanged | [GameBarService] Rotate changed!\n
    vconf_get_int("db/sysman/rotation_state") -> -1
    E GameBarVAPManager GetRotateState | [GameBarService] Fail to get rotate state !!\n
    vconf_get_int("memory/menu/virtualaim/status") -> 0: 3
    I GameBarVAPManager CloseVAP | [GameBarService] do close aim \n
    vconf_set_int("memory/menu/virtualaim/status", 0) -> 0
  )");
}

TEST_F(WatchedAimPoint, LogsAnExceptionInACallbackOfAKey) {
  fake.SetKey(kScreensInfo, R"({"mode":[]})");
  Rotate(1);
  const std::vector<std::string> trace = fake.TakeTrace();
  ASSERT_FALSE(trace.empty());
  EXPECT_TRUE(trace.back().starts_with("E GameBarVAPManager OnRotateChanged | ")) << trace.back();
  EXPECT_NE(trace.back().find("not convertible to string"), std::string::npos) << trace.back();
  fake.SetKey(kScreensInfo, R"({"mode":"off"})");
  Rotate(1);
  ExpectTrace(RotationTrace(1) + AppliedTrace());
}

TEST_F(WatchedAimPoint, IsEmptyAndUnwatchedButUsableAfterItsTeardown) {
  manager().Destory();
  ExpectTrace(R"(
    vconf_ignore_key_changed("db/menu/virtualaim/position", OnVAPDataChanged) -> 0
    vconf_ignore_key_changed("db/sysman/rotation_state", OnRotateChanged) -> 0
  )");
  Rotate(2);
  fake.SetKey(kAimStore, "[]");
  fake.RunMainLoop();
  manager().SetVAP();
  ExpectTrace(MultiScreenTrace() + R"(
    I GameBarVAPManager SetVAP | [GameBarService] no data\n
  )");
  manager().InitData();
  fake.TakeTrace();
  Rotate(2);
  ExpectTrace(RotationTrace(2) + AlreadyClosedTrace());
}

class AimPointManager : public GameBarTest {};

TEST_F(AimPointManager, IsOneAndReadsTheRotationWhenItIsCreated) {
  GameBarVAPManager* const manager = GameBarVAPManager::GetInstance();
  ExpectTrace(CreateVAPTrace());
  EXPECT_EQ(GameBarVAPManager::GetInstance(), manager);
  ExpectTrace("");
}

TEST_F(AimPointManager, TakesARotationThatCannotBeReadForZero) {
  fake.Fail("vconf_get_int", {.on = kRotation, .times = 2});
  GameBarVAPManager* const manager = GameBarVAPManager::GetInstance();
  ExpectTrace(R"(
    E GameBarVAPManager GameBarVAPManager | [GameBarService] GameBarVAPManager constructor!!\n
    vconf_get_int("db/sysman/rotation_state") -> -1
    E GameBarVAPManager GetRotateState | [GameBarService] Fail to get rotate state !!\n
  )");
  EXPECT_EQ(manager->GetRotateState(), 0);
  fake.SetKey(kRotation, 7);
  EXPECT_EQ(manager->GetRotateState(), 7);
  ExpectTrace(R"(
    vconf_get_int("db/sysman/rotation_state") -> -1
    E GameBarVAPManager GetRotateState | [GameBarService] Fail to get rotate state !!\n
    vconf_get_int("db/sysman/rotation_state") -> 0: 7
  )");
  manager->SetVAP();
  ExpectTrace(RotatedTrace());
}

TEST_F(AimPointManager, IsTornDownAndDestroyedWhenItIsReleased) {
  GameBarVAPManager::ReleaseInstance();
  ExpectTrace("");
  GameBarVAPManager::GetInstance();
  fake.TakeTrace();
  GameBarVAPManager::ReleaseInstance();
  ExpectTrace(R"(
    vconf_ignore_key_changed("db/menu/virtualaim/position", callback1) -> -1
    vconf_ignore_key_changed("db/sysman/rotation_state", callback2) -> -1
    E GameBarVAPManager ~GameBarVAPManager | [GameBarService] GameBarVAPManager destructor!!\n
  )");
  GameBarVAPManager::ReleaseInstance();
  ExpectTrace("");
  GameBarVAPManager::GetInstance();
  ExpectTrace(CreateVAPTrace());
}

}  // namespace
