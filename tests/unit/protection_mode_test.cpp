#include <map>
#include <string>
#include <vector>

#include "ProtectionModeService.h"
#include "service_test.h"

namespace fakes {

std::ostream& operator<<(std::ostream& stream, const Launch& launch) {
  return stream << launch.appID << " with " << launch.extraData.size() << " extras";
}

}  // namespace fakes

namespace {

constexpr char kKey[] = "memory/ave/protection";
constexpr char kOutdoor[] = "com.velmora/featureconf/outdoor_tv_product_image_support";

const fakes::Launch kPopup{"org.pavix.menu", {{"type", "protection-popup"}}};

class ProtectionModeTest : public ServiceTest {
 protected:
  ProtectionModeTest() { ReleaseQuietly(); }
  ~ProtectionModeTest() override { ReleaseQuietly(); }

  void ReleaseQuietly() {
    CProtectionModeService::ReleaseInstance();
    fake.TakeTrace();
  }

  // The watcher, made and named, its construction not in the trace.
  CProtectionModeService* Watcher() {
    CProtectionModeService* watcher = CProtectionModeService::GetInstance();
    fake.Name(watcher, "watcher");
    fake.TakeTrace();
    return watcher;
  }

  // The trace of a start on a model for outdoors, with these steps at the end of its protection
  // mode.
  static std::string OutdoorStart(const std::string& steps) {
    const std::string last = "Outdoor supported[0]\\n\n  ";
    return StartBut(
        {{"image_support\") -> 0: false", "image_support\") -> 0: true"}, {last, last + steps}});
  }

