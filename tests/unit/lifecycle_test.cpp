#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service_test.h"

namespace {

using namespace std::chrono_literals;

class ServiceObject : public fakes::FakePlatformTest {};

TEST_F(ServiceObject, LogsItsConstructionAfterItsAlarmAndItsDestructionBeforeIt) {
  {
    SettingsService service;
    EXPECT_EQ(service.ServiceName(), "settings_service");
    ExpectTrace(R"(
      TCDaemonService::TCDaemonService("settings_service")
      TCAlarm::TCAlarm()
      E SettingsService SettingsService | SettingsService constructor!!\n
    )");
  }
  ExpectTrace(R"(
    E SettingsService ~SettingsService | SettingsService destructor!!\n
    TCAlarm::~TCAlarm()
    TCDaemonService::~TCDaemonService()
  )");
}

TEST_F(ServiceObject, CreatesNoAlarmUntilTheServiceIsCreated) {
  SettingsService service;
  EXPECT_TRUE(fake.Alarms().empty());
}

class Start : public ServiceTest {
 protected:
  void ExpectStart(std::string_view trace, fakes::Place where = fakes::Place::Current()) {
    EXPECT_TRUE(service.t_OnCreate());
    ExpectTrace(trace, where);
  }

  // Where readiness is announced, requests must be served from then on.
  void ExpectRequestsAreServed() {
    fake.SetItem("brightness", {.value = "50"});
    EXPECT_EQ(Send(R"({"method": "GetItemValue", "data": {"menuID": "brightness"}})"),
              R"({"call_api_success":true,"connect_server":true,"return_data":"50"})");
  }
};

TEST_F(Start, RunsItsStepsInTheirOrder) {
  ExpectStart(kStart);
  ExpectRequestsAreServed();
}

TEST_F(Start, GoesOnWithoutTheWatchesOverKeys) {
  fake.Fail("vconf_notify_key_changed");
  ExpectStart(StartBut({{"UpdateLanguage, null) -> 0", "UpdateLanguage, null) -> -1"},
                        {"GeneralResetCB, null) -> 0", "GeneralResetCB, null) -> -1"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, LogsThatSpeakersCannotBeWatched) {
  fake.Fail("sound_manager_set_speaker_changed_cb", {.code = 2});
  ExpectStart(StartBut({{"callback2, settings_service) -> 0\n",
                         R"(callback2, settings_service) -> 2
  E SettingsService m_Initialize | sound_manager_set_speaker_changed_cb failed\n
)"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, GivesTheAlarmTheServiceAPeriodOf15SecondsAndNoEnd) {
  service.t_OnCreate();
  ASSERT_EQ(fake.Alarms().size(), 1u);
  const fakes::Alarm alarm = fake.Alarms()[0];
  EXPECT_EQ(alarm.eventIO, static_cast<Nuvra::TCEventIO*>(&service));
  EXPECT_EQ(alarm.period, 15000ms);
  EXPECT_EQ(alarm.repetition, Nuvra::NUVRA_INFINITY);
  EXPECT_NE(alarm.callback, nullptr);
  EXPECT_EQ(alarm.userData, &service);
}

TEST_F(Start, ResetsTheAlarmAndRepeatsTheRestWhenItRunsAgain) {
  ExpectStart(kStart);
  ExpectStart(StartBut({{"TCAlarm::Create(settings_service, 15000, NUVRA_INFINITY) -> true\n",
                         "TCAlarm::Reset(15000, NUVRA_INFINITY) -> true\n"},
                        {"TCAlarm::SetAlarmCallback(callback1, settings_service)\n", ""}}));
  EXPECT_EQ(fake.Alarms().size(), 1u);
}

TEST_F(Start, GoesOnWhenTheAlarmCannotBeReset) {
  service.t_OnCreate();
  fake.TakeTrace();
  fake.Fail("TCAlarm::Reset");
  ExpectStart(StartBut({{"TCAlarm::Create(settings_service, 15000, NUVRA_INFINITY) -> true\n",
                         "TCAlarm::Reset(15000, NUVRA_INFINITY) -> false\n"},
                        {"TCAlarm::SetAlarmCallback(callback1, settings_service)\n", ""}}));
}

TEST_F(Start, GoesOnWhenTheAlarmCannotBeCreatedAndCreatesItTheNextTime) {
  fake.Fail("TCAlarm::Create", {.times = 1});
  ExpectStart(StartBut({{"NUVRA_INFINITY) -> true", "NUVRA_INFINITY) -> false"}}));
  ExpectStart(kStart);
}

TEST_F(Start, GoesOnWithoutEcore) {
  fake.Fail("ecore_init");
  ExpectStart(StartBut({{"ecore_init() -> 1", "ecore_init() -> 0"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, GoesOnWithoutTheWatchdog) {
  fake.Fail("smart_deadlock_register_watchdog_service");
  ExpectStart(StartBut({{"service(100) -> 0", "service(100) -> -1"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, GoesOnWithoutCpuInheritance) {
  fake.Fail("resource_register_cpu_inheritance_destination");
  ExpectStart(StartBut({{"{pid}) -> 0", "{pid}) -> -1"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, ServesRequestsThoughItsReadyEventCannotBeSent) {
  fake.Fail("LwipcEventDone", {.code = -7});
  ExpectStart(StartBut({{R"(LwipcEventDone("/tmp/settings-service_ready") -> 0
)",
                         R"(LwipcEventDone("/tmp/settings-service_ready") -> -7
  E SettingsService m_Initialize | failed to send event, setting service ready\n
)"}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, TakesAPositiveResultOfTheReadyEventForSuccess) {
  fake.Fail("LwipcEventDone", {.code = 1});
  ExpectStart(StartBut({{"service_ready\") -> 0", "service_ready\") -> 1"}}));
}

TEST_F(Start, LogsTheActiveNetworkSpeakersAndTheirNumberAsTheOutdoorValue) {
  fake.SetNetworkSpeakers({"id1", "id2"}, "Living room", "surround");
  ExpectStart(StartBut({{"GetActiveNetSpkInfo() -> 0\n",
                         R"(GetActiveNetSpkInfo() -> 2: "Living room", "surround"
  I SettingsService m_Initialize | activeSpksDisplayName[Living room], activeSpksSpeakerType[surround]\n\n
)"},
                        {"Outdoor supported[0]", "Outdoor supported[2]"}}));
}

TEST_F(Start, LogsSpeakerTextsOfTheLargestSize) {
  const std::string name(127, 'n');
  const std::string type(22, 't');
  Let("name", name);
  Let("type", type);
  fake.SetNetworkSpeakers({"id"}, name + "cut", type + "cut");
  ExpectStart(StartBut({{"GetActiveNetSpkInfo() -> 0\n",
                         R"(GetActiveNetSpkInfo() -> 1: "{name}", "{type}"
  I SettingsService m_Initialize | activeSpksDisplayName[{name}], activeSpksSpeakerType[{type}]\n\n
)"},
                        {"Outdoor supported[0]", "Outdoor supported[1]"}}));
}

TEST_F(Start, LogsNoSpeakersWhenTheyAreNotKnown) {
  fake.Fail("GetActiveNetSpkInfo", {.code = -3});
  ExpectStart(StartBut({{"GetActiveNetSpkInfo() -> 0", "GetActiveNetSpkInfo() -> -3"},
                        {"Outdoor supported[0]", "Outdoor supported[-3]"}}));
}

TEST_F(Start, LogsTheNumberOfSpeakersAsTheOutdoorValueOnAnOutdoorModelToo) {
  fake.SetFeature("com.velmora/featureconf/outdoor_tv_product_image_support", true);
  ASSERT_TRUE(service.t_OnCreate());
  std::vector<std::string> outdoorLines;
  for (const std::string& line : fake.TakeTrace()) {
    if (line.find("Outdoor") != std::string::npos) {
      outdoorLines.push_back(line);
    }
  }
  EXPECT_EQ(outdoorLines,
            std::vector<std::string>{R"(I SettingsService m_Initialize | Outdoor supported[0]\n)"});
}

TEST_F(Start, LogsThatTheModelHasAGameBar) {
  fake.SetFeature("com.velmora/featureconf/game_bar.support", true);
  ASSERT_TRUE(service.t_OnCreate());
  std::vector<std::string> gameBarLines;
  for (const std::string& line : fake.TakeTrace()) {
    if (line.find("isSupportGameBar") != std::string::npos) {
      gameBarLines.push_back(line);
    }
  }
  EXPECT_EQ(gameBarLines,
            std::vector<std::string>{
                R"(E SettingsService m_Initialize | [GameBarService] isSupportGameBar: 1\n)"});
}

TEST_F(Start, TakesAnUnreadableGameBarFeatureForNone) {
  fake.Fail("system_info_get_custom_bool",
            {.on = "com.velmora/featureconf/game_bar.support", .code = -2});
  ExpectStart(StartBut({{"game_bar.support\") -> 0: false", "game_bar.support\") -> -2"}}));
}

TEST_F(Start, LogsAnUnreadableOutdoorFeature) {
  fake.Fail("system_info_get_custom_bool",
            {.on = "com.velmora/featureconf/outdoor_tv_product_image_support", .code = 5});
  ExpectStart(StartBut({{"image_support\") -> 0: false", "image_support\") -> 5"},
                        {"Outdoor supported[0]", "get Outdoor value failed"}}));
}

TEST_F(Start, TakesFeaturesOfAnotherTypeForUnreadable) {
  fake.SetFeature("com.velmora/featureconf/game_bar.support", 1);
  fake.SetFeature("com.velmora/featureconf/outdoor_tv_product_image_support", 1);
  ExpectStart(StartBut({{"game_bar.support\") -> 0: false", "game_bar.support\") -> -1"},
                        {"image_support\") -> 0: false", "image_support\") -> -1"},
                        {"Outdoor supported[0]", "get Outdoor value failed"}}));
}

TEST_F(Start, CompletesWithoutTheReclaimFileAndLogsTheErrno) {
  fake.Fail("fopen", {.on = "/proc/self/reclaim", .code = EACCES});
  Let("errno", std::to_string(EACCES));
  ExpectStart(StartBut({{R"(fopen("/proc/self/reclaim", "w") -> open
  I SettingsService do_swap_and_cach_drop_memory | [{pid}][success to open][1]\n
  fclose("/proc/self/reclaim"): "3"
)",
                         R"(fopen("/proc/self/reclaim", "w") -> EACCES
  I SettingsService do_swap_and_cach_drop_memory | [{pid}][fail to open ({errno})]\n
)"}}));
  ExpectRequestsAreServed();
}

// The two steps of a start that are about items still disabled, when there is none.
constexpr char kNoDisabledItems[] =
    R"(vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
  E SettingsService m_LoadDisableMenuItem | m_LoadDisableMenuItem\n
  vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_LoadDisableMenuItem | fail to check disabled items.\n
)";

// The same when there is one.
constexpr char kDisabledItems[] =
    R"(vconf_get_str("memory/menu/disabled_items") -> "x by app"
  I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
  app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
  I SettingsService m_RegisterAppTerminateCB | Finish\n
  E SettingsService m_LoadDisableMenuItem | m_LoadDisableMenuItem\n
  vconf_get_str("memory/menu/disabled_items") -> "x by app"
  E SettingsService m_LoadDisableMenuItem | Disable[x by app]\n
  I SettingsServiceCommand UpdateDisabledItemList | UpdateDisableItemList\n
  CSettingsItemInfoAPI::UpdateDisabledItemList()
  vconf_set_int("db/menu/refresh_menu", 1) -> 0
  E SettingsService m_LoadDisableMenuItem | Refresh Menu\n
)";

// The latter with one difference.
std::string DisabledItemsBut(const std::string& usual, const std::string& other) {
  std::string trace = kDisabledItems;
  const auto at = trace.find(usual);
  EXPECT_NE(at, std::string::npos) << usual;
  return trace.replace(at, usual.size(), other);
}

TEST_F(Start, WatchesApplicationsAndRestoresWhatTheyDisabledBeforeIt) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  ExpectStart(StartBut({{kNoDisabledItems, kDisabledItems}}));
  EXPECT_EQ(fake.Key("db/menu/refresh_menu"), fakes::KeyValue(1));
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.app");
  fake.RunMainLoop();
  ExpectTrace(R"(
    app_context_get_app_id(context) -> 0: "org.example.app"
    I SettingsServiceCommand AppContextEventCB | Terminated app is org.example.app\n
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") -> false: []
  )");
}

TEST_F(Start, WatchesAndRestoresNothingWhenTheMirrorOfTheRecordIsEmpty) {
  fake.SetKey("memory/menu/disabled_items", "");
  ExpectStart(StartBut({{kNoDisabledItems,
                         R"(vconf_get_str("memory/menu/disabled_items") -> ""
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
  E SettingsService m_LoadDisableMenuItem | m_LoadDisableMenuItem\n
  vconf_get_str("memory/menu/disabled_items") -> ""
  E SettingsService m_LoadDisableMenuItem | Empty DisableItem\n
)"}}));
  EXPECT_EQ(fake.Key("db/menu/refresh_menu"), std::nullopt);
}

TEST_F(Start, RestoresNothingWhenTheMirrorCannotBeRead) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("vconf_get_str", {.on = "memory/menu/disabled_items", .times = 2});
  ExpectStart(kStart);
  EXPECT_EQ(fake.Key("db/menu/refresh_menu"), std::nullopt);
}

TEST_F(Start, RestoresByAReadingOfItsOwn) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("vconf_get_str", {.on = "memory/menu/disabled_items", .times = 1});
  ASSERT_TRUE(service.t_OnCreate());
  EXPECT_EQ(fake.Key("db/menu/refresh_menu"), fakes::KeyValue(1));
}

TEST_F(Start, WatchesButRestoresNothingWhenItsSecondReadingFails) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("vconf_get_str", {.on = "memory/menu/disabled_items", .after = 1, .times = 1});
  ExpectStart(StartBut({{R"(vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
)",
                         R"(vconf_get_str("memory/menu/disabled_items") -> "x by app"
  I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
  app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
  I SettingsService m_RegisterAppTerminateCB | Finish\n
)"}}));
  EXPECT_EQ(fake.Key("db/menu/refresh_menu"), std::nullopt);
}

TEST_F(Start, RestoresDisabledItemsThoughApplicationsCannotBeWatched) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("app_manager_set_app_context_event_cb", {.code = -38});
  ExpectStart(StartBut({{kNoDisabledItems, DisabledItemsBut(R"(null) -> 0
  I SettingsService m_RegisterAppTerminateCB | Finish\n
)",
                                                            R"(null) -> -38
  E SettingsService m_RegisterAppTerminateCB | Failed app_manager_set_app_context_event_cb [-38]\n
)")}}));
}

TEST_F(Start, LogsThatTheMenuCannotBeRefreshedAndTriesItOnce) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("vconf_set_int", {.on = "db/menu/refresh_menu"});
  ExpectStart(StartBut({{kNoDisabledItems, DisabledItemsBut(R"(1) -> 0
  E SettingsService m_LoadDisableMenuItem | Refresh Menu\n
)",
                                                            R"(1) -> -1
  E SettingsService m_LoadDisableMenuItem | Failed to vconf_set_int for menu refresh\n
)")}}));
  ExpectRequestsAreServed();
}

TEST_F(Start, RestoresAgainButWatchesOnWhenItRunsAgain) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  ExpectStart(StartBut({{kNoDisabledItems, kDisabledItems}}));
  ExpectStart(
      StartBut({{"TCAlarm::Create(settings_service, 15000, NUVRA_INFINITY) -> true\n",
                 "TCAlarm::Reset(15000, NUVRA_INFINITY) -> true\n"},
                {"TCAlarm::SetAlarmCallback(callback1, settings_service)\n", ""},
                {kNoDisabledItems,
                 DisabledItemsBut(R"(vconf_get_str("memory/menu/disabled_items") -> "x by app"
  I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
  app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
  I SettingsService m_RegisterAppTerminateCB | Finish\n
)",
                                  R"(I SettingsService m_RegisterAppTerminateCB | already done\n
)")}}));
}

TEST_F(Start, LetsAnExceptionOfTheRestoreLeave) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("CSettingsItemInfoAPI::UpdateDisabledItemList", {.exception = OtherException()});
  EXPECT_THROW(service.t_OnCreate(), std::runtime_error);
}

TEST_F(Start, SurvivesTheFailureOfEveryStepAtOnce) {
  fake.SetKey("memory/menu/disabled_items", "x by app");
  fake.Fail("app_manager_set_app_context_event_cb");
  fake.Fail("vconf_set_int");
  fake.Fail("vconf_notify_key_changed");
  fake.Fail("vconf_get_int");
  fake.Fail("setenv");
  fake.Fail("setlocale");
  fake.Fail("sound_manager_set_speaker_changed_cb");
  fake.Fail("ComposePlatformPath");
  fake.Fail("system_info_get_custom_int");
  fake.Fail("__dlog_print");
  fake.Fail("ecore_init");
  fake.Fail("smart_deadlock_register_watchdog_service");
  fake.Fail("TCAlarm::Create");
  fake.Fail("resource_register_cpu_inheritance_destination");
  fake.Fail("LwipcEventDone");
  fake.Fail("GetActiveNetSpkInfo");
  fake.Fail("system_info_get_custom_bool");
  fake.Fail("CSettingsItemInfoAPI::InitSettingsItemInfoAPI");
  fake.Fail("fopen");
  EXPECT_TRUE(service.t_OnCreate());
  EXPECT_EQ(Send(R"({"method": "GetItemValue", "data": {"menuID": "brightness"}})"),
            R"({"call_api_success":false,"connect_server":true,"return_data":""})");
}

class WatchdogAlarm : public CreatedServiceTest {};

constexpr char kFeed[] = R"(
  I SettingsService m_OnWatchdogAlarm | smart_deadlock_notify!\n
  smart_deadlock_watchdog_notify() -> 0
)";

TEST_F(WatchdogAlarm, FeedsTheWatchdogEvery15Seconds) {
  fake.AdvanceTime(14999ms);
  ExpectTrace("");
  fake.AdvanceTime(1ms);
  ExpectTrace(kFeed);
  fake.AdvanceTime(14999ms);
  ExpectTrace("");
  fake.AdvanceTime(1ms);
  ExpectTrace(kFeed);
  fake.AdvanceTime(30000ms);
  ExpectTrace(std::string(kFeed) + kFeed);
}

TEST_F(WatchdogAlarm, StaysArmedWhenTheWatchdogTakesNoFeed) {
  fake.Fail("smart_deadlock_watchdog_notify", {.times = 1});
  fake.AdvanceTime(15000ms);
  ExpectTrace(R"(
    I SettingsService m_OnWatchdogAlarm | smart_deadlock_notify!\n
    smart_deadlock_watchdog_notify() -> -1
  )");
  fake.AdvanceTime(15000ms);
  ExpectTrace(kFeed);
}

TEST_F(WatchdogAlarm, DoesNothingAndEndsWithoutTheService) {
  const auto callback = fake.Alarms().at(0).callback;
  EXPECT_FALSE(callback(nullptr));
  ExpectTrace("");
  EXPECT_TRUE(callback(&service));
  ExpectTrace(kFeed);
}

TEST_F(WatchdogAlarm, BeginsItsPeriodAnewWithEveryStart) {
  fake.AdvanceTime(10000ms);
  service.t_OnCreate();
  fake.TakeTrace();
  fake.AdvanceTime(14999ms);
  ExpectTrace("");
  fake.AdvanceTime(1ms);
  ExpectTrace(kFeed);
}

class Termination : public CreatedServiceTest {
 protected:
  // Begins the watch over applications.
  void Disable() {
    fake.SetKey("memory/menu/disabled_items", "x by app");
    Send(Request("DisableItem", R"({"appName":"org.example.app","menuID":"x"})"));
    fake.TakeTrace();
  }
};

TEST_F(Termination, LogsItsTwoSteps) {
  service.t_OnTerminate();
  ExpectTrace(R"(
    I SettingsService t_OnTerminate | t_OnTerminate!!\n
    E SettingsService m_Finalize | m_Finalize!\n
    vconf_ignore_key_changed("memory/menu/general/reset/progressing", GeneralResetCB) -> 0
    vconf_ignore_key_changed("db/menu_widget/language", UpdateLanguage) -> 0
  )");
}

TEST_F(Termination, EndsTheWatchesOverTheLanguageAndTheGeneralReset) {
  service.t_OnTerminate();
  fake.TakeTrace();
  fake.SetKey("db/menu_widget/language", "de_DE");
  fake.SetKey("memory/menu/general/reset/progressing", 1);
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(Termination, GoesOnWhenTheWatchesCannotBeEnded) {
  fake.Fail("vconf_ignore_key_changed");
  service.t_OnTerminate();
  ExpectTrace(R"(
    I SettingsService t_OnTerminate | t_OnTerminate!!\n
    E SettingsService m_Finalize | m_Finalize!\n
    vconf_ignore_key_changed("memory/menu/general/reset/progressing", GeneralResetCB) -> -1
    vconf_ignore_key_changed("db/menu_widget/language", UpdateLanguage) -> -1
  )");
}

TEST_F(Termination, LeavesTheAlarmRunning) {
  service.t_OnTerminate();
  fake.TakeTrace();
  fake.AdvanceTime(15000ms);
  ExpectTrace(kFeed);
}

TEST_F(Termination, EndsTheWatchOverApplicationsThoughItemsAreDisabled) {
  Disable();
  service.t_OnTerminate();
  ExpectTrace(R"(
    I SettingsService t_OnTerminate | t_OnTerminate!!\n
    E SettingsService m_Finalize | m_Finalize!\n
    app_manager_unset_app_context_event_cb()
    vconf_ignore_key_changed("memory/menu/general/reset/progressing", GeneralResetCB) -> 0
    vconf_ignore_key_changed("db/menu_widget/language", UpdateLanguage) -> 0
  )");
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.app");
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(Termination, EndsTheWatchOnceAndALaterOneAgain) {
  Disable();
  service.t_OnTerminate();
  fake.TakeTrace();
  service.t_OnTerminate();
  ExpectTrace(R"(
    I SettingsService t_OnTerminate | t_OnTerminate!!\n
    E SettingsService m_Finalize | m_Finalize!\n
    vconf_ignore_key_changed("memory/menu/general/reset/progressing", GeneralResetCB) -> -1
    vconf_ignore_key_changed("db/menu_widget/language", UpdateLanguage) -> -1
  )");
  Disable();
  service.t_OnTerminate();
  ExpectTrace(R"(
    I SettingsService t_OnTerminate | t_OnTerminate!!\n
    E SettingsService m_Finalize | m_Finalize!\n
    app_manager_unset_app_context_event_cb()
    vconf_ignore_key_changed("memory/menu/general/reset/progressing", GeneralResetCB) -> -1
    vconf_ignore_key_changed("db/menu_widget/language", UpdateLanguage) -> -1
  )");
}

}  // namespace
