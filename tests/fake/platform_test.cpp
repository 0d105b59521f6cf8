#include <Ecore.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "active_net_speaker.h"
#include "cpu_inheritance.h"
#include "deadlock_watchdog.h"
#include "fixture.h"
#include "lwipc.h"
#include "menu_audio_util.h"
#include "nuvra/app_main.h"
#include "nuvra/signal.h"
#include "settings_item_info_api.h"
#include "system_info.h"

namespace {

class FakeSystem : public fakes::FakePlatformTest {};

TEST_F(FakeSystem, GivesTheFeaturesOfTheModel) {
  fake.SetFeature("a/flag", true);
  fake.SetFeature("a/number", 3);
  bool flag = false;
  int number = 0;
  EXPECT_EQ(system_info_get_custom_bool("a/flag", &flag), 0);
  EXPECT_EQ(system_info_get_custom_int("a/number", &number), 0);
  EXPECT_TRUE(flag);
  EXPECT_EQ(number, 3);
  ExpectTrace(R"(
    system_info_get_custom_bool("a/flag") -> 0: true
    system_info_get_custom_int("a/number") -> 0: 3
  )");
}

TEST_F(FakeSystem, GivesNoFeatureThatIsMissingOrOfAnotherType) {
  fake.SetFeature("a/flag", true);
  fake.SetFeature("a/number", 1);
  bool flag = false;
  int number = 7;
  EXPECT_EQ(system_info_get_custom_bool("a/number", &flag), -1);
  EXPECT_EQ(system_info_get_custom_bool("missing", &flag), -1);
  EXPECT_EQ(system_info_get_custom_int("a/flag", &number), -1);
  fake.Fail("system_info_get_custom_bool", {.on = "a/flag", .code = -2});
  EXPECT_EQ(system_info_get_custom_bool("a/flag", &flag), -2);
  EXPECT_FALSE(flag);
  EXPECT_EQ(number, 7);
}

TEST_F(FakeSystem, GivesTheNetworkSpeakersThatPlay) {
  char name[NET_SPEAKER_DISPLAY_NAME_SIZE] = {};
  char type[NET_SPEAKER_TYPE_SIZE] = {};
  std::vector<std::string> speakers;
  EXPECT_EQ(GetActiveNetSpkInfo(name, type, speakers), 0);
  fake.SetNetworkSpeakers({"id1", "id2"}, std::string(200, 'n'), "surround");
  EXPECT_EQ(GetActiveNetSpkInfo(name, type, speakers), 2);
  EXPECT_EQ(name, std::string(127, 'n'));
  EXPECT_STREQ(type, "surround");
  EXPECT_EQ(speakers, (std::vector<std::string>{"id1", "id2"}));
  Let("name", name);
  ExpectTrace(R"(
    GetActiveNetSpkInfo() -> 0
    GetActiveNetSpkInfo() -> 2: "{name}", "surround"
  )");
}

TEST_F(FakeSystem, ComplainsAboutSpeakerOutputsThatAreNotEmpty) {
  char name[NET_SPEAKER_DISPLAY_NAME_SIZE] = {};
  char type[NET_SPEAKER_TYPE_SIZE] = {};
  std::vector<std::string> speakers;
  name[NET_SPEAKER_DISPLAY_NAME_SIZE - 1] = 'x';
  GetActiveNetSpkInfo(name, type, speakers);
  name[NET_SPEAKER_DISPLAY_NAME_SIZE - 1] = '\0';
  type[NET_SPEAKER_TYPE_SIZE - 1] = 'x';
  GetActiveNetSpkInfo(name, type, speakers);
  type[NET_SPEAKER_TYPE_SIZE - 1] = '\0';
  speakers = {"id"};
  GetActiveNetSpkInfo(name, type, speakers);
  ExpectTrace(R"(
    GetActiveNetSpkInfo() -> 0 !! outputs not empty
    GetActiveNetSpkInfo() -> 0 !! outputs not empty
    GetActiveNetSpkInfo() -> 0 !! outputs not empty
  )");
}

TEST_F(FakeSystem, IsFedOnlyByAProcessThatItWatches) {
  EXPECT_EQ(smart_deadlock_watchdog_notify(), -1);
  fake.Fail("smart_deadlock_register_watchdog_service", {.times = 1});
  EXPECT_EQ(smart_deadlock_register_watchdog_service(5), -1);
  EXPECT_EQ(smart_deadlock_watchdog_notify(), -1);
  EXPECT_EQ(smart_deadlock_register_watchdog_service(5), 0);
  EXPECT_EQ(smart_deadlock_watchdog_notify(), 0);
  fake.Fail("smart_deadlock_watchdog_notify");
  EXPECT_EQ(smart_deadlock_watchdog_notify(), -1);
}

TEST_F(FakeSystem, TakesNotificationsAndRegistrations) {
  EXPECT_EQ(ecore_init(), 1);
  EXPECT_EQ(LwipcEventDone("/tmp/x"), 0);
  EXPECT_EQ(resource_register_cpu_inheritance_destination("name", 12), 0);
  fake.Fail("ecore_init");
  fake.Fail("LwipcEventDone");
  fake.Fail("resource_register_cpu_inheritance_destination");
  EXPECT_EQ(ecore_init(), 0);
  EXPECT_EQ(LwipcEventDone("/tmp/x"), -1);
  EXPECT_EQ(resource_register_cpu_inheritance_destination("name", 12), -1);
  ExpectTrace(R"(
    ecore_init() -> 1
    LwipcEventDone("/tmp/x") -> 0
    resource_register_cpu_inheritance_destination("name", 12) -> 0
    ecore_init() -> 0
    LwipcEventDone("/tmp/x") -> -1
    resource_register_cpu_inheritance_destination("name", 12) -> -1
  )");
}

TEST_F(FakeSystem, ShowsWhatWasWrittenToTheReclaimFileWhenItCloses) {
  std::FILE* file = std::fopen("/proc/self/reclaim", "w");
  ASSERT_NE(file, nullptr);
  std::fputs("text", file);
  std::fclose(file);
  ExpectTrace(R"(
    fopen("/proc/self/reclaim", "w") -> open
    fclose("/proc/self/reclaim"): "text"
  )");
}

TEST_F(FakeSystem, CanHaveNoReclaimFile) {
  fake.Fail("fopen", {.code = EACCES, .times = 1});
  EXPECT_EQ(std::fopen("/proc/self/reclaim", "w"), nullptr);
  EXPECT_EQ(errno, EACCES);
  ExpectTrace(R"(fopen("/proc/self/reclaim", "w") -> EACCES)");
}

TEST_F(FakeSystem, LetsEveryOtherFileBe) {
  std::FILE* file = std::fopen("/dev/null", "w");
  ASSERT_NE(file, nullptr);
  EXPECT_GT(fileno(file), 2);
  std::fclose(file);
  ExpectTrace("");
}

class FakeItems : public fakes::FakePlatformTest {
 protected:
  FakeItems() {
    CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
    fake.TakeTrace();
  }