  void Change(int mode) {
    fake.SetKey(kKey, mode);
    fake.RunMainLoop();
  }
};

TEST_F(ProtectionModeTest, IsWatchedFromTheStartOnAModelForOutdoors) {
  fake.SetFeature(kOutdoor, true);
  ASSERT_TRUE(service.t_OnCreate());
  ExpectTrace(OutdoorStart(
      R"(E ProtectionModeService CProtectionModeService | [ProtectionModeService] CProtectionModeService constructor!!\n
  vconf_notify_key_changed("memory/ave/protection", m_VconfCB, object1) -> 0
)"));
  Change(1);
  EXPECT_EQ(fake.TakeLaunches(), std::vector{kPopup});
}

TEST_F(ProtectionModeTest, IsNoReasonForTheStartToFailWhenItCannotBeWatched) {
  Watcher();
  fake.SetFeature(kOutdoor, true);
  fake.Fail("vconf_notify_key_changed", {.on = kKey});
  EXPECT_TRUE(service.t_OnCreate());
  ExpectTrace(OutdoorStart(
      R"(vconf_notify_key_changed("memory/ave/protection", m_VconfCB, watcher) -> -1
)"));
  Change(1);
  EXPECT_TRUE(fake.TakeLaunches().empty());
}

TEST_F(ProtectionModeTest, IsWatchedAnewByTheSameObjectWhenTheServiceStartsAgain) {
  CProtectionModeService* const watcher = Watcher();
  fake.SetFeature(kOutdoor, true);
  ASSERT_TRUE(service.t_OnCreate());
  ASSERT_TRUE(service.t_OnCreate());
  std::vector<std::string> watches;
  for (const std::string& line : fake.TakeTrace()) {
    if (line.find(kKey) != std::string::npos) {
      watches.push_back(line);
    }
  }
  const std::string watch =
      R"(vconf_notify_key_changed("memory/ave/protection", m_VconfCB, watcher) -> 0)";
  EXPECT_EQ(watches, (std::vector{watch, watch}));
  EXPECT_EQ(CProtectionModeService::GetInstance(), watcher);
  Change(1);
  EXPECT_EQ(fake.TakeLaunches().size(), 1u);
}

TEST_F(ProtectionModeTest, IsNotWatchedOnOtherModels) {
  ASSERT_TRUE(service.t_OnCreate());
  fake.TakeTrace();
  Change(1);
  ExpectTrace("");
  // There is no watcher either: the first one comes only now.
  CProtectionModeService::GetInstance();
  ExpectTrace(R"(
    E ProtectionModeService CProtectionModeService | [ProtectionModeService] CProtectionModeService constructor!!\n
  )");
}

TEST_F(ProtectionModeTest, IsNotWatchedWhenTheModelIsNotKnown) {
  fake.SetFeature(kOutdoor, true);
  fake.Fail("system_info_get_custom_bool", {.on = kOutdoor});
  ASSERT_TRUE(service.t_OnCreate());
  fake.TakeTrace();
  Change(1);
  ExpectTrace("");
}

TEST_F(ProtectionModeTest, IsWatchedAfterTheEndOfTheServiceToo) {
  fake.SetFeature(kOutdoor, true);
  ASSERT_TRUE(service.t_OnCreate());
  service.t_OnTerminate();
  Change(1);
  EXPECT_EQ(fake.TakeLaunches(), std::vector{kPopup});
}

class Watcher : public ProtectionModeTest {
 protected:
  Watcher() {
    watcher = ProtectionModeTest::Watcher();
    watcher->InitService();
    ExpectTrace(R"(vconf_notify_key_changed("memory/ave/protection", m_VconfCB, watcher) -> 0)");
  }

  CProtectionModeService* watcher;
};

TEST_F(Watcher, OpensThePopupOfTheMenuWhenTheModeBegins) {
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> 0: 1
    E ProtectionModeService m_VconfCB | Protection Mode : 1\n
    E ProtectionModeService m_LaunchMenuApp | Protection Mode value changed\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "org.pavix.menu") -> 0
    app_control_add_extra_data(appControl, "type", "protection-popup") -> 0
    app_control_send_launch_request(appControl, null, null) -> 0
    I ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Success to launch menu\n
    app_control_destroy(appControl) -> 0
  )");
  EXPECT_EQ(fake.TakeLaunches(), std::vector{kPopup});
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(Watcher, OpensItOnceForEveryChangeToOn) {
  for (const int mode : {0, 1, 0, 1}) {
    Change(mode);
  }
  EXPECT_EQ(fake.TakeLaunches(), (std::vector{kPopup, kPopup}));
  Change(1);
  EXPECT_EQ(fake.TakeLaunches(), std::vector{kPopup});
}

TEST_F(Watcher, DoesNothingForOtherModes) {
  for (const int mode : {0, 2, -1}) {
    Change(mode);
    Let("mode", std::to_string(mode));
    ExpectTrace(R"(
      vconf_get_int("memory/ave/protection") -> 0: {mode}
      E ProtectionModeService m_VconfCB | Protection Mode : {mode}\n
    )");
  }
}

TEST_F(Watcher, GoesByWhatTheKeyHoldsWhenItIsCalled) {
  fake.SetKey(kKey, 1);
  fake.SetKey(kKey, 0);
  fake.RunMainLoop();
  EXPECT_TRUE(fake.TakeLaunches().empty());
}

TEST_F(Watcher, LogsThatTheModeCannotBeRead) {
  fake.SetKey(kKey, "1");
  fake.RunMainLoop();
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> -1
    E ProtectionModeService m_VconfCB | vconf get failed.\n
  )");
}

TEST_F(Watcher, LogsAFailedLaunchAndASuccessAllTheSame) {
  fake.Fail("app_control_send_launch_request", {.code = -42, .times = 1});
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> 0: 1
    E ProtectionModeService m_VconfCB | Protection Mode : 1\n
    E ProtectionModeService m_LaunchMenuApp | Protection Mode value changed\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "org.pavix.menu") -> 0
    app_control_add_extra_data(appControl, "type", "protection-popup") -> 0
    app_control_send_launch_request(appControl, null, null) -> -42
    E ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Failed to launch menu, ret = -42\n
    I ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Success to launch menu\n
    app_control_destroy(appControl) -> 0
  )");
  EXPECT_EQ(fake.AppControls(), 0);
  Change(1);
  EXPECT_EQ(fake.TakeLaunches(), std::vector{kPopup});
}

TEST_F(Watcher, TakesAPositiveLaunchResultForAFailureToo) {
  fake.Fail("app_control_send_launch_request", {.code = 1});
  Change(1);
  EXPECT_TRUE(fake.WaitForTrace("Failed to launch menu, ret = 1", {}));
}

