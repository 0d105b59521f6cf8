// The real main of the daemon. This program is linked so that the process starts here and main
// is an ordinary function to be called by the tests, under the name that it logs.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "SettingsService.h"
#include "fixture.h"

extern "C" int __real_main(int argc, char** argv);

extern "C" int __wrap_main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

namespace {

class Main : public fakes::FakePlatformTest {
 protected:
  // Returns the exit status. `service` is then the service that main created and left alone.
  int Run() {
    char program[] = "settings-service";
    char option[] = "--option";
    char value[] = "value";
    char* arguments[] = {program, option, value, nullptr};
    const int status = __real_main(3, arguments);
    service.reset(fake.Service());
    return status;
  }

  std::unique_ptr<Nuvra::TCDaemonService> service;
};

TEST_F(Main, CreatesTheServiceAndHandsItToTheFrameworkWithTheArguments) {
  fake.Fail("AppMain", {.code = 7});
  EXPECT_EQ(Run(), 7);
  EXPECT_NE(dynamic_cast<SettingsService*>(service.get()), nullptr);
  ExpectTrace(R"(
    I SettingsService main | main start!!\n
    TCDaemonService::TCDaemonService("settings_service")
    TCAlarm::TCAlarm()
    E SettingsService SettingsService | SettingsService constructor!!\n
    AppMain(3, {"settings-service", "--option", "value"}, settings_service) -> 7
  )");
}

TEST_F(Main, ReturnsTheStatusOfTheFrameworkAndDoesNotDeleteTheService) {
  for (const int status : {0, 3}) {
    fake.SetExitStatus(status);
    EXPECT_EQ(Run(), status);
    ASSERT_NE(service, nullptr);
    const std::vector<std::string> trace = fake.TakeTrace();
    ASSERT_FALSE(trace.empty());
    EXPECT_EQ(trace.back(), R"(fclose("/proc/self/reclaim"): "3")");
    EXPECT_EQ(service->ServiceName(), "settings_service");
    service.reset();
    fake.TakeTrace();
  }
}

TEST_F(Main, EndsWithTheExceptionOfAServiceThatCannotBeConstructed) {
  const auto broken = std::make_exception_ptr(std::runtime_error("broken"));
  fake.Fail("TCDaemonService::TCDaemonService", {.times = 1, .exception = broken});
  EXPECT_THROW(Run(), std::runtime_error);
  ExpectTrace(R"(
    I SettingsService main | main start!!\n
    TCDaemonService::TCDaemonService("settings_service") throws
  )");
  fake.Fail("TCAlarm::TCAlarm", {.times = 1, .exception = broken});
  EXPECT_THROW(Run(), std::runtime_error);
  ExpectTrace(R"(
    I SettingsService main | main start!!\n
    TCDaemonService::TCDaemonService("settings_service")
    TCAlarm::TCAlarm() throws
    TCDaemonService::~TCDaemonService()
  )");
}

}  // namespace