  // What GetItemValue gives.
  int Get(const char* menuID) {
    std::fill_n(name, sizeof(name), '\0');
    std::fill_n(value, sizeof(value), '\0');
    return CSettingsItemInfoAPI::GetItemValue(menuID, name, value);
  }

  char name[SETTINGS_ITEM_TEXT_SIZE] = {};
  char value[SETTINGS_ITEM_TEXT_SIZE] = {};
};

TEST_F(FakeItems, GiveTheirValueAndItsDisplayName) {
  fake.SetItem("picture_mode", {.value = "1", .valueNames = {{"1", "Standard"}}});
  EXPECT_EQ(Get("picture_mode"), 0);
  EXPECT_STREQ(name, "Standard");
  EXPECT_STREQ(value, "1");
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("picture_mode", "2", false), 0);
  EXPECT_EQ(Get("picture_mode"), 0);
  EXPECT_STREQ(name, "2");
  EXPECT_STREQ(value, "2");
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemValue("picture_mode") -> 0: "Standard", "1"
    CSettingsItemInfoAPI::SetItemValue("picture_mode", "2", false) -> 0
    CSettingsItemInfoAPI::GetItemValue("picture_mode") -> 0: "2", "2"
  )");
}

TEST_F(FakeItems, DoNotKeepAPreviewedValue) {
  fake.SetItem("brightness", {.value = "50"});
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("brightness", "60", true), 0);
  EXPECT_EQ(fake.ItemState("brightness")->value, "50");
}

TEST_F(FakeItems, AreUnknownUntilTheTestSetsThem) {
  EXPECT_EQ(Get("brightness"), -1);
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("brightness", "60", false), -1);
  EXPECT_STREQ(value, "");
  EXPECT_EQ(fake.ItemState("brightness"), std::nullopt);
}

