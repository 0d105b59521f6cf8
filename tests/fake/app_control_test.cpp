#include "app_control.h"

#include <thread>

#include "aul.h"
#include "fixture.h"

namespace {

using FakeAppControl = fakes::FakePlatformTest;

TEST_F(FakeAppControl, FreesWhatWasNotDestroyed) {
  app_control_h control = nullptr;
  app_control_create(&control);
  app_control_create(&control);
  EXPECT_EQ(fake.AppControls(), 2);
  fake.Reset();
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(FakeAppControl, FailsWhenItIsToAndWithoutAHandle) {
  fake.Fail("app_control_create", {.code = -5});
  int anything = 0;
  auto control = reinterpret_cast<app_control_h>(&anything);
  EXPECT_EQ(app_control_create(&control), -5);
  EXPECT_EQ(control, nullptr);
  EXPECT_EQ(fake.AppControls(), 0);
  EXPECT_EQ(app_control_set_app_id(control, "org.example.app"), -1);
  EXPECT_EQ(app_control_add_extra_data(control, "mode", "x"), -1);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), -1);
  EXPECT_EQ(app_control_destroy(control), -1);
  for (const char* call : {"app_control_set_app_id", "app_control_add_extra_data",
                           "app_control_send_launch_request", "app_control_destroy"}) {
    fake.Fail(call, {.code = -6});
  }
  EXPECT_EQ(app_control_set_app_id(control, "org.example.app"), -6);
  EXPECT_EQ(app_control_add_extra_data(control, "mode", "x"), -6);
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), -6);
  EXPECT_EQ(app_control_destroy(control), -6);
}

TEST_F(FakeAppControl, IsWaitedForByATextInTheTrace) {
  std::thread asking([] { aul_app_get_status("org.example.app"); });
  EXPECT_TRUE(fake.WaitForTrace(R"(get_status("org.example.app"))"));
  asking.join();
  EXPECT_FALSE(fake.WaitForTrace("no such text", std::chrono::milliseconds(1)));
}

}  // namespace
