#include <string>

#include "device_power.h"
#include "fixture.h"
#include "lwipc.h"
#include "ormu.h"
#include "sound_manager.h"

namespace {

void Show(const std::string& text, void* userData) {
  LwipcEventDone((text + (userData == nullptr ? " null" : " data")).c_str());
}

void OnNotification(void* reserved, int value, void* userData) {
  EXPECT_EQ(reserved, nullptr);
  Show(std::to_string(value), userData);
}

void OnPower(_device_power_state_info* info, void* userData) {
  Show(std::to_string(info->previous_state) + " to " + std::to_string(info->current_state),
       userData);
}

void OnSpeaker(sound_tv_output_route_e route, void* userData) {
  Show(std::to_string(route), userData);
}

class FakeOutput : public fakes::FakePlatformTest {
 protected:
  FakeOutput() {
    fake.Name(reinterpret_cast<const void*>(OnNotification), "OnNotification");
    fake.Name(reinterpret_cast<const void*>(OnPower), "OnPower");
    fake.Name(reinterpret_cast<const void*>(OnSpeaker), "OnSpeaker");
    fake.Name(&m_Data, "data");
  }

  int m_Data = 0;
};

TEST_F(FakeOutput, KnowsTheGameModes) {
  fake.SetGameModes({.item = 2, .real = 1});
  int value = 0;
  EXPECT_EQ(ormu_get_game_mode(0, 1, &value), 0);
  EXPECT_EQ(value, 2);
  EXPECT_EQ(ormu_get_real_game_mode(1, &value), 0);
  EXPECT_EQ(value, 1);
  fake.Fail("ormu_get_game_mode", {.code = -7});
  fake.Fail("ormu_get_real_game_mode", {.code = -8});
  value = 9;
  EXPECT_EQ(ormu_get_game_mode(0, 1, &value), -7);
  EXPECT_EQ(ormu_get_real_game_mode(1, &value), -8);
  EXPECT_EQ(value, 9);
  ExpectTrace(R"(
    ormu_get_game_mode(0, 1) -> 0: 2
    ormu_get_real_game_mode(1) -> 0: 1
    ormu_get_game_mode(0, 1) -> -7
    ormu_get_real_game_mode(1) -> -8
  )");
}

TEST_F(FakeOutput, NotifiesWhoeverRegisteredForThatName) {
  EXPECT_EQ(ormu_register_callback_id("a", OnNotification, &m_Data), 1);
  EXPECT_EQ(ormu_register_callback_id("b", OnNotification, nullptr), 2);
  fake.Fail("ormu_register_callback_id", {.on = "c"});
  EXPECT_EQ(ormu_register_callback_id("c", OnNotification, nullptr), 0);
  fake.Notify("a", 5);
  fake.Notify("a", 6, nullptr);
  fake.Notify("b", 7);
  fake.Notify("c", 8);
  EXPECT_EQ(ormu_unregister_callback_id(1), 0);
  EXPECT_EQ(ormu_unregister_callback_id(1), -1);
  fake.Notify("a", 9);
  fake.Fail("ormu_unregister_callback_id", {.code = -2});
  EXPECT_EQ(ormu_unregister_callback_id(2), -2);
  fake.Notify("b", 10);
  ExpectTrace(R"(
    ormu_register_callback_id("a", OnNotification, data) -> 1
    ormu_register_callback_id("b", OnNotification, null) -> 2
    ormu_register_callback_id("c", OnNotification, null) -> 0
    LwipcEventDone("5 data") -> 0
    LwipcEventDone("6 null") -> 0
    LwipcEventDone("7 null") -> 0
    ormu_unregister_callback_id(1) -> 0
    ormu_unregister_callback_id(1) -> -1
    ormu_unregister_callback_id(2) -> -2
    LwipcEventDone("10 null") -> 0
  )");
}

TEST_F(FakeOutput, TellsOfThePowerWhoeverSubscribed) {
  fake.Fail("device_power_subscribe_state_changed_event", {.code = -3, .times = 1});
  EXPECT_EQ(device_power_subscribe_state_changed_event(OnPower, &m_Data), -3);
  fake.ChangePower(0, 1);
  EXPECT_EQ(device_power_subscribe_state_changed_event(OnPower, nullptr), 0);
  EXPECT_EQ(device_power_subscribe_state_changed_event(OnPower, &m_Data), 0);
  fake.ChangePower(2, 0);
  fake.ChangePower(2, 3, nullptr);
  fake.Fail("device_power_unsubscribe_state_changed_event", {.code = -4, .times = 1});
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(OnPower), -4);
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(OnPower), 0);
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(OnPower), -1);
  fake.ChangePower(4, 0);
  ExpectTrace(R"(
    device_power_subscribe_state_changed_event(OnPower, data) -> -3
    device_power_subscribe_state_changed_event(OnPower, null) -> 0
    device_power_subscribe_state_changed_event(OnPower, data) -> 0
    LwipcEventDone("2 to 0 data") -> 0
    LwipcEventDone("2 to 3 null") -> 0
    device_power_unsubscribe_state_changed_event(OnPower) -> -4
    device_power_unsubscribe_state_changed_event(OnPower) -> 0
    device_power_unsubscribe_state_changed_event(OnPower) -> -1
  )");
}

TEST_F(FakeOutput, TellsOfTheSpeakerOnTheMainLoop) {
  fake.Fail("sound_manager_set_speaker_changed_cb", {.code = -5, .times = 1});
  EXPECT_EQ(sound_manager_set_speaker_changed_cb(OnSpeaker, &m_Data), -5);
  fake.ChangeSpeaker(1);
  fake.RunMainLoop();
  EXPECT_EQ(sound_manager_set_speaker_changed_cb(OnSpeaker, &m_Data), 0);
  fake.ChangeSpeaker(2);
  ExpectTrace(R"(
    sound_manager_set_speaker_changed_cb(OnSpeaker, data) -> -5
    sound_manager_set_speaker_changed_cb(OnSpeaker, data) -> 0
  )");
  fake.RunMainLoop();
  ExpectTrace(R"(LwipcEventDone("2 data") -> 0)");
}

}  // namespace
