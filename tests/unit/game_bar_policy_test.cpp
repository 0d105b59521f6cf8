#include <json/json.h>

#include <climits>
#include <set>
#include <stdexcept>

#include "game_bar_test.h"
#include "gamebar/GameBarUtil.h"

namespace {

class GameBarLaunch : public GameBarTest {
 protected:
  // The trace of a launch up to and with the line that has this text.
  static std::string LaunchUntil(const std::string& text) {
    const std::string trace = LaunchTrace("auto_source_change");
    const auto at = trace.find(text);
    EXPECT_NE(at, std::string::npos) << text;
    return trace.substr(0, trace.find('\n', at) + 1);
  }
};

TEST_F(GameBarLaunch, TellsTheGameBarInWhichModeItIsLaunched) {
  const char* const modes[] = {"auto_internal_game_mode_on", "auto_game_item_on",
                               "auto_source_change", "auto_background"};
  for (int mode = 1; mode <= 4; ++mode) {
    SCOPED_TRACE(mode);
    CGameBarUtil::LaunchGameBarApp(mode);
    ExpectTrace(LaunchTrace(modes[mode - 1]));
    EXPECT_EQ(fake.TakeLaunches(),
              (std::vector<fakes::Launch>{
                  {.appID = kGameBar, .extraData = {{"mode", modes[mode - 1]}}}}));
    EXPECT_EQ(fake.AppControls(), 0);
  }
}

TEST_F(GameBarLaunch, SendsNothingInAnyOtherModeAndLeavesItsRequestBehind) {
  int left = 0;
  for (const int mode : {5, 0, -1, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(mode);
    CGameBarUtil::LaunchGameBarApp(mode);
    ExpectTrace(LaunchUntil("app_control_set_app_id"));
    EXPECT_TRUE(fake.TakeLaunches().empty());
    EXPECT_EQ(fake.AppControls(), ++left);
  }
}

TEST_F(GameBarLaunch, IsNeverAutomaticWhereTheModelSaysSo) {
  fake.SetFeature(kLaunchType, 0);
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(R"(
    E GameBarUtil LaunchGameBarApp | [GameBarService]   LaunchGameBarApp: Auto Mode\n
    system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type") -> 0: 0
    I GameBarUtil GetAutoLaunchType | [GameBarService] FMS key value [0]\n
    E GameBarUtil LaunchGameBarApp | [GameBarService]  Never Auto Launch!\n
  )");
}

TEST_F(GameBarLaunch, GoesOnWithAnyOtherTypeOfTheModel) {
  for (const int type : {-1, 2, 100, INT_MAX}) {
    SCOPED_TRACE(type);
    fake.SetFeature(kLaunchType, type);
    CGameBarUtil::LaunchGameBarApp(3);
    ExpectTrace(But(LaunchTrace("auto_source_change"),
                    {{"-> 0: 1\n", "-> 0: " + std::to_string(type) + "\n"},
                     {"value [1]", "value [" + std::to_string(type) + "]"}}));
  }
}

TEST_F(GameBarLaunch, GoesOnWhenTheTypeOfTheModelCannotBeRead) {
  fake.Fail("system_info_get_custom_int", {.code = -3});
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchTrace("auto_source_change"),
                  {{"-> 0: 1\n", "-> -3\n"},
                   {R"(I GameBarUtil GetAutoLaunchType | [GameBarService] FMS key value [1]\n)",
                    R"(E GameBarUtil GetAutoLaunchType | [GameBarService] get value failed\n)"}}));
}

TEST_F(GameBarLaunch, WaitsForNoSeveralScreens) {
  fake.SetKey(kScreensInfo, R"({"mode":"on"})");
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchUntil("mode value is"), {{R"("{"mode":"off"}")", R"("{"mode":"on"}")"},
                                                 {"value is off", "value is on"}}) +
              R"(
    E GameBarUtil LaunchGameBarApp | [GameBarService]  MultiScreen is Showing, Gamebar app can not be launched in this case!\n
  )");
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(GameBarLaunch, GoesOnWhenWhetherSeveralScreensAreShownIsNotKnown) {
  fake.SetKey(kScreensInfo, "{");
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchTrace("auto_source_change"), {{R"(-> "{"mode":"off"}")",
                                                       R"(-> "{"
    I GameBarUtil ParseJsonVal | json parse error\n)"},
                                                      {"value is off", "value is error"}}));
  fake.Fail("vconf_get_str", {.on = kScreensInfo});
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchTrace("auto_source_change"),
                  {{R"(-> "{"mode":"off"}")", "-> null"},
                   {"mode value is off", "fail to get memory/multiscreen/info."}}));
}

