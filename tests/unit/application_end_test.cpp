#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "service_test.h"

namespace {

constexpr char kMirror[] = "memory/menu/disabled_items";

// A method that begins the watch over applications and one that ends it, with the log of their
// handlers.
struct WatchMethods {
  const char* disable;
  const char* disableLog;
  const char* enable;
  const char* enableLog;
};

constexpr WatchMethods kWatchMethods[] = {
    {"DisableItem", R"(
       I SettingsServiceCommand DisableItem | Disabled x from org.example.app\n
       CSettingsItemInfoAPI::DisableItem("x", "org.example.app") -> false
     )",
     "EnableItem", R"(
       I SettingsServiceCommand EnableItem | Enabled x from org.example.app\n
       CSettingsItemInfoAPI::EnableItem("x", "org.example.app") -> false
     )"},
    {"DisableItemsByList", R"(
       I SettingsServiceCommand DisableItemsByList | appname is org.example.app\n
       CSettingsItemInfoAPI::DisableItemsByList(["x"], "org.example.app") -> false: []
       I SettingsServiceCommand DisableItemsByList | 3rd party apps disable items by list end\n
     )",
     "RemoveDisabledItemsByAppname", R"(
       I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
       CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") -> false: []
     )"},
};

void PrintTo(const WatchMethods& methods, std::ostream* stream) {
  *stream << methods.disable << " and " << methods.enable;
}

// The library refuses every change here: what it says of a request does not matter to the watch,
// only what it has written into the mirror of its record.
class ApplicationWatch : public CreatedServiceTest,
                         public testing::WithParamInterface<WatchMethods> {
 protected:
  void SetMirror(const std::string& text) { fake.SetKey(kMirror, text); }

  // Expects this trace behind the handler's own.
  void ExpectDisabling(const std::string& trace, fakes::Place where = fakes::Place::Current()) {
    EXPECT_EQ(Send(Request(methods.disable, kData)), kNoResult);
    ExpectTrace(std::string("{request}\n") + methods.disableLog + trace, where);
  }
  void ExpectEnabling(const std::string& trace, fakes::Place where = fakes::Place::Current()) {
    EXPECT_EQ(Send(Request(methods.enable, kData)), kNoResult);
    ExpectTrace(std::string("{request}\n") + methods.enableLog + trace, where);
  }

  // Whether the end of an application reaches the service.
  bool Watches() {
    fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, "org.example.other");
    fake.RunMainLoop();
    return !fake.TakeTrace().empty();
  }

  static constexpr char kData[] =
      R"({"appName":"org.example.app","menuID":"x","menuIDList":["x"]})";

  static constexpr char kBegin[] = R"(
    vconf_get_str("memory/menu/disabled_items") -> "x by app"
    I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
    app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
    I SettingsService m_RegisterAppTerminateCB | Finish\n
  )";
  static constexpr char kEnd[] = R"(
    vconf_get_str("memory/menu/disabled_items") -> ""
    E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
    app_manager_unset_app_context_event_cb()
    I SettingsService m_UnRegisterAppTerminateCB | Finish\n
  )";

  const WatchMethods methods = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Methods, ApplicationWatch, testing::ValuesIn(kWatchMethods),
                         [](const auto& info) { return info.param.disable; });

TEST_P(ApplicationWatch, BeginsAfterADisablingRequest) {
  SetMirror("x by app");
  EXPECT_FALSE(Watches());
  ExpectDisabling(kBegin);
  EXPECT_TRUE(Watches());
}

TEST_P(ApplicationWatch, DoesNotBeginTwice) {
  SetMirror("x by app");
  ExpectDisabling(kBegin);
  for (int i = 0; i < 2; ++i) {
    ExpectDisabling(R"(I SettingsService m_RegisterAppTerminateCB | already done\n)");
  }
  EXPECT_TRUE(Watches());
}

TEST_P(ApplicationWatch, DoesNotBeginWhileNoItemIsDisabled) {
  const auto expectNone = [&](const std::string& mirror) {
    Let("mirror", mirror);
    ExpectDisabling(R"(
      vconf_get_str("memory/menu/disabled_items") -> {mirror}
      E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
      I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
    )");
    EXPECT_FALSE(Watches());
  };
  expectNone("null");
  SetMirror("");
  expectNone("\"\"");
  fake.SetKey(kMirror, 1);
  expectNone("null");
  SetMirror("x by app");
  fake.Fail("vconf_get_str", {.on = kMirror, .times = 1});
  expectNone("null");
  ExpectDisabling(kBegin);
}

