#include <ostream>
#include <string>

#include "service_test.h"

namespace {

// What follows a request while nothing is watched and nothing is disabled.
constexpr char kAfterDisabling[] = R"(
  vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
)";
constexpr char kAfterEnabling[] = R"(
  I SettingsService m_UnRegisterAppTerminateCB | no CB\n
)";

// The methods that change which items are disabled.
struct Change {
  const char* method;
  // The log before the library is asked, with "{menuID}" and "{appName}" as requested.
  const char* enterLine;
  // What the library is asked for one item and an application.
  const char* arguments;
  // What the call gives beside its result, when the test set one item.
  const char* output;
  // The status in the signal.
  const char* status;
  // An exception in the log.
  const char* exceptionLine;
  // The log at the end, and what the dispatcher does then.
  const char* end;
  const char* after;
};

constexpr Change kChanges[] = {
    {"EnableItem", "Enabled {menuID} from {appName}", R"("{menuID}", "{appName}")", "", "1",
     "EnableItem exception [{exception}]", "", kAfterEnabling},
    // With a blank in front.
    {"DisableItem", "Disabled {menuID} from {appName}", R"("{menuID}", "{appName}")", "", "0",
     " DisableItem exception [{exception}]", "", kAfterDisabling},
    {"DisableItemsByList", "appname is {appName}", R"(["{menuID}"], "{appName}")",
     R"(: ["{menuID}"])", "0", "exception [{exception}]",
     R"(
       I SettingsServiceCommand DisableItemsByList | 3rd party apps disable items by list end\n
     )",
     kAfterDisabling},
    {"RemoveDisabledItemsByAppname", "Remove disabled items by {appName}", R"("{appName}")",
     R"(: ["{menuID}"])", "1", "exception [{exception}]", "", kAfterEnabling},
};

void PrintTo(const Change& change, std::ostream* stream) { *stream << change.method; }

class DisabledItemsChange : public CreatedServiceTest, public testing::WithParamInterface<Change> {
 protected:
  DisabledItemsChange() {
    Let("method", change.method);
    Let("menuID", "brightness");
    Let("appName", "org.example.app");
  }

  std::string Ask(const std::string& data) { return Send(Request(change.method, data)); }

  // The trace up to the library's answer, which ends it.
  std::string Question(const std::string& answer) const {
    return R"(
      {request}
      I SettingsServiceCommand {method} | )" +
           std::string(change.enterLine) + R"(\n
      CSettingsItemInfoAPI::{method}()" +
           change.arguments + ")" + answer + "\n";
  }

  std::string Answer(const std::string& result) const { return " -> " + result + change.output; }

  // The trace of the signal, which ended so.
  std::string Signal(const std::string& end) const {
    return R"(
      I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
      SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":["{menuID}"],"status":)" +
           std::string(change.status) + "})" + end + "\n";
  }

  // The trace after an exception of the JSON library.
  std::string AfterException(const std::string& exception) {
    Let("exception", exception);
    return "I SettingsServiceCommand {method} | " + std::string(change.exceptionLine) + "\\n\n" +
           change.end + change.after;
  }

  static constexpr char kSignalEnd[] = R"(
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n
  )";

  // A request that all of them understand.
  static constexpr char kData[] =
      R"({"appName":"org.example.app","menuID":"brightness","menuIDList":["brightness"]})";

  const Change change = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, DisabledItemsChange, testing::ValuesIn(kChanges),
                         [](const auto& info) { return info.param.method; });

TEST_P(DisabledItemsChange, IsSignalled) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"brightness"}});
  EXPECT_EQ(Ask(kData), kNoResult);
  ExpectTrace(Question(Answer("true")) + Signal(" -> true") + kSignalEnd + change.end +
              change.after);
}

TEST_P(DisabledItemsChange, IsNotSignalledWhenItDidNotHappen) {
  fake.SetDisabledItems({.changed = false, .changedItems = {"brightness"}});
  EXPECT_EQ(Ask(kData), kNoResult);
  ExpectTrace(Question(Answer("false")) + change.end + change.after);
}

TEST_P(DisabledItemsChange, IsSignalledOnceThoughTheSignalCannotBeSent) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"brightness"}});
  fake.Fail("SendSignal");
  EXPECT_EQ(Ask(kData), kNoResult);
  ExpectTrace(Question(Answer("true")) + Signal(" -> false") + kSignalEnd + change.end +
              change.after);
}

TEST_P(DisabledItemsChange, CatchesAJsonExceptionOfTheSignalToo) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"brightness"}});
  fake.Fail("SendSignal", {.exception = JsonException()});
  EXPECT_EQ(Ask(kData), kNoResult);
  ExpectTrace(Question(Answer("true")) + Signal(" throws") + AfterException("broken"));
}

// The two that change one item.
class OneItemChange : public DisabledItemsChange {};

INSTANTIATE_TEST_SUITE_P(Method, OneItemChange, testing::Values(kChanges[0], kChanges[1]),
                         [](const auto& info) { return info.param.method; });

TEST_P(OneItemChange, IsAskedForAndSignalledWithTheWholeTextsThoughTheyHoldZeros) {
  fake.SetDisabledItems({.changed = true});
  EXPECT_EQ(Ask(R"({"appName":"a\u0000b","menuID":"x\u0000y"})"), kNoResult);
  Let("menuID", "x");
  Let("appName", "a");
  ExpectTrace("{request}\nI SettingsServiceCommand {method} | " + std::string(change.enterLine) +
              R"(\n
    CSettingsItemInfoAPI::{method}("x\x00y", "a\x00b") -> true
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
    SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":["x\u0000y"],"status":)" +
              change.status + "}) -> true\n" + kSignalEnd + change.after);
}