TEST_F(FakeItems, FailBeforeTheLibraryIsInitialised) {
  fake.Reset();
  fake.SetItem("brightness", {.value = "50"});
  EXPECT_EQ(Get("brightness"), -1);
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("brightness", "60", false), -1);
  fake.Fail("CSettingsItemInfoAPI::InitSettingsItemInfoAPI", {.times = 1});
  CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
  EXPECT_EQ(Get("brightness"), -1);
  CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
  EXPECT_EQ(Get("brightness"), 0);
}

TEST_F(FakeItems, AnswerWithTheResultThatTheTestChose) {
  fake.SetItem("odd", {.value = "1", .getResult = -5, .setResult = 17});
  EXPECT_EQ(Get("odd"), -5);
  EXPECT_STREQ(value, "1");
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("odd", "2", false), 17);
  EXPECT_EQ(fake.ItemState("odd")->value, "2");
}

TEST_F(FakeItems, KeepTheirValueWhenTheResultIsTheFailure) {
  fake.SetItem("broken", {.value = "1", .getResult = -1, .setResult = -1});
  EXPECT_EQ(Get("broken"), -1);
  EXPECT_STREQ(value, "");
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("broken", "2", false), -1);
  EXPECT_EQ(fake.ItemState("broken")->value, "1");
  fake.Fail("CSettingsItemInfoAPI::GetItemValue", {.on = "broken", .code = -3});
  fake.Fail("CSettingsItemInfoAPI::SetItemValue", {.on = "broken", .code = -4});
  EXPECT_EQ(Get("broken"), -3);
  EXPECT_EQ(CSettingsItemInfoAPI::SetItemValue("broken", "2", false), -4);
}

TEST_F(FakeItems, LeaveATextThatDoesNotFitWithoutItsEnd) {
  fake.SetItem("long", {.value = std::string(600, 'v'), .valueNames = {}});
  EXPECT_EQ(Get("long"), 0);
  EXPECT_EQ(std::count(name, name + sizeof(name), 'v'), SETTINGS_ITEM_TEXT_SIZE);
  EXPECT_EQ(std::count(value, value + sizeof(value), 'v'), SETTINGS_ITEM_TEXT_SIZE);
}

TEST_F(FakeItems, ComplainAboutBuffersThatAreNotZeroFilled) {
  name[SETTINGS_ITEM_TEXT_SIZE - 1] = 'x';
  CSettingsItemInfoAPI::GetItemValue("x", name, value);
  value[0] = 'x';
  CSettingsItemInfoAPI::GetItemValue("x", name, value);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetItemValue("x") -> -1 !! value name buffer not zero-filled
    CSettingsItemInfoAPI::GetItemValue("x") -> -1 !! value name buffer not zero-filled !! value buffer not zero-filled
  )");
}

TEST_F(FakeItems, LearnTheSpeakerTypeAnew) {
  CMenuAudioUtil::FreshSpeakerType();
  ExpectTrace("CMenuAudioUtil::FreshSpeakerType()");
  fake.Fail("CMenuAudioUtil::FreshSpeakerType",
            {.exception = std::make_exception_ptr(std::runtime_error("broken"))});
  EXPECT_THROW(CMenuAudioUtil::FreshSpeakerType(), std::runtime_error);
}

class FakeFramework : public fakes::FakePlatformTest {};

// A service that records what the framework calls.
class Recorder : public Nuvra::TCDaemonService {
 public:
  explicit Recorder(const char* name) : TCDaemonService(name) {}

  void t_OnPrepare() override { LwipcEventDone("t_OnPrepare"); }
  bool t_OnCreate() override {
    LwipcEventDone("t_OnCreate");
    return created;
  }

  bool created = true;
};

TEST_F(FakeFramework, KeepsTheSignalsThatWereSent) {
  Nuvra::TCMessage message;
  message.type = 3;
  message.body["b"] = 1;
  message.body["a"] = "text";
  EXPECT_TRUE(Nuvra::SendSignal("sender", "name", &message));
  const auto signals = fake.TakeSignals();
  ASSERT_EQ(signals.size(), 1u);
  EXPECT_EQ(signals[0].sender, "sender");
  EXPECT_EQ(signals[0].name, "name");
  EXPECT_EQ(signals[0].type, 3);
  EXPECT_EQ(signals[0].body, message.body);
  EXPECT_TRUE(fake.TakeSignals().empty());
  ExpectTrace(R"(SendSignal("sender", "name", 3, {"a":"text","b":1}) -> true)");
}