TEST_P(ApplicationWatch, BeginsWhateverTheMirrorHolds) {
  for (const char* mirror : {" ", "0", "[]", "{}"}) {
    SetMirror(mirror);
    Let("mirror", mirror);
    ExpectDisabling(R"(
      vconf_get_str("memory/menu/disabled_items") -> "{mirror}"
      I SettingsService m_FlagDisableItemEmpty | Disable[{mirror}]\n
      app_manager_set_app_context_event_cb(AppContextEventCB, null) -> 0
      I SettingsService m_RegisterAppTerminateCB | Finish\n
    )");
    SetMirror("");
    ExpectEnabling(kEnd);
  }
}

TEST_P(ApplicationWatch, IsTriedAgainAfterTheNextRequestWhenItCannotBegin) {
  SetMirror("x by app");
  for (const int code : {-38, 5}) {
    fake.Fail("app_manager_set_app_context_event_cb", {.code = code, .times = 1});
    Let("code", std::to_string(code));
    ExpectDisabling(R"(
      vconf_get_str("memory/menu/disabled_items") -> "x by app"
      I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
      app_manager_set_app_context_event_cb(AppContextEventCB, null) -> {code}
      E SettingsService m_RegisterAppTerminateCB | Failed app_manager_set_app_context_event_cb [{code}]\n
    )");
    EXPECT_FALSE(Watches());
    ExpectEnabling(R"(I SettingsService m_UnRegisterAppTerminateCB | no CB\n)");
  }
  ExpectDisabling(kBegin);
}

TEST_P(ApplicationWatch, EndsAfterAnEnablingRequestThatLeavesNoItemDisabled) {
  SetMirror("x by app");
  ExpectDisabling(kBegin);
  SetMirror("");
  ExpectEnabling(kEnd);
  EXPECT_FALSE(Watches());
}

TEST_P(ApplicationWatch, EndsWhenTheMirrorCannotBeRead) {
  SetMirror("x by app");
  ExpectDisabling(kBegin);
  fake.Fail("vconf_get_str", {.on = kMirror, .times = 1});
  ExpectEnabling(R"(
    vconf_get_str("memory/menu/disabled_items") -> null
    E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
    app_manager_unset_app_context_event_cb()
    I SettingsService m_UnRegisterAppTerminateCB | Finish\n
  )");
}

TEST_P(ApplicationWatch, GoesOnWhileOtherItemsStayDisabled) {
  SetMirror("x by app");
  ExpectDisabling(kBegin);
  for (int i = 0; i < 2; ++i) {
    ExpectEnabling(R"(
      vconf_get_str("memory/menu/disabled_items") -> "x by app"
      I SettingsService m_FlagDisableItemEmpty | Disable[x by app]\n
      I SettingsService m_UnRegisterAppTerminateCB | No empty disable\n
    )");
    EXPECT_TRUE(Watches());
  }
}

TEST_P(ApplicationWatch, DoesNotEndTwice) {
  const std::string noWatch = R"(I SettingsService m_UnRegisterAppTerminateCB | no CB\n)";
  ExpectEnabling(noWatch);
  SetMirror("x by app");
  ExpectEnabling(noWatch);
  ExpectDisabling(kBegin);
  SetMirror("");
  ExpectEnabling(kEnd);
  ExpectEnabling(noWatch);
}

TEST_P(ApplicationWatch, BeginsAnewAfterItHasEnded) {
  for (int i = 0; i < 2; ++i) {
    SetMirror("x by app");
    ExpectDisabling(kBegin);
    SetMirror("");
    ExpectEnabling(kEnd);
  }
}

TEST_P(ApplicationWatch, BeginsAndEndsAfterIllTypedRequestsToo) {
  SetMirror("x by app");
  Nuvra::TCMessage reply;
  Send(Request(methods.disable, R"("ill-typed")"), reply);
  fake.TakeTrace();
  EXPECT_TRUE(Watches());
  SetMirror("");
  Send(Request(methods.enable, R"("ill-typed")"), reply);
  fake.TakeTrace();
  EXPECT_FALSE(Watches());
}

TEST_P(ApplicationWatch, IsLeftAloneByARequestThatAnExceptionEnds) {
  SetMirror("x by app");
  fake.Fail("CSettingsItemInfoAPI::" + std::string(methods.disable),
            {.times = 1, .exception = OtherException()});
  EXPECT_THROW(Send(Request(methods.disable, kData)), std::runtime_error);
  fake.TakeTrace();
  EXPECT_FALSE(Watches());
  ExpectDisabling(kBegin);
  SetMirror("");
  fake.Fail("CSettingsItemInfoAPI::" + std::string(methods.enable),
            {.times = 1, .exception = OtherException()});
  EXPECT_THROW(Send(Request(methods.enable, kData)), std::runtime_error);
  fake.TakeTrace();
  EXPECT_TRUE(Watches());
}

