#include "tv_service.h"

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fixture.h"
#include "lwipc.h"

namespace {

// Shows the signal in the trace; the user data are a name.
int OnSignal(ESignalType type, EProfile profile, unsigned short, TSSignalData data,
             void* userData) {
  const std::string name = userData == nullptr ? "null" : static_cast<const char*>(userData);
  LwipcEventDone((name + " " + std::to_string(type) + " " + std::to_string(profile) + " " +
                  std::to_string(data.sourceId))
                     .c_str());
  return 0;
}

int OnOtherSignal(ESignalType, EProfile, unsigned short, TSSignalData, void*) { return 0; }

class FakeTvService : public fakes::FakePlatformTest {
 protected:
  FakeTvService() {
    fake.Name(reinterpret_cast<const void*>(OnSignal), "OnSignal");
    fake.Name(reinterpret_cast<const void*>(OnOtherSignal), "OnOtherSignal");
    fake.Name(m_Data, "data");
  }

  ISignalSubscriber* Subscriber() {
    ISignalSubscriber* subscriber = nullptr;
    EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(OnSignal, &subscriber), 0);
    fake.TakeTrace();
    return subscriber;
  }

  char m_Data[5] = "data";
};

TEST_F(FakeTvService, SaysWhichSourceIsShownAndWas) {
  fake.SetPicture({.sourceState = 2, .source = 13, .sourceBeforePreview = 14});
  ISourceControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &control), 0);
  EXPECT_EQ(fake.TvObjects(), 1);
  int state = 0;
  int source = 0;
  int before = 0;
  EXPECT_EQ(control->GetSourceState(&state), 0);
  EXPECT_EQ(control->GetCurrentSource(&source), 1);
  EXPECT_EQ(control->GetSourceBeforePreview(&before), 1);
  EXPECT_EQ(state, 2);
  EXPECT_EQ(source, 13);
  EXPECT_EQ(before, 14);
  TVServiceAPI::Destroy(control);
  EXPECT_EQ(fake.TvObjects(), 0);
  ExpectTrace(R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
    ISourceControl::GetSourceState() -> 0: 2
    ISourceControl::GetCurrentSource() -> 1: 13
    ISourceControl::GetSourceBeforePreview() -> 1: 14
    TVServiceAPI::Destroy(sourceControl)
  )");
}

TEST_F(FakeTvService, SaysWhereTheWindowIs) {
  fake.SetPicture({.x = 1, .y = 2, .width = 4, .height = 3});
  IVideoControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &control), 0);
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  EXPECT_EQ(control->GetVideoWindow(x, y, height, width), 0);
  EXPECT_EQ((std::vector{x, y, height, width}), (std::vector{1, 2, 3, 4}));
  TVServiceAPI::Destroy(control);
  ExpectTrace(R"(
    TVServiceAPI::CreateVideoControl(1, 0) -> 0: videoControl
    IVideoControl::GetVideoWindow() -> 0: 1, 2, 3, 4
    TVServiceAPI::Destroy(videoControl)
  )");
}

TEST_F(FakeTvService, GivesNothingWhenACreationFails) {
  fake.Fail("TVServiceAPI::CreateSourceControl", {.code = -3});
  fake.Fail("TVServiceAPI::CreateVideoControl", {.code = 0});
  fake.Fail("TVServiceAPI::CreateSignalSubscriber");
  ISourceControl* source = nullptr;
  IVideoControl* video = nullptr;
  ISignalSubscriber* subscriber = nullptr;
  EXPECT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &source), -3);
  EXPECT_EQ(TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &video), 0);
  EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(OnSignal, &subscriber), -1);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(video, nullptr);
  EXPECT_EQ(subscriber, nullptr);
  EXPECT_EQ(fake.TvObjects(), 0);
  TVServiceAPI::Destroy(source);
  TVServiceAPI::Destroy(video);
  TVServiceAPI::Destroy(subscriber);
  ExpectTrace(R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> -3: null
    TVServiceAPI::CreateVideoControl(1, 0) -> 0: null
    TVServiceAPI::CreateSignalSubscriber(OnSignal) -> -1: null
    TVServiceAPI::Destroy(null)
    TVServiceAPI::Destroy(null)
    TVServiceAPI::Destroy(null)
  )");
}

