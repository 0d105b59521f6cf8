// What the fake says of a call that breaks its contract: the daemon makes none, so that no other
// test would miss it.

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "active_net_speaker.h"
#include "app_control.h"
#include "app_manager.h"
#include "fixture.h"
#include "menu_audio_util.h"
#include "nuvra/alarm.h"
#include "nuvra/signal.h"
#include "settings_item_info_api.h"
#include "sound_manager.h"
#include "tv_service.h"
#include "vconf.h"

namespace {

using Api = CSettingsItemInfoAPI;

class FakeComplaints : public fakes::FakePlatformTest {};

TEST_F(FakeComplaints, AreMadeAboutEveryCallOfTheMainLoopThatComesFromAnotherThread) {
  Nuvra::TCAlarm alarm;
  fake.TakeTrace();
  std::thread([&] {
    std::string text;
    char buffer[SETTINGS_ITEM_TEXT_SIZE] = {};
    char another[SETTINGS_ITEM_TEXT_SIZE] = {};
    double number = 0.0;
    std::vector<std::string> texts;
    Api::InitSettingsItemInfoAPI();
    Api::GetItemValue("x", buffer, another);
    Api::SetItemValue("x", "v", false);
    Api::GetItemVisible("x");
    Api::GetSubListItemVisible("x", "v");
    Api::GetSettingsItemPathByString("x", text);
    Api::GetItemDisplayID("x", buffer);
    Api::GetItemDataListByString("x");
    Api::GetItemMinValue("x", &number, true);
    Api::IsItemEnabled("x");
    Api::UpdateDisabledItemList();
    CMenuAudioUtil::FreshSpeakerType();
    alarm.Create(nullptr, 1000, 1);
    alarm.Reset(1000, 1);
    alarm.SetAlarmCallback(nullptr, nullptr);
    Nuvra::SendSignal("sender", "name", nullptr);
    sound_manager_set_speaker_changed_cb(nullptr, nullptr);
    app_manager_set_app_context_event_cb(nullptr, nullptr);
    app_manager_unset_app_context_event_cb();
    vconf_notify_key_changed("db/x", nullptr, nullptr);
    vconf_ignore_key_changed("db/x", nullptr);
  }).join();
  const std::vector<std::string> trace = fake.TakeTrace();
  EXPECT_EQ(trace.size(), 21u);
  EXPECT_THAT(trace, testing::Each(testing::EndsWith(" !! not on the main-loop thread")));
}

TEST_F(FakeComplaints, AreMadeAboutOutputsThatAreNotEmpty) {
  std::string path = "old";
  char name[SETTINGS_ITEM_TEXT_SIZE] = {};
  char value[SETTINGS_ITEM_TEXT_SIZE] = {};
  double number = 1.0;
  std::vector<std::string> texts = {"old"};
  Api::GetSettingsItemPathByString("x", path);
  Api::GetItemStepValue("x", &number, true);
  Api::RemoveDisabledItemsByAppname(texts, "app");
  Api::GetDisablerAppNamesByMenuId("x", texts);
  name[SETTINGS_ITEM_TEXT_SIZE - 1] = 'x';
  Api::GetItemDisplayID("x", name);
  Api::GetItemValue("x", name, value);
  value[0] = 'x';
  Api::GetItemValue("x", name, value);
  ExpectTrace(R"(
    CSettingsItemInfoAPI::GetSettingsItemPathByString("x") -> -1 !! output not empty
    CSettingsItemInfoAPI::GetItemStepValue("x", true) -> false !! output not zero
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("app") -> false !! output not empty
    CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId("x") -> false !! output not empty
    CSettingsItemInfoAPI::GetItemDisplayID("x") -> -1 !! text buffer not zero-filled
    CSettingsItemInfoAPI::GetItemValue("x") -> -1 !! value name buffer not zero-filled
    CSettingsItemInfoAPI::GetItemValue("x") -> -1 !! value name buffer not zero-filled !! value buffer not zero-filled
  )");
}

TEST_F(FakeComplaints, AreMadeAboutSpeakerOutputsThatAreNotEmpty) {
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

TEST_F(FakeComplaints, AreMadeAboutAnObjectThatWasDestroyed) {
  app_control_h request = nullptr;
  app_control_create(&request);
  app_control_destroy(request);
  ISourceControl* source = nullptr;
  IVideoControl* video = nullptr;
  ISignalSubscriber* subscriber = nullptr;
  const auto onSignal = [](ESignalType, EProfile, unsigned short, TSSignalData, void*) {
    return 0;
  };
  TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &source);
  TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &video);
  TVServiceAPI::CreateSignalSubscriber(onSignal, &subscriber);
  TVServiceAPI::Destroy(source);
  TVServiceAPI::Destroy(video);
  TVServiceAPI::Destroy(subscriber);
  fake.TakeTrace();
  EXPECT_EQ(app_control_set_app_id(request, "org.example.app"), -1);
  EXPECT_EQ(app_control_send_launch_request(request, nullptr, nullptr), -1);
  EXPECT_EQ(app_control_destroy(request), -1);
  int value = 0;
  source->GetSourceState(&value);
  source->GetCurrentSource(&value);
  video->GetVideoWindow(value, value, value, value);
  subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, nullptr, PROFILE_MAIN);
  subscriber->Unsubscribe(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, onSignal);
  TVServiceAPI::Destroy(source);
  EXPECT_EQ(fake.TvObjects(), 0);
  ExpectTrace(R"(
    app_control_set_app_id(appControl, "org.example.app") -> -1 !! destroyed already
    app_control_send_launch_request(appControl, null, null) -> -1 !! destroyed already
    app_control_destroy(appControl) -> -1 !! destroyed already
    ISourceControl::GetSourceState() -> 0: 1 !! destroyed already
    ISourceControl::GetCurrentSource() -> 1: -1 !! destroyed already
    IVideoControl::GetVideoWindow() -> 0: 0, 0, 0, 0 !! destroyed already
    ISignalSubscriber::Subscribe(30, null, 1) -> 0 !! destroyed already
    ISignalSubscriber::Unsubscribe(30, 1, callback1) -> 0 !! destroyed already
    TVServiceAPI::Destroy(sourceControl) !! destroyed already
  )");
}

}  // namespace