TEST_P(ApplicationWatch, IsLeftAloneByEveryOtherMethod) {
  SetMirror("x by app");
  for (const char* method : {"IsItemEnabled", "GetDisabledItemsList", "GetItemVisible",
                             "GetItemVisibleAsync", "SetItemValue", "NoSuchMethod"}) {
    SCOPED_TRACE(method);
    Send(Request(method, kData));
    fake.TakeTrace();
    EXPECT_FALSE(Watches());
  }
}

// The end of an application while it is watched for.
class ApplicationEnd : public CreatedServiceTest {
 protected:
  ApplicationEnd() {
    fake.SetKey(kMirror, "x by app");
    Send(Request("DisableItem", R"({"appName":"org.example.app","menuID":"x"})"));
    fake.TakeTrace();
  }

  void End(std::optional<std::string> appID) {
    fake.SendAppEvent(APP_CONTEXT_EVENT_TERMINATED, std::move(appID));
    fake.RunMainLoop();
  }

  static constexpr char kNothingReleased[] = R"(
    app_context_get_app_id(context) -> 0: "org.example.app"
    I SettingsServiceCommand AppContextEventCB | Terminated app is org.example.app\n
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") -> false: []
  )";
};

TEST_F(ApplicationEnd, ReleasesWhatTheApplicationDisabledAndSignalsIt) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"y", "x"}});
  End("org.example.app");
  ExpectTrace(R"(
    app_context_get_app_id(context) -> 0: "org.example.app"
    I SettingsServiceCommand AppContextEventCB | Terminated app is org.example.app\n
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") -> true: ["y", "x"]
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
    SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":["y","x"],"status":1}) -> true
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n
  )");
}

TEST_F(ApplicationEnd, SignalsNothingWhenTheApplicationDisabledNothing) {
  End("org.example.app");
  ExpectTrace(kNothingReleased);
}

TEST_F(ApplicationEnd, IsSeenEachTime) {
  for (int i = 0; i < 3; ++i) {
    End("org.example.app");
    ExpectTrace(kNothingReleased);
  }
}

TEST_F(ApplicationEnd, DoesNotEndTheWatchButTheNextEnablingRequestDoes) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"x"}});
  End("org.example.app");
  fake.SetKey(kMirror, "");
  fake.SetDisabledItems({});
  fake.TakeTrace();
  End("org.example.app");
  ExpectTrace(kNothingReleased);
  Send(Request("EnableItem", R"({"appName":"org.example.app","menuID":"x"})"));
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand EnableItem | Enabled x from org.example.app\n
    CSettingsItemInfoAPI::EnableItem("x", "org.example.app") -> false
    vconf_get_str("memory/menu/disabled_items") -> ""
    E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
    app_manager_unset_app_context_event_cb()
    I SettingsService m_UnRegisterAppTerminateCB | Finish\n
  )");
  End("org.example.app");
  ExpectTrace("");
}

TEST_F(ApplicationEnd, IsIgnoredWithoutAnIdentifier) {
  fake.SetDisabledItems({.changed = true});
  End(std::nullopt);
  ExpectTrace("app_context_get_app_id(context) -> 0: null");
  fake.Fail("app_context_get_app_id", {.code = -22, .times = 1});
  End("org.example.app");
  ExpectTrace("app_context_get_app_id(context) -> -22");
}

TEST_F(ApplicationEnd, IsTakenAsItIsWithAnEmptyIdentifier) {
  End("");
  ExpectTrace(R"(
    app_context_get_app_id(context) -> 0: ""
    I SettingsServiceCommand AppContextEventCB | Terminated app is \n
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by \n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("") -> false: []
  )");
}

TEST_F(ApplicationEnd, IsNotTheStartOfAnApplication) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"x"}});
  fake.SendAppEvent(APP_CONTEXT_EVENT_LAUNCHED, "org.example.app");
  fake.RunMainLoop();
  ExpectTrace("");
}

TEST_F(ApplicationEnd, IsSeenAgainAfterAJsonExceptionOfTheLibrary) {
  fake.Fail("CSettingsItemInfoAPI::RemoveDisabledItemsByAppname",
            {.times = 1, .exception = JsonException()});
  End("org.example.app");
  ExpectTrace(R"(
    app_context_get_app_id(context) -> 0: "org.example.app"
    I SettingsServiceCommand AppContextEventCB | Terminated app is org.example.app\n
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") throws
    I SettingsServiceCommand RemoveDisabledItemsByAppname | exception [broken]\n
  )");
  End("org.example.app");
  ExpectTrace(kNothingReleased);
}

TEST_F(ApplicationEnd, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::RemoveDisabledItemsByAppname", {.exception = OtherException()});
  EXPECT_THROW(End("org.example.app"), std::runtime_error);
}

}  // namespace
