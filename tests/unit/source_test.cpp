#include <algorithm>
#include <climits>

#include "game_bar_test.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/SourceDataManager.h"

namespace {

class Sources : public GameBarTest {
 protected:
  Sources() { CreateSourceDataManager(); }

  static CSourceDataManager& manager() { return *CSourceDataManager::GetInstance(); }

  static std::string SubscribeTrace() {
    std::string trace;
    for (const char* signal : {"25", "26", "27", "28", "29", "30", "128"}) {
      trace +=
          "ISignalSubscriber::Subscribe(" + std::string(signal) + ", sourceDataManager, 1) -> 0\n";
    }
    return trace;
  }

  static std::string UnsubscribeTrace(const std::string& result = "0") {
    std::string trace;
    for (const char* signal : {"25", "26", "27", "28", "29", "30", "128"}) {
      trace += "ISignalSubscriber::Unsubscribe(" + std::string(signal) + ", 1, callback4) -> " +
               result + "\n";
    }
    return trace;
  }

  static std::string BeforePreviewTrace(const std::string& source = "13") {
    return R"(
      TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
      ISourceControl::GetSourceBeforePreview() -> 1: )" +
           source + R"(
      TVServiceAPI::Destroy(sourceControl)
    )";
  }

  static constexpr char kRegistrations[] = R"(
    CSourceAPI::RegisterSourceAPICallback(callback1, sourceDataManager) -> 0
    ormu_register_callback_id("picture-setting-period", callback2, sourceDataManager) -> 1
    device_power_subscribe_state_changed_event(callback3, sourceDataManager) -> 0
    TVServiceAPI::CreateSignalSubscriber(callback4) -> 0: subscriber
  )";
  static constexpr char kLaunches[] = R"(
    E SourceDataManager InitData | [GameBarService] Launch gamebar due to source change\n
  )";

  // Whether InitData leaves this line.
  bool InitLeaves(const std::string& line) {
    fake.TakeTrace();
    manager().InitData();
    const auto trace = fake.TakeTrace();
    return std::find(trace.begin(), trace.end(), line) != trace.end();
  }

  // The kind of the device that is shown, as it is found when everything is read again.
  bool IsType(int type) {
    return InitLeaves(
        "E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] "
        "CurrentGameDeviceType: " +
        std::to_string(type) + "\\n");
  }

  void SetSource(const std::string& editName, const std::string& detectedName = "") {
    fake.SetSources({{13, {.sourceId = 13, .editName = editName, .detectedName = detectedName}}});
  }
};

TEST_F(Sources, AreFollowedAndReadInTheirOrder) {
  manager().InitData();
  ExpectTrace(kRegistrations + SubscribeTrace() + SourceListTrace() + RefreshTrace(0) +
              BeforePreviewTrace());
  EXPECT_EQ(manager().GetCurrentSource(), 13);
  EXPECT_EQ(fake.TvObjects(), 1);
}

TEST_F(Sources, LaunchTheGameBarWhenTheSetStartsAtAGame) {
  fake.SetGameModes({.item = 1});
  manager().InitData();
  ExpectTrace(kRegistrations + SubscribeTrace() + SourceListTrace() + RefreshTrace(1) +
              BeforePreviewTrace() + kLaunches + LaunchTrace("auto_source_change"));
}

TEST_F(Sources, LaunchTheGameBarAtTheStartForAnyDevice) {
  fake.SetGameModes({.item = 1});
  for (const int source : {kComputer, kPlayer}) {
    ShowSource(source);
    manager().InitData();
    EXPECT_EQ(fake.TakeLaunches().size(), 1u) << source;
  }
}