TEST_F(GameBarLaunch, LeavesThePlaceToTwoForeignApplicationsThatCanBeSeen) {
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    const std::string number = std::to_string(status);
    const bool vetoes = status == 2 || status == 3;
    const char veto[] = R"(
    E GameBarUtil LaunchGameBarApp | [GameBarService]  CSFS or MultiScreenLauncher is Running, Gamebar app can not be launched!\n
  )";
    fake.SetAppStatus(kForeign, status);
    CGameBarUtil::LaunchGameBarApp(3);
    const Differences foreign = {{"csfs\") -> -1", "csfs\") -> " + number},
                                 {"csfs state: -1", "csfs state: " + number}};
    ExpectTrace(vetoes ? But(LaunchUntil("csfs state"), foreign) + veto
                       : But(LaunchTrace("auto_source_change"), foreign));
    fake.SetAppStatus(kForeign, -1);

    fake.SetAppStatus(kScreens, status);
    CGameBarUtil::LaunchGameBarApp(3);
    const Differences screens = {
        {"multiscreenlauncher\") -> -1", "multiscreenlauncher\") -> " + number},
        {"multiscreenlauncher state: -1", "multiscreenlauncher state: " + number}};
    ExpectTrace(vetoes ? But(LaunchUntil("multiscreenlauncher state"), screens) + veto
                       : But(LaunchTrace("auto_source_change"), screens));
    fake.SetAppStatus(kScreens, -1);
    EXPECT_EQ(fake.TakeLaunches().size(), vetoes ? 0u : 2u);
  }
}

constexpr char kSent[] = "app_control_send_launch_request(appControl, null, null) -> 0\n";

