#include <string>

#include "fixture.h"
#include "lwipc.h"
#include "sound_manager.h"

namespace {

void OnSpeaker(sound_tv_output_route_e route, void* userData) {
  LwipcEventDone((std::to_string(route) + " " + static_cast<const char*>(userData)).c_str());
}

class FakeOutput : public fakes::FakePlatformTest {
 protected:
  FakeOutput() {
    fake.Name(reinterpret_cast<const void*>(OnSpeaker), "OnSpeaker");
    fake.Name(m_Data, "data");
  }

  char m_Data[5] = "data";
};

TEST_F(FakeOutput, TellsOfTheSpeakerOnTheMainLoop) {
  fake.Fail("sound_manager_set_speaker_changed_cb", {.code = -5, .times = 1});
  EXPECT_EQ(sound_manager_set_speaker_changed_cb(OnSpeaker, m_Data), -5);
  fake.ChangeSpeaker(1);
  fake.RunMainLoop();
  EXPECT_EQ(sound_manager_set_speaker_changed_cb(OnSpeaker, m_Data), 0);
  fake.ChangeSpeaker(2);
  ExpectTrace(R"(
    sound_manager_set_speaker_changed_cb(OnSpeaker, data) -> -5
    sound_manager_set_speaker_changed_cb(OnSpeaker, data) -> 0
  )");
  fake.RunMainLoop();
  ExpectTrace(R"(LwipcEventDone("2 data") -> 0)");
}

}  // namespace