TEST_F(Sources, LaunchNothingAtTheStartWithoutADeviceOrTheGameItem) {
  for (const int item : {-1, 0, 2, 3}) {
    fake.SetGameModes({.item = item});
    manager().InitData();
  }
  fake.SetGameModes({.item = 1});
  ShowSource(kTuner);
  fake.TakeTrace();
  manager().InitData();
  const std::string trace =
      SubscribeTrace() + SourceListTrace() + RefreshTrace(1, kTuner) + BeforePreviewTrace("0");
  ExpectTrace(But(kRegistrations, {{"-> 1\n", "-> 5\n"}}) + trace);
  EXPECT_TRUE(fake.TakeLaunches().empty());
}

TEST_F(Sources, AreFollowedAsFarAsThatWorks) {
  fake.Fail("CSourceAPI::RegisterSourceAPICallback", {.code = -1});
  fake.Fail("ormu_register_callback_id");
  fake.Fail("device_power_subscribe_state_changed_event", {.code = -2});
  fake.Fail("TVServiceAPI::CreateSignalSubscriber", {.code = -3});
  fake.Fail("CSourceAPI::GetSourceList", {.code = -4});
  fake.Fail("TVServiceAPI::CreateSourceControl", {.code = -5});
  fake.Fail("ormu_get_game_mode", {.code = -6});
  manager().InitData();
  const std::string failed = R"(
    CSourceAPI::RegisterSourceAPICallback(callback1, sourceDataManager) -> -1
    ormu_register_callback_id("picture-setting-period", callback2, sourceDataManager) -> 0
    device_power_subscribe_state_changed_event(callback3, sourceDataManager) -> -2
    TVServiceAPI::CreateSignalSubscriber(callback4) -> -3: null
    E SourceDataManager m_RegisterExtSignalHandle | [GameBarService] Failed to CreateSignalSubscriber\n
    CSourceAPI::GetSourceList() -> -4
    TVServiceAPI::CreateSourceControl(1, 0) -> -5: null
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] Create Source Control failed\n
    TVServiceAPI::Destroy(null)
    ormu_get_game_mode(0, 1) -> -6
    E GameBarUtil GetGameModeValue | Get game mode failed. nRet: -6\n
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] CurrentGameDeviceType: 0\n
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] m_GameItemMode: 0\n
    TVServiceAPI::CreateSourceControl(1, 0) -> -5: null
    E SourceDataManager m_GetCurrentSourceBeforePreview | [GameBarService] Create Source Control failed\n
    TVServiceAPI::Destroy(null)
  )";
  ExpectTrace(failed);
  EXPECT_EQ(manager().GetCurrentSource(), -1);
  manager().Destory();
  ExpectTrace(R"(
    CSourceAPI::UnregisterSourceAPICallback(sourceDataManager) -> -1
    ormu_unregister_callback_id(0) -> -1
    device_power_unsubscribe_state_changed_event(callback3) -> -1
  )");
}

TEST_F(Sources, AreUnknownWhenTheServiceGivesNoControl) {
  fake.Fail("TVServiceAPI::CreateSourceControl", {.code = 0});
  fake.Fail("TVServiceAPI::CreateSignalSubscriber", {.code = 0});
  manager().InitData();
  const auto trace = fake.TakeTrace();
  const auto count = [&](const std::string& line) {
    return std::count(trace.begin(), trace.end(), line);
  };
  EXPECT_EQ(count("E SourceDataManager m_RegisterExtSignalHandle | [GameBarService] "
                  "Failed to CreateSignalSubscriber\\n"),
            1);
  EXPECT_EQ(count("E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] "
                  "Create Source Control failed\\n"),
            1);
  EXPECT_EQ(count("E SourceDataManager m_GetCurrentSourceBeforePreview | [GameBarService] "
                  "Create Source Control failed\\n"),
            1);
  EXPECT_EQ(count("TVServiceAPI::Destroy(null)"), 2);
  EXPECT_EQ(manager().GetCurrentSource(), -1);
}

