#include <cstdlib>
#include <string>

#include "app_manager.h"
#include "fixture.h"
#include "lwipc.h"

namespace {

// Shows the event in the trace, with the user data as the name of an event path.
void OnAppEvent(app_context_h context, app_context_event_e event, void* userData) {
  LwipcEventDone(static_cast<const char*>(userData));
  LwipcEventDone(event == APP_CONTEXT_EVENT_TERMINATED ? "terminated" : "launched");
  char untouched = 'x';
  char* appID = &untouched;
  app_context_get_app_id(context, &appID);
  if (appID != &untouched) {
    std::free(appID);
  }
}

class FakeApps : public fakes::FakePlatformTest {
 protected:
  FakeApps() { fake.Name(reinterpret_cast<const void*>(OnAppEvent), "OnAppEvent"); }

  void Watch() {
    EXPECT_EQ(app_manager_set_app_context_event_cb(OnAppEvent, m_UserData), 0);
    fake.TakeTrace();
  }

  char m_UserData[5] = "data";
};

TEST_F(FakeApps, AreToldOfOnTheMainLoopInTheirOrder) {
  Watch();
  fake.SendAppEvent(APP_CONTEXT_EVENT_LAUNCHED, "org.example.a");
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.b");
  ExpectTrace("");
  fake.RunMainLoop();
  ExpectTrace(R"(
    LwipcEventDone("data") -> 0
    LwipcEventDone("launched") -> 0
    app_context_get_app_id(context) -> 0: "org.example.a"
    LwipcEventDone("data") -> 0
    LwipcEventDone("terminated") -> 0
    app_context_get_app_id(context) -> 0: "org.example.b"
  )");
}

TEST_F(FakeApps, HaveNoIdentifierWithoutAContextOrAPlaceForIt) {
  char* appID = nullptr;
  EXPECT_EQ(app_context_get_app_id(nullptr, &appID), -1);
  EXPECT_EQ(appID, nullptr);
}

TEST_F(FakeApps, ThatWereNotToldOfStaySoInANewWatch) {
  Watch();
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.old");
  app_manager_unset_app_context_event_cb();
  Watch();
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.new");
  fake.RunMainLoop();
  ExpectTrace(R"(
    LwipcEventDone("data") -> 0
    LwipcEventDone("terminated") -> 0
    app_context_get_app_id(context) -> 0: "org.example.new"
  )");
}

TEST_F(FakeApps, AreNotWatchedWhenThatFails) {
  fake.Fail("app_manager_set_app_context_event_cb", {.code = -9, .times = 1});
  EXPECT_EQ(app_manager_set_app_context_event_cb(OnAppEvent, nullptr), -9);
  EXPECT_EQ(app_manager_set_app_context_event_cb(nullptr, nullptr), -1);
  app_manager_unset_app_context_event_cb();
  fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.a");
  fake.RunMainLoop();
  ExpectTrace(R"(
    app_manager_set_app_context_event_cb(OnAppEvent, null) -> -9
    app_manager_set_app_context_event_cb(null, null) -> -1
    app_manager_unset_app_context_event_cb()
  )");
}

}  // namespace