TEST_F(FakeTvService, LeavesOutputsAloneWhenAQuestionFails) {
  for (const char* call :
       {"ISourceControl::GetSourceState", "ISourceControl::GetCurrentSource",
        "ISourceControl::GetSourceBeforePreview", "IVideoControl::GetVideoWindow"}) {
    fake.Fail(call);
  }
  ISourceControl* source = nullptr;
  IVideoControl* video = nullptr;
  TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &source);
  TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &video);
  int value = 7;
  EXPECT_EQ(source->GetSourceState(&value), -1);
  EXPECT_EQ(source->GetCurrentSource(&value), 0);
  EXPECT_EQ(source->GetSourceBeforePreview(&value), 0);
  EXPECT_EQ(video->GetVideoWindow(value, value, value, value), -1);
  EXPECT_EQ(value, 7);
}

TEST_F(FakeTvService, ComplainsOfAnObjectThatWasDestroyed) {
  ISourceControl* control = nullptr;
  TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &control);
  TVServiceAPI::Destroy(control);
  fake.TakeTrace();
  int state = 0;
  control->GetSourceState(&state);
  TVServiceAPI::Destroy(control);
  EXPECT_EQ(fake.TvObjects(), 0);
  ExpectTrace(R"(
    ISourceControl::GetSourceState() -> 0: 1 !! destroyed already
    TVServiceAPI::Destroy(sourceControl) !! destroyed already
  )");
}

TEST_F(FakeTvService, SignalsWhatWasSubscribed) {
  fake.SetPicture({.source = 13});
  ISignalSubscriber* const subscriber = Subscriber();
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, nullptr, PROFILE_MAIN), 0);
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, m_Data, PROFILE_MAIN), 0);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP, nullptr);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_UNPLUG);
  EXPECT_EQ(subscriber->Unsubscribe(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, OnOtherSignal), -1);
  EXPECT_EQ(subscriber->Unsubscribe(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, OnSignal), 0);
  EXPECT_EQ(subscriber->Unsubscribe(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, OnSignal), -1);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP);
  ExpectTrace(R"(
    ISignalSubscriber::Subscribe(30, null, 1) -> 0
    ISignalSubscriber::Subscribe(30, data, 1) -> 0
    LwipcEventDone("data 30 1 13") -> 0
    LwipcEventDone("null 30 1 13") -> 0
    ISignalSubscriber::Unsubscribe(30, 1, OnOtherSignal) -> -1
    ISignalSubscriber::Unsubscribe(30, 1, OnSignal) -> 0
    ISignalSubscriber::Unsubscribe(30, 1, OnSignal) -> -1
  )");
}

TEST_F(FakeTvService, SignalsNothingThatCouldNotBeSubscribedOrWhoseSubscriberIsGone) {
  ISignalSubscriber* const subscriber = Subscriber();
  fake.Fail("ISignalSubscriber::Subscribe", {.on = "29", .code = -4});
  fake.Fail("ISignalSubscriber::Unsubscribe", {.code = -5});
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_UNPLUG, m_Data, PROFILE_MAIN), -4);
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, m_Data, PROFILE_MAIN), 0);
  EXPECT_EQ(subscriber->Unsubscribe(SIGNAL_EXT_SOURCE_STOP, PROFILE_MAIN, OnSignal), -5);
  fake.TakeTrace();
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_UNPLUG);
  ExpectTrace("");
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP);
  ExpectTrace(R"(LwipcEventDone("data 30 1 -1") -> 0)");
  TVServiceAPI::Destroy(subscriber);
  fake.SendTvSignal(SIGNAL_EXT_SOURCE_STOP);
  ExpectTrace("TVServiceAPI::Destroy(subscriber)");
}

TEST_F(FakeTvService, CanBeOnAThreadOfItsOwn) {
  const auto here = std::this_thread::get_id();
  auto there = here;
  fake.OnServiceThread([&] { there = std::this_thread::get_id(); });
  EXPECT_NE(there, here);
  EXPECT_THROW(fake.OnServiceThread([] { throw std::runtime_error("broken"); }),
               std::runtime_error);
}

}  // namespace