TEST_F(Sources, AreUnknownWhenTheControlDoesNotSay) {
  fake.Fail("ISourceControl::GetSourceState");
  fake.Fail("ISourceControl::GetCurrentSource", {.code = -7});
  fake.Fail("ISourceControl::GetSourceBeforePreview");
  manager().InitData();
  ExpectTrace(kRegistrations + SubscribeTrace() + SourceListTrace() + R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
    ISourceControl::GetSourceState() -> -1
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] m_SourceState: -1\n
    ISourceControl::GetCurrentSource() -> -7
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] Get Source Info failed\n
    TVServiceAPI::Destroy(sourceControl)
    ormu_get_game_mode(0, 1) -> 0: 0
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] CurrentGameDeviceType: 0\n
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] m_GameItemMode: 0\n
    TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
    ISourceControl::GetSourceBeforePreview() -> 0
    E SourceDataManager m_GetCurrentSourceBeforePreview | [GameBarService] Get Source Info failed\n
    TVServiceAPI::Destroy(sourceControl)
  )");
  EXPECT_EQ(manager().GetCurrentSource(), -1);
}

TEST_F(Sources, AreSubscribedAndUnsubscribedEachWhateverBecomesOfTheOthers) {
  fake.Fail("ISignalSubscriber::Subscribe", {.code = -8});
  fake.Fail("ISignalSubscriber::Unsubscribe", {.on = "25", .code = -9});
  manager().InitData();
  fake.TakeTrace();
  manager().Destory();
  ExpectTrace(
      But(UnsubscribeTrace("-1"), {{"(25, 1, callback4) -> -1", "(25, 1, callback4) -> -9"}}) +
      R"(
    CSourceAPI::UnregisterSourceAPICallback(sourceDataManager) -> 0
    ormu_unregister_callback_id(1) -> 0
    device_power_unsubscribe_state_changed_event(callback3) -> 0
  )");
}

TEST_F(Sources, AreKnownByTheNumbersOfTheirPorts) {
  const std::map<int, std::string> ports = {
      {13, "SOURCE_TYPE_HDMI1"}, {14, "SOURCE_TYPE_HDMI2"},        {15, "SOURCE_TYPE_HDMI3"},
      {16, "SOURCE_TYPE_HDMI4"}, {33, "SOURCE_TYPE_DISPLAY_PORT"}, {38, "SOURCE_TYPE_HDMI5"},
      {39, "SOURCE_TYPE_HDMI6"}, {41, "SOURCE_TYPE_USB_C"},        {46, "SOURCE_TYPE_HDMI7"},
      {47, "SOURCE_TYPE_HDMI8"}};
  fake.SetSources({});
  std::vector<int> sources = {INT_MIN, -1, 1000, INT_MAX};
  for (int source = 0; source <= 60; ++source) {
    sources.push_back(source);
  }
  for (const int source : sources) {
    SCOPED_TRACE(source);
    ShowSource(source);
    const auto port = ports.find(source);
    EXPECT_TRUE(
        InitLeaves("E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is " +
                   (port == ports.end() ? "NOT_VALID" : port->second) + "\\n"));
    EXPECT_TRUE(IsType(port == ports.end() ? 0 : 3));
    EXPECT_EQ(manager().GetCurrentSource(), source);
  }
}

TEST_F(Sources, AreConsolesByTheirNameForTheUser) {
  const char* const consoles[] = {"XBOX",
                                  "XBOX One",
                                  "XBOX One X",
                                  "XBOX 360",
                                  "XBOX Series",
                                  "XBOX Series X",
                                  "PlayStation",
                                  "PlayStation 3",
                                  "PlayStation 4",
                                  "PlayStation 5",
                                  "NintendoSwitch",
                                  "Nintendo Switch",
                                  "PlayStation 5 Pro",
                                  "my XBOX",
                                  "Game Console",
                                  "a Game Console b",
                                  "PC with PlayStation",
                                  "Game Console PC",
                                  "XBOXPC"};
  for (const char* name : consoles) {
    SetSource(name);
    EXPECT_TRUE(IsType(1)) << name;
  }
}