TEST_F(Watcher, AsksForTheLaunchWithoutARequestWhenNoneCanBeMade) {
  fake.Fail("app_control_create", {.code = -3});
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> 0: 1
    E ProtectionModeService m_VconfCB | Protection Mode : 1\n
    E ProtectionModeService m_LaunchMenuApp | Protection Mode value changed\n
    app_control_create() -> -3
    app_control_set_app_id(null, "org.pavix.menu") -> -1
    app_control_add_extra_data(null, "type", "protection-popup") -> -1
    app_control_send_launch_request(null, null, null) -> -1
    E ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Failed to launch menu, ret = -1\n
    I ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Success to launch menu\n
  )");
}

TEST_F(Watcher, SendsTheRequestThoughItHasNoExtraData) {
  fake.Fail("app_control_add_extra_data");
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> 0: 1
    E ProtectionModeService m_VconfCB | Protection Mode : 1\n
    E ProtectionModeService m_LaunchMenuApp | Protection Mode value changed\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "org.pavix.menu") -> 0
    app_control_add_extra_data(appControl, "type", "protection-popup") -> -1
    app_control_send_launch_request(appControl, null, null) -> 0
    I ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Success to launch menu\n
    app_control_destroy(appControl) -> 0
  )");
  EXPECT_EQ(fake.TakeLaunches(), (std::vector{fakes::Launch{"org.pavix.menu", {}}}));
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(Watcher, SendsTheRequestThoughItHasNoReceiver) {
  fake.Fail("app_control_set_app_id");
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/ave/protection") -> 0: 1
    E ProtectionModeService m_VconfCB | Protection Mode : 1\n
    E ProtectionModeService m_LaunchMenuApp | Protection Mode value changed\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "org.pavix.menu") -> -1
    app_control_add_extra_data(appControl, "type", "protection-popup") -> 0
    app_control_send_launch_request(appControl, null, null) -> -1
    E ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Failed to launch menu, ret = -1\n
    I ProtectionModeService m_LaunchMenuApp | [ProtectionModeService] Success to launch menu\n
    app_control_destroy(appControl) -> 0
  )");
  EXPECT_EQ(fake.AppControls(), 0);
}

TEST_F(Watcher, IsSilentWithoutAKey) {
  fake.SetKey(kKey, 1);
  CProtectionModeService::m_VconfCB(nullptr, watcher);
  CProtectionModeService::m_VconfCB(nullptr, nullptr);
  ExpectTrace("");
}

TEST_F(Watcher, LogsThatItHasNoObject) {
  vconf_notify_key_changed(kKey, CProtectionModeService::m_VconfCB, nullptr);
  fake.TakeTrace();
  Change(1);
  ExpectTrace(R"(E ProtectionModeService m_VconfCB | [ProtectionModeService] pUserData is NULL\n)");
}

TEST_F(Watcher, IsOneObject) {
  EXPECT_EQ(CProtectionModeService::GetInstance(), watcher);
  ExpectTrace("");
}

TEST_F(Watcher, EndsItsWatchAndStays) {
  CProtectionModeService::Destory();
  ExpectTrace(R"(vconf_ignore_key_changed("memory/ave/protection", m_VconfCB) -> 0)");
  Change(1);
  ExpectTrace("");
  EXPECT_EQ(CProtectionModeService::GetInstance(), watcher);
  ExpectTrace("");
}

TEST_F(Watcher, EndsItsWatchBeforeItIsDeletedAndIsDeletedOnce) {
  CProtectionModeService::ReleaseInstance();
  ExpectTrace(R"(
    vconf_ignore_key_changed("memory/ave/protection", m_VconfCB) -> 0
    E ProtectionModeService ~CProtectionModeService | [ProtectionModeService] CProtectionModeService destructor!!\n
  )");
  CProtectionModeService::ReleaseInstance();
  ExpectTrace("");
  CProtectionModeService::GetInstance();
  ExpectTrace(R"(
    E ProtectionModeService CProtectionModeService | [ProtectionModeService] CProtectionModeService constructor!!\n
  )");
}

}  // namespace