TEST_F(GameBarLaunch, ReportsARequestThatIsNotTakenAndItsSuccessAllTheSame) {
  fake.Fail("app_control_send_launch_request", {.code = -38});
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchTrace("auto_source_change"),
                  {{kSent,
                    R"(app_control_send_launch_request(appControl, null, null) -> -38
    E GameBarUtil LaunchGameBarApp | [GameBarService] Failed to launch bulit in app upgrader, ret = -38\n
)"}}));
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(GameBarLaunch, GoesOnWhenARequestCannotBeFilledOrDestroyed) {
  fake.Fail("app_control_set_app_id", {.code = -2});
  fake.Fail("app_control_add_extra_data", {.code = -3});
  fake.Fail("app_control_send_launch_request", {.code = -4});
  fake.Fail("app_control_destroy", {.code = -5});
  CGameBarUtil::LaunchGameBarApp(3);
  ExpectTrace(But(LaunchTrace("auto_source_change"),
                  {{"gamebar\") -> 0", "gamebar\") -> -2"},
                   {"auto_source_change\") -> 0", "auto_source_change\") -> -3"},
                   {kSent,
                    R"(app_control_send_launch_request(appControl, null, null) -> -4
    E GameBarUtil LaunchGameBarApp | [GameBarService] Failed to launch bulit in app upgrader, ret = -4\n
)"},
                   {"destroy(appControl) -> 0", "destroy(appControl) -> -5"}}));
}

TEST_F(GameBarLaunch, DestroysNoRequestThatCouldNotBeCreated) {
  fake.Fail("app_control_create", {.code = -6});
  CGameBarUtil::LaunchGameBarApp(3);
  const Differences differences = {
      {"create() -> 0: appControl", "create() -> -6"},
      {"set_app_id(appControl, \"com.velmora.tv.gamebar\") -> 0",
       "set_app_id(null, \"com.velmora.tv.gamebar\") -> -1"},
      {"add_extra_data(appControl, \"mode\", \"auto_source_change\") -> 0",
       "add_extra_data(null, \"mode\", \"auto_source_change\") -> -1"},
      {kSent,
       R"(app_control_send_launch_request(null, null, null) -> -1
    E GameBarUtil LaunchGameBarApp | [GameBarService] Failed to launch bulit in app upgrader, ret = -1\n
)"},
      {"app_control_destroy(appControl) -> 0\n", ""}};
  ExpectTrace(But(LaunchTrace("auto_source_change"), differences));
}

class GameBarTermination : public GameBarTest {};

TEST_F(GameBarTermination, AsksTheGameBarWithoutRaisingItsWindow) {
  CGameBarUtil::TerminateGameBarApp();
  ExpectTrace(TerminateTrace());
  EXPECT_EQ(fake.TakeLaunches(),
            (std::vector<fakes::Launch>{
                {.appID = kGameBar,
                 .extraData = {{"__NO_RAISE_WINDOW", "enable"}, {"mode", "Terminate"}}}}));
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(GameBarTermination, IsHeldUpByNothingThatHoldsUpALaunch) {
  fake.SetFeature(kLaunchType, 0);
  fake.SetKey(kScreensInfo, R"({"mode":"on"})");
  fake.SetAppStatus(kForeign, 2);
  fake.SetAppStatus(kScreens, 2);
  CGameBarUtil::TerminateGameBarApp();
  ExpectTrace(TerminateTrace());
}

TEST_F(GameBarTermination, ReportsARequestThatIsNotTaken) {
  fake.Fail("app_control_send_launch_request", {.code = -38});
  CGameBarUtil::TerminateGameBarApp();
  ExpectTrace(
      But(TerminateTrace(), {{kSent,
                              R"(app_control_send_launch_request(appControl, null, null) -> -38
    E GameBarUtil TerminateGameBarApp | [GameBarService] Failed to launch bulit in app upgrader, ret = -38\n
)"}}));
}

TEST_F(GameBarTermination, DestroysNoRequestThatCouldNotBeCreated) {
  fake.Fail("app_control_create", {.code = -6});
  CGameBarUtil::TerminateGameBarApp();
  ExpectTrace(R"(
    E GameBarUtil TerminateGameBarApp | [GameBarService] TerminateGameBarApp!\n
    app_control_create() -> -6
    app_control_set_app_id(null, "com.velmora.tv.gamebar") -> -1
    app_control_add_extra_data(null, "__NO_RAISE_WINDOW", "enable") -> -1
    app_control_add_extra_data(null, "mode", "Terminate") -> -1
    app_control_send_launch_request(null, null, null) -> -1
    E GameBarUtil TerminateGameBarApp | [GameBarService] Failed to launch bulit in app upgrader, ret = -1\n
  )");
}

class GameBarPolicy : public GameBarTest {};

TEST_F(GameBarPolicy, KnowsTheTypeOfTheModelOr100) {
  EXPECT_EQ(CGameBarUtil::GetAutoLaunchType(), 1);
  fake.Fail("system_info_get_custom_int", {.code = -3, .times = 1});
  EXPECT_EQ(CGameBarUtil::GetAutoLaunchType(), 100);
  fake.SetFeature(kLaunchType, true);
  EXPECT_EQ(CGameBarUtil::GetAutoLaunchType(), 100);
  ExpectTrace(R"(
    system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type") -> 0: 1
    I GameBarUtil GetAutoLaunchType | [GameBarService] FMS key value [1]\n
    system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type") -> -3
    E GameBarUtil GetAutoLaunchType | [GameBarService] get value failed\n
    system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type") -> -1
    E GameBarUtil GetAutoLaunchType | [GameBarService] get value failed\n
  )");
}

TEST_F(GameBarPolicy, TakesTwelveDetectionValuesForAGame) {
  const std::set<int> games = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 13, 14};
  for (int value = 0; value <= 200; ++value) {
    EXPECT_EQ(CGameBarUtil::CheckGameVconf(value), games.contains(value)) << value;
  }
  EXPECT_FALSE(CGameBarUtil::CheckGameVconf(INT_MAX));
  ExpectTrace("");
}

TEST_F(GameBarPolicy, TakesNoNegativeDetectionValueForAGame) {
  for (const int value : {-1, -18, -31, -32, INT_MIN, INT_MIN + 1}) {
    EXPECT_FALSE(CGameBarUtil::CheckGameVconf(value)) << value;
  }
}

TEST_F(GameBarPolicy, SeesTheDisplayModePopupOverAViewerWithTheFocus) {
  const auto ask = [&](const std::string& state, const std::string& banners) {
    fake.SetKey(kViewerState, state);
    fake.SetKey(kBanners, banners);
    const bool focus = CGameBarUtil::IsFocusOnDisplayModePopup();
    ExpectTrace(PopupTrace(state, banners));
    return focus;
  };
  EXPECT_TRUE(ask("resume_focus", "screen_ratio"));
  EXPECT_TRUE(ask("a resume_focus b", "channel,screen_ratio,volume"));
  EXPECT_FALSE(ask("resume_focus", ""));
  EXPECT_FALSE(ask("resume_focus", "screen ratio"));
  EXPECT_FALSE(ask("resume", "screen_ratio"));
  EXPECT_FALSE(ask("RESUME_FOCUS", "screen_ratio"));
  EXPECT_FALSE(ask("", "screen_ratio"));
  EXPECT_FALSE(ask("", ""));
}

TEST_F(GameBarPolicy, SeesWhetherTheViewerIsInFront) {
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    fake.SetAppStatus(kViewer, status);
    EXPECT_EQ(CGameBarUtil::IsTVViewerResume(), status == 2 || status == 3);
    ExpectTrace(ViewerTrace("resume_focus", status));
  }
  fake.SetAppStatus(kViewer, 3);
  for (const char* state : {"resume", "resume_unfocus", "to_resume"}) {
    fake.SetKey(kViewerState, state);
    EXPECT_TRUE(CGameBarUtil::IsTVViewerResume()) << state;
    ExpectTrace(ViewerTrace(state, 3));
  }
  for (const char* state : {"", "pause", "Resume", "resum e"}) {
    fake.SetKey(kViewerState, state);
    EXPECT_FALSE(CGameBarUtil::IsTVViewerResume()) << state;
    ExpectTrace(ViewerTrace(state, 3));
  }
}

// What `question` says in the exception that ends it; empty without one.
template <typename Question>
std::string LogicErrorOf(Question question) {
  try {
    question();
  } catch (const std::logic_error& error) {
    return error.what();
  }
  return "";
}

constexpr char kNullText[] = "basic_string::_M_construct null not valid";

TEST_F(GameBarPolicy, RaisesTheTextsOwnErrorWithoutTheViewersKeys) {
  fake.Fail("vconf_get_str", {.on = kBanners, .times = 1});
  EXPECT_EQ(LogicErrorOf([] { CGameBarUtil::IsFocusOnDisplayModePopup(); }), kNullText);
  fake.SetKey(kViewerState, 1);
  EXPECT_EQ(LogicErrorOf([] { CGameBarUtil::IsFocusOnDisplayModePopup(); }), kNullText);
  EXPECT_EQ(LogicErrorOf([] { CGameBarUtil::IsTVViewerResume(); }), kNullText);
  for (const std::string& line : fake.TakeTrace()) {
    EXPECT_EQ(line.find("tv-viewer state"), std::string::npos) << line;
  }
}

TEST_F(GameBarPolicy, TakesTheGameBarForAliveUnlessItEndsOrHasEnded) {
  const std::set<int> gone = {-2, -1, 5, 9};
  for (int status = -2; status <= 10; ++status) {
    SCOPED_TRACE(status);
    fake.SetAppStatus(kGameBar, status);
    EXPECT_EQ(CGameBarUtil::IsGameBarAlive(), !gone.contains(status));
    ExpectTrace(AliveTrace(status));
  }
}

TEST_F(GameBarPolicy, TakesAForeignApplicationForRunningWhenItCanBeSeen) {
  for (int status = -1; status <= 9; ++status) {
    SCOPED_TRACE(status);
    Let("status", std::to_string(status));
    fake.SetAppStatus(kScreens, status);
    fake.SetAppStatus(kForeign, status);
    EXPECT_EQ(CGameBarUtil::IsMultiScreenLauncherRunning(), status == 2 || status == 3);
    EXPECT_EQ(CGameBarUtil::IsCSFSRunning(), status == 2 || status == 3);
    ExpectTrace(R"(
      aul_app_get_status("com.velmora.tv.multiscreenlauncher") -> {status}
      E GameBarUtil IsMultiScreenLauncherRunning | [GameBarService] multiscreenlauncher state: {status}\n
      aul_app_get_status("com.velmora.tv.csfs") -> {status}
      E GameBarUtil IsCSFSRunning | [GameBarService] csfs state: {status}\n
    )");
  }
}

TEST_F(GameBarPolicy, KnowsWhetherTheGameModeIsOn) {
  for (const int mode : {-1, 0, 1, 2}) {
    fake.SetGameModes({.real = mode});
    EXPECT_EQ(CGameBarUtil::isGameModeOn(), mode == 1);
    ExpectTrace(RealGameModeTrace(mode));
  }
  fake.Fail("ormu_get_real_game_mode", {.code = -4});
  EXPECT_FALSE(CGameBarUtil::isGameModeOn());
  ExpectTrace(R"(
    ormu_get_real_game_mode(1) -> -4
    E GameBarUtil isGameModeOn | Game Mode GET value( 0)(0: OFF, 1: ON)\n
    E GameBarUtil isGameModeOn | Get game mode failed. nRet: -4\n
  )");
}

TEST_F(GameBarPolicy, ReadsTheGameItemOrTakesItForOff) {
  for (const int mode : {-1, 0, 1, 2, 3}) {
    fake.SetGameModes({.item = mode});
    EXPECT_EQ(CGameBarUtil::GetGameModeValue(), mode);
    ExpectTrace("ormu_get_game_mode(0, 1) -> 0: " + std::to_string(mode));
  }
  fake.Fail("ormu_get_game_mode", {.code = 4});
  EXPECT_EQ(CGameBarUtil::GetGameModeValue(), 0);
  ExpectTrace(R"(
    ormu_get_game_mode(0, 1) -> 4
    E GameBarUtil GetGameModeValue | Get game mode failed. nRet: 4\n
  )");
}

TEST_F(GameBarPolicy, ReadsWhetherSeveralScreensAreShown) {
  for (const char* mode : {"on", "off", "On", ""}) {
    fake.SetKey(kScreensInfo, R"({"mode":")" + std::string(mode) + "\"}");
    EXPECT_EQ(CGameBarUtil::GetMultiScreenStatus(), mode);
    ExpectTrace(MultiScreenTrace(mode));
  }
  fake.SetKey(kScreensInfo, "x");
  EXPECT_EQ(CGameBarUtil::GetMultiScreenStatus(), "error");
  fake.SetKey(kScreensInfo, 1);
  EXPECT_EQ(CGameBarUtil::GetMultiScreenStatus(), "");
  ExpectTrace(R"(
    vconf_get_str("memory/multiscreen/info") -> "x"
    I GameBarUtil ParseJsonVal | json parse error\n
    E GameBarUtil GetMultiScreenStatus | mode value is error\n
    vconf_get_str("memory/multiscreen/info") -> null
    E GameBarUtil GetMultiScreenStatus | fail to get memory/multiscreen/info.\n
  )");
}

TEST_F(GameBarPolicy, FindsAMemberOfAJsonObject) {
  EXPECT_EQ(CGameBarUtil::ParseJsonVal(R"({"a":"x","b":"y"})", "b"), "y");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal(R"({"a":7})", "a"), "7");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal(R"({"a":true})", "a"), "true");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal(R"({"a":null})", "a"), "");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal(R"({"a":"x"})", "b"), "");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal("{}", "a"), "");
  EXPECT_EQ(CGameBarUtil::ParseJsonVal("null", "a"), "");
  ExpectTrace("");
}

TEST_F(GameBarPolicy, TakesWhatIsNotJsonForAnError) {
  for (const char* text : {"", " ", "{", R"({"a":)", R"({"a" "x"})", "x", "[1,", "\"a"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(CGameBarUtil::ParseJsonVal(text, "a"), "error");
    ExpectTrace(R"(I GameBarUtil ParseJsonVal | json parse error\n)");
  }
}

TEST_F(GameBarPolicy, LetsTheJsonLibrarysErrorLeave) {
  for (const char* text : {R"({"a":{}})", R"({"a":[]})", "[]", "7", "\"a\""}) {
    EXPECT_THROW(CGameBarUtil::ParseJsonVal(text, "a"), Json::Exception) << text;
  }
  fake.SetKey(kScreensInfo, R"({"mode":[]})");
  EXPECT_THROW(CGameBarUtil::GetMultiScreenStatus(), Json::Exception);
  EXPECT_THROW(CGameBarUtil::LaunchGameBarApp(3), Json::Exception);
  EXPECT_EQ(fake.AppControls(), 0);
}

}  // namespace