TEST_F(Sources, AreComputersOrAnythingElseByTheirNameForTheUser) {
  for (const char* name : {"PC", "my PC", "UPCOMING", "PCxbox"}) {
    SetSource(name);
    EXPECT_TRUE(IsType(2)) << name;
  }
  for (const char* name : {"", "xbox", "Playstation", "Play Station", "Nintendo", "Switch",
                           "game console", "GameConsole", "pc", "P C", "Blu-ray"}) {
    SetSource(name);
    EXPECT_TRUE(IsType(3)) << name;
  }
}

TEST_F(Sources, AreNotWhatTheirDevicesCallThemselves) {
  SetSource("Blu-ray", "PlayStation 5");
  EXPECT_TRUE(IsType(3));
  SetSource("PC", "XBOX");
  EXPECT_TRUE(IsType(2));
}

TEST_F(Sources, KeepTheNamesOfTheOneBeforeWhenTheyAreNotInTheList) {
  manager().InitData();
  ShowSource(16);
  fake.TakeTrace();
  manager().InitData();
  const std::string refresh = But(
      RefreshTrace(0),
      {{"-> 1: 13", "-> 1: 16"},
       {"HDMI1", "HDMI4"},
       {R"(E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] find the source\n)",
        ""}});
  ExpectTrace(But(kRegistrations, {{"-> 1\n", "-> 2\n"}}) + SubscribeTrace() + SourceListTrace() +
              refresh + BeforePreviewTrace("16"));
}

TEST_F(Sources, AreFoundByTheFirstEntryOfTheirNumber) {
  fake.SetSources({{1, {.sourceId = 14, .editName = "XBOX", .detectedName = ""}},
                   {2, {.sourceId = 13, .editName = "PC", .detectedName = ""}},
                   {13, {.sourceId = 13, .editName = "XBOX", .detectedName = ""}}});
  EXPECT_TRUE(IsType(2));
}

TEST_F(Sources, StayAsTheyWereWhenTheirListCannotBeReadAgain) {
  manager().InitData();
  fake.SetSources({});
  fake.Fail("CSourceAPI::GetSourceList");
  EXPECT_TRUE(
      InitLeaves("E SourceDataManager m_RefreshSourceList | [GameBarService]******** "
                 "detectedName : Console, editName  : XBOX One ********\\n"));
  EXPECT_TRUE(IsType(1));
}

TEST_F(Sources, GiveTheSizeOfTheirWindowWithHeightAndWidthExchanged) {
  fake.SetPicture({.x = 1, .y = 2, .width = 4, .height = 3});
  int x = 9;
  int y = 9;
  int w = 9;
  int h = 9;
  manager().GetVideoControlSize(x, y, w, h);
  EXPECT_EQ((std::vector{x, y, w, h}), (std::vector{1, 2, 4, 3}));
  ExpectTrace(R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> 0: videoControl
    I SourceDataManager GetVideoControlSize | get video control ret=[0]\n
    IVideoControl::GetVideoWindow() -> 0: 1, 2, 3, 4
    I SourceDataManager GetVideoControlSize | get size ret=[0], x,y,w,h=[1,2,4,3]\n
    TVServiceAPI::Destroy(videoControl)
  )");
  fake.Fail("TVServiceAPI::CreateVideoControl", {.code = 3});
  manager().GetVideoControlSize(x, y, w, h);
  EXPECT_EQ((std::vector{x, y, w, h}), (std::vector{0, 0, 0, 0}));
  ExpectTrace(R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> 3: null
    I SourceDataManager GetVideoControlSize | get video control ret=[3]\n
    TVServiceAPI::Destroy(null)
  )");
}

TEST_F(Sources, AreLeftAgainInTheirOrderAndTheSubscriberIsKept) {
  manager().InitData();
  fake.TakeTrace();
  manager().Destory();
  ExpectTrace(UnsubscribeTrace() + R"(
    CSourceAPI::UnregisterSourceAPICallback(sourceDataManager) -> 0
    ormu_unregister_callback_id(1) -> 0
    device_power_unsubscribe_state_changed_event(callback3) -> 0
  )");
  EXPECT_EQ(fake.TvObjects(), 1);
  EXPECT_EQ(manager().GetCurrentSource(), 13);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_CHANGE_START);
  fake.SendSourceEvent(1);
  fake.Notify("picture-setting-period", 0);
  fake.ChangePower(2, 0);
  ExpectTrace("");
}

