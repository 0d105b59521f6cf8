#include <stdexcept>

#include "fixture.h"
#include "lwipc.h"
#include "menu_audio_util.h"
#include "nuvra/app_main.h"

namespace {

class FakeItems : public fakes::FakePlatformTest {};

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
