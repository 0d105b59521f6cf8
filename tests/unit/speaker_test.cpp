#include "service_test.h"

namespace {

class SpeakerChange : public CreatedServiceTest {};

TEST_F(SpeakerChange, MakesTheLibraryTakeOverTheSpeakerWhateverTheRoute) {
  for (const int route : {0, 1, -5}) {
    fake.ChangeSpeaker(route);
    fake.RunMainLoop();
    ExpectTrace(R"(
      I SettingsService m_SpeakerStatusChangedCB | m_SpeakerStatusChangedCB\n
      CMenuAudioUtil::FreshSpeakerType()
    )");
  }
}

TEST_F(SpeakerChange, IsFollowedAfterTheEndTooUntilTheProcessEnds) {
  service.t_OnTerminate();
  fake.TakeTrace();
  fake.ChangeSpeaker(0);
  fake.RunMainLoop();
  ExpectTrace(R"(
    I SettingsService m_SpeakerStatusChangedCB | m_SpeakerStatusChangedCB\n
    CMenuAudioUtil::FreshSpeakerType()
  )");
}

class SpeakerChangeUnwatched : public ServiceTest {};

TEST_F(SpeakerChangeUnwatched, IsNeverFollowedWhenItCannotBeWatched) {
  fake.Fail("sound_manager_set_speaker_changed_cb");
  ASSERT_TRUE(service.t_OnCreate());
  fake.TakeTrace();
  fake.ChangeSpeaker(0);
  fake.RunMainLoop();
  ExpectTrace("");
}

}  // namespace
