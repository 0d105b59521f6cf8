#include "tv_service.h"

#include <stdexcept>
#include <string>
#include <thread>

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

TEST_F(FakeTvService, CanBeOnAThreadOfItsOwn) {
  const auto here = std::this_thread::get_id();
  auto there = here;
  fake.OnServiceThread([&] { there = std::this_thread::get_id(); });
  EXPECT_NE(there, here);
  EXPECT_THROW(fake.OnServiceThread([] { throw std::runtime_error("broken"); }),
               std::runtime_error);
}

}  // namespace