TEST_P(OneItemChange, DoesNotLookAtAList) {
  EXPECT_EQ(Ask(R"({"appName":"org.example.app","menuID":"brightness","menuIDList":[{}]})"),
            kNoResult);
  ExpectTrace(Question(Answer("false")) + change.after);
}

class DisableItemsByList : public CreatedServiceTest {
 protected:
  DisableItemsByList() { Let("appName", "org.example.app"); }

  // The reply to a request with this list.
  std::string Disable(const std::string& menuIDList) {
    return Send(Request("DisableItemsByList",
                        R"({"appName":"org.example.app","menuIDList":)" + menuIDList + "}"));
  }

  // The trace of a request with this list, as the library was asked for it, and with what came
  // of it.
  void ExpectAsked(const std::string& requested, const std::string& outcome,
                   fakes::Place where = fakes::Place::Current()) {
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand DisableItemsByList | appname is {appName}\n
      CSettingsItemInfoAPI::DisableItemsByList()" +
                    requested + R"(, "{appName}") -> )" + outcome + R"(
      I SettingsServiceCommand DisableItemsByList | 3rd party apps disable items by list end\n
    )" + kAfterDisabling,
                where);
  }
};

TEST_F(DisableItemsByList, AsksForTheItemsInTheirOrderAndAsOftenAsTheyStandThere) {
  EXPECT_EQ(Disable(R"(["b","a","b","c"])"), kNoResult);
  ExpectAsked(R"(["b", "a", "b", "c"])", "false: []");
}

TEST_F(DisableItemsByList, SignalsTheItemsThatTheLibraryDisabledAndNoOthers) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"c", "a"}});
  EXPECT_EQ(Disable(R"(["a","b","c"])"), kNoResult);
  ExpectAsked(R"(["a", "b", "c"])", R"(true: ["c", "a"]
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
    SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":["c","a"],"status":0}) -> true
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n)");
}

TEST_F(DisableItemsByList, SignalsAnEmptyListWhenTheLibraryNamedNoItem) {
  fake.SetDisabledItems({.changed = true});
  EXPECT_EQ(Disable(R"(["a"])"), kNoResult);
  ExpectAsked(R"(["a"])", R"(true: []
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
    SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":[],"status":0}) -> true
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n)");
}

TEST_F(DisableItemsByList, AsksForNoItemsWhenTheListIsEmptyMissingOrNoList) {
  for (const char* menuIDList : {"[]", "null", "{}", R"("brightness")", "17", "true"}) {
    SCOPED_TRACE(menuIDList);
    EXPECT_EQ(Disable(menuIDList), kNoResult);
    ExpectAsked("[]", "false: []");
  }
  EXPECT_EQ(Send(Request("DisableItemsByList", R"({"appName":"org.example.app"})")), kNoResult);
  ExpectAsked("[]", "false: []");
}

TEST_F(DisableItemsByList, AsksForTheValuesOfAnObjectInTheOrderOfItsKeys) {
  EXPECT_EQ(Disable(R"({"b":"x","c":17,"a":"y"})"), kNoResult);
  ExpectAsked(R"(["y", "x", "17"])", "false: []");
}

TEST_F(DisableItemsByList, AsksForTheTextsOfANumberABoolAndNull) {
  EXPECT_EQ(Disable(R"([17,true,null])"), kNoResult);
  ExpectAsked(R"(["17", "true", ""])", "false: []");
}

TEST_F(DisableItemsByList, AsksForNothingWhenOneItemHasNoText) {
  for (const char* menuIDList : {R"(["a",{}])", R"([["a"],"b"])", R"({"a":"x","b":{}})"}) {
    SCOPED_TRACE(menuIDList);
    EXPECT_EQ(Disable(menuIDList), kNoResult);
    ExpectTrace(std::string(R"(
      {request}
      I SettingsServiceCommand DisableItemsByList | appname is org.example.app\n
      I SettingsServiceCommand DisableItemsByList | exception [Type is not convertible to string]\n
      I SettingsServiceCommand DisableItemsByList | 3rd party apps disable items by list end\n
    )") + kAfterDisabling);
  }
}

class RemoveDisabledItems : public CreatedServiceTest {};

TEST_F(RemoveDisabledItems, SignalsTheReleasedItemsInTheLibrarysOrder) {
  fake.SetDisabledItems({.changed = true, .changedItems = {"c", "a"}});
  EXPECT_EQ(Send(Request("RemoveDisabledItemsByAppname",
                         R"({"appName":"org.example.app","menuID":{},"menuIDList":[{}]})")),
            kNoResult);
  ExpectTrace(std::string(R"(
    {request}
    I SettingsServiceCommand RemoveDisabledItemsByAppname | Remove disabled items by org.example.app\n
    CSettingsItemInfoAPI::RemoveDisabledItemsByAppname("org.example.app") -> true: ["c", "a"]
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback+\n
    SendSignal("settings_service", "settings_service_signal", 3, {"menuIDList":["c","a"],"status":1}) -> true
    I SettingsServiceCommand m_BlockedMenuStateSendSignal | SendSignalCallback-\n
  )") + kAfterEnabling);
}

TEST_F(RemoveDisabledItems, SignalsAnEmptyListWhenTheLibraryNamedNoItem) {
  fake.SetDisabledItems({.changed = true});
  Send(Request("RemoveDisabledItemsByAppname", R"({"appName":"org.example.app"})"));
  const auto signals = fake.TakeSignals();
  ASSERT_EQ(signals.size(), 1u);
  EXPECT_EQ(Text(signals[0].body), R"({"menuIDList":[],"status":1})");
}

}  // namespace