TEST_F(FakeFramework, SendsNothingWhenASignalFails) {
  Nuvra::TCMessage message;
  EXPECT_FALSE(Nuvra::SendSignal(nullptr, "name", &message));
  EXPECT_FALSE(Nuvra::SendSignal("sender", nullptr, &message));
  EXPECT_FALSE(Nuvra::SendSignal("sender", "name", nullptr));
  fake.Fail("SendSignal", {.on = "sender"});
  EXPECT_FALSE(Nuvra::SendSignal("sender", "name", &message));
  EXPECT_TRUE(fake.TakeSignals().empty());
}

TEST_F(FakeFramework, WritesAMessageOnOneLine) {
  Nuvra::TCMessage message;
  EXPECT_EQ(message.GetMessage(), "{}");
  message.body["data"]["menuID"] = "brightness";
  EXPECT_EQ(message.GetMessage(), R"({"data":{"menuID":"brightness"}})");
}

TEST_F(FakeFramework, ShowsAServiceUnderItsName) {
  {
    Recorder service("recorder");
    EXPECT_EQ(service.ServiceName(), "recorder");
    Nuvra::TCAlarm alarm;
    alarm.Create(&service, 10, 1);
    alarm.SetAlarmCallback(nullptr, &service);
  }
  ExpectTrace(R"(
    TCDaemonService::TCDaemonService("recorder")
    TCAlarm::TCAlarm()
    TCAlarm::Create(recorder, 10, 1) -> true
    TCAlarm::SetAlarmCallback(null, recorder)
    TCAlarm::~TCAlarm()
    TCDaemonService::~TCDaemonService()
  )");
}

TEST_F(FakeFramework, RefusesAServiceWithoutAName) {
  EXPECT_THROW(Recorder(nullptr), std::invalid_argument);
  EXPECT_THROW(Recorder(""), std::invalid_argument);
}

TEST_F(FakeFramework, PreparesAndCreatesTheServiceAndEndsWithTheChosenStatus) {
  Recorder service("recorder");
  fake.TakeTrace();
  fake.SetExitStatus(7);
  char program[] = "program";
  char option[] = "--option";
  char* arguments[] = {program, option, nullptr};
  EXPECT_EQ(fake.Service(), nullptr);
  EXPECT_EQ(Nuvra::AppMain(2, arguments, &service), 7);
  EXPECT_EQ(fake.Service(), &service);
  ExpectTrace(R"(
    AppMain(2, {"program", "--option"}, recorder)
    LwipcEventDone("t_OnPrepare") -> 0
    LwipcEventDone("t_OnCreate") -> 0
  )");
}

TEST_F(FakeFramework, EndsWithAFailureWhenTheServiceIsNotCreated) {
  Recorder service("recorder");
  service.created = false;
  EXPECT_EQ(Nuvra::AppMain(0, nullptr, &service), 1);
}

TEST_F(FakeFramework, EndsBeforeTheServiceIsCreatedWhenItFailsItself) {
  Recorder service("recorder");
  fake.TakeTrace();
  fake.Fail("AppMain", {.code = 4});
  EXPECT_EQ(Nuvra::AppMain(0, nullptr, &service), 4);
  ExpectTrace("AppMain(0, {}, recorder) -> 4");
}

TEST_F(FakeFramework, DoesNothingInTheHooksThatAServiceLeavesOut) {
  Nuvra::TCDaemonService service("plain");
  fake.TakeTrace();
  Nuvra::TCMessage message;
  Nuvra::TCEventIO* eventIO = nullptr;
  EXPECT_FALSE(service.IfTransferMessage("sender", &message, eventIO));
  EXPECT_FALSE(service.IfMessageReceived("sender", &message, &message, nullptr));
  EXPECT_TRUE(service.t_OnCreate());
  service.IfMessageReplied("sender", &message);
  service.t_OnPrepare();
  service.t_OnService();
  service.t_OnPause();
  service.t_OnResume();
  service.t_OnTerminate();
  service.t_OnLangChanged();
  service.t_OnMEvent(nullptr);
  service.t_ClearMEvent();
  EXPECT_EQ(eventIO, nullptr);
  ExpectTrace("");
}

}  // namespace