constexpr char kConstructed[] = R"(
  E SourceDataManager CSourceDataManager | [GameBarService] CSourceDataManager constructor!!\n
)";

TEST_F(Sources, HaveOneManagerThatIsReleasedAndCreatedAnew) {
  CSourceDataManager* const first = CSourceDataManager::GetInstance();
  EXPECT_EQ(CSourceDataManager::GetInstance(), first);
  first->InitData();
  fake.TakeTrace();
  CSourceDataManager::ReleaseInstance();
  ExpectTrace(UnsubscribeTrace() + R"(
    CSourceAPI::UnregisterSourceAPICallback(sourceDataManager) -> 0
    ormu_unregister_callback_id(1) -> 0
    device_power_unsubscribe_state_changed_event(callback3) -> 0
    E SourceDataManager ~CSourceDataManager | [GameBarService] CSourceDataManager destructor!!\n
  )");
  CSourceDataManager::ReleaseInstance();
  ExpectTrace("");
  EXPECT_EQ(CSourceDataManager::GetInstance()->GetCurrentSource(), -1);
  ExpectTrace(kConstructed);
}

// The list of sources, while it changes.
class SourceListChange : public Sources {
 protected:
  SourceListChange() {
    manager().InitData();
    CreateVAPManager();
    fake.TakeTrace();
  }

  static constexpr char kChanged[] = R"(
    E SourceDataManager m_SourceListChanged | [GameBarService] m_SourceListChanged\n
  )";
  static constexpr char kFirstIsInput[] = R"(
    E SourceDataManager m_GetGameDeviceExist | [GameBarService] editName : XBOX One\n
    E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is SOURCE_TYPE_HDMI1\n
  )";
  static constexpr char kNoAimPoints[] = R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] no data\n
  )";
};

TEST_F(SourceListChange, ReadsTheListAndHandsItToTheAimPoints) {
  fake.SendSourceEvent(0);
  ExpectTrace(kChanged + SourceListTrace() + kFirstIsInput + kNoAimPoints);
  fake.OnServiceThread([&] { fake.SendSourceEvent(3); });
  ExpectTrace(kChanged + SourceListTrace() + kFirstIsInput + kNoAimPoints);
}

TEST_F(SourceListChange, IsIgnoredWhenNothingChangedOrNobodyIsMeant) {
  fake.SendSourceEvent(-1);
  ExpectTrace(kChanged);
  fake.SendSourceEvent(-1, nullptr);
  ExpectTrace(kChanged);
  fake.SendSourceEvent(0, nullptr);
  ExpectTrace(std::string(kChanged) + R"(
    E SourceDataManager m_SourceListChanged | [GameBarService] pUserData is NULL\n
  )");
}

TEST_F(SourceListChange, PrunesTheAimPoints) {
  GameBarVAPManager::GetInstance()->ParseVAPData(R"([{"s":13},{"s":16}])");
  fake.TakeTrace();
  fake.SendSourceEvent(0);
  ExpectTrace(kChanged + SourceListTrace() + kFirstIsInput + R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [16], need remove data\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [16] success\n
    vconf_set_str("db/menu/virtualaim/position", "[{"d":[],"s":13}]\n") -> 0
    I GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position succeed! <[{"d":[],"s":13}]\n>\n
  )");
}

TEST_F(SourceListChange, CreatesTheAimPoints) {
  GameBarVAPManager::ReleaseInstance();
  fake.TakeTrace();
  fake.SendSourceEvent(0);
  ExpectTrace(kChanged + SourceListTrace() + kFirstIsInput + CreateVAPTrace() + kNoAimPoints);
}

TEST_F(SourceListChange, StopsAtTheFirstInputForVideo) {
  fake.SetSources({{0, {.sourceId = 0, .editName = "Tuner", .detectedName = ""}},
                   {13, {.sourceId = 1, .editName = "", .detectedName = "x"}},
                   {20, {.sourceId = 47, .editName = "Radio", .detectedName = ""}},
                   {21, {.sourceId = 13, .editName = "XBOX", .detectedName = ""}}});
  fake.SendSourceEvent(0);
  ExpectTrace(std::string(kChanged) + R"(
    CSourceAPI::GetSourceList() -> 0: {0 "Tuner" "", 13 is 1 "" "x", 20 is 47 "Radio" "", 21 is 13 "XBOX" ""}
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : , editName  : Tuner ********\n
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : x, editName  :  ********\n
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : , editName  : Radio ********\n
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : , editName  : XBOX ********\n
    E SourceDataManager m_GetGameDeviceExist | [GameBarService] editName : Tuner\n
    E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is NOT_VALID\n
    E SourceDataManager m_GetGameDeviceExist | [GameBarService] editName : \n
    E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is NOT_VALID\n
    E SourceDataManager m_GetGameDeviceExist | [GameBarService] editName : Radio\n
    E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is SOURCE_TYPE_HDMI8\n
  )" + kNoAimPoints);
}

TEST_F(SourceListChange, TerminatesTheGameBarThatIsAliveWhenNoInputIsLeft) {
  fake.SetSources({});
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    fake.SetAppStatus(kGameBar, status);
    fake.SendSourceEvent(0);
    const bool alive = status >= 0 && status != 5 && status != 9;
    ExpectTrace(std::string(kChanged) + "CSourceAPI::GetSourceList() -> 0: {}\n" +
                AliveTrace(status) + (alive ? TerminateTrace() : "") + kNoAimPoints);
  }
}

TEST_F(SourceListChange, LeavesTheGameBarAloneWhileAnInputIsLeft) {
  fake.SetAppStatus(kGameBar, 2);
  fake.SendSourceEvent(0);
  EXPECT_TRUE(fake.TakeLaunches().empty());
}

TEST_F(SourceListChange, CountsOnTheListBeforeWhenItCannotBeRead) {
  fake.SetSources({});
  fake.Fail("CSourceAPI::GetSourceList", {.code = -4});
  fake.SendSourceEvent(0);
  ExpectTrace(
      kChanged +
      But(SourceListTrace(),
          {{R"(0: {13 "XBOX One" "Console", 14 "PC" "Computer", 15 "Blu-ray" "Player"})", "-4"}}) +
      kFirstIsInput + kNoAimPoints);
}

TEST_F(SourceListChange, KnowsNoInputWithoutAnyList) {
  CSourceDataManager::ReleaseInstance();
  fake.Fail("CSourceAPI::GetSourceList", {.code = -4});
  CreateSourceDataManager();
  manager().InitData();
  fake.TakeTrace();
  fake.SendSourceEvent(0);
  ExpectTrace(std::string(kChanged) + "CSourceAPI::GetSourceList() -> -4\n" + AliveTrace(-1) +
              kNoAimPoints);
}

TEST_F(SourceListChange, LogsAnExceptionInItsCallback) {
  fake.SetSources({});
  fake.SetAppStatus(kGameBar, 2);
  fake.Fail("app_control_create",
            {.times = 1, .exception = std::make_exception_ptr(std::runtime_error("broken"))});
  fake.OnServiceThread([&] { fake.SendSourceEvent(0); });
  const auto trace = fake.TakeTrace();
  ASSERT_FALSE(trace.empty());
  EXPECT_TRUE(trace.back().starts_with("E SourceDataManager m_SourceListChanged | "));
  EXPECT_NE(trace.back().find("broken"), std::string::npos) << trace.back();
  fake.SendSourceEvent(0);
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

}  // namespace
