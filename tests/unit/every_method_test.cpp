// What the methods have in common: whom they ask in the library, and what becomes of a request that
// they cannot read and of a library that throws.

#include <algorithm>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service_test.h"

namespace {

// A method, by what it does with a request about {menuID}, {value} and {appName}, none of which the
// library knows.
struct Method {
  std::string name;
  // The members of the data that it takes for texts.
  std::vector<std::string> texts;
  // The trace up to the reading of the request; from there to the library's first call; that call;
  // and what follows. The line about the result in the reply is not in it.
  std::string enter;
  std::string question;
  std::string call;
  std::string answer;
  std::string reply;
  // The reply to a request that cannot be read, or when the library throws, and the line about it.
  std::string replyToIllTyped;
  std::string exception =
      R"(E SettingsServiceCommand {method} | Exception occured! [{exception}]\n)";
  // What the JSON library says of data that is no object: it depends on the way of reading it.
  std::string noObject = "in Json::Value::resolveReference(key, end): requires objectValue";
  // What ends the trace in all cases.
  std::string end = {};
  // The library takes the texts as strings, not as C strings.
  bool asStrings = false;
};

constexpr char kEnter[] = R"(I SettingsServiceCommand {method} |  Enter {method} \n)";
constexpr char kNoConstObject[] =
    "in Json::Value::find(begin, end): requires objectValue or nullValue";

std::string Line(const std::string& message) {
  return "I SettingsServiceCommand {method} | " + message + "\\n\n";
}

// The methods whose answer is a text.
Method Describes(const std::string& name, const std::string& call, const std::string& result) {
  return {name, {"menuID"}, kEnter, "", call, Line(result), kFailureWithText, kIllTypedWithText};
}

// The methods whose answer is yes or no.
Method Judges(const std::string& name, const std::string& call, const std::string& result) {
  return {name, {"menuID"}, kEnter, "", call, Line(result), kFailureWithBool, kIllTypedWithBool};
}

Method JudgesValue(const std::string& name, const std::string& call) {
  Method method = Judges(name, call, " Return Value : -1 ");
  method.texts.push_back("Value");
  method.question = Line("MenuID = {menuID}, Value = {value}");
  return method;
}

// The methods whose answer is a signal of this type.
Method Signals(const std::string& name, const std::string& call, const std::string& answerLine,
               const std::string& type) {
  return {name,
          {"menuID"},
          kEnter,
          Line("MenuID = {menuID}, pid = 0, callback (nil)"),
          call,
          answerLine + R"(
            I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
            SendSignal("settings_service", "settings_service_signal", )" +
              type + R"(, {"callback":0,"menuID":"{menuID}","pid":0,"return_data":false}) -> true
            I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
          )",
          kNoResult,
          kNoResult};
}

// The methods that change which items are disabled, and after which the watch over applications is
// looked at: nothing is watched and nothing is disabled.
Method Changes(const std::string& name, const std::vector<std::string>& texts,
               const std::string& question, const std::string& call,
               const std::string& exceptionLine, const std::string& end) {
  return {name,           texts,     "",
          Line(question), call,      "",
          kNoResult,      kNoResult, Line(exceptionLine + " [{exception}]"),
          kNoConstObject, end,       true};
}
constexpr char kAfterDisabling[] = R"(
  vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
)";
constexpr char kAfterEnabling[] = R"(
  I SettingsService m_UnRegisterAppTerminateCB | no CB\n
)";

Method But(Method method, void (*differ)(Method&)) {
  differ(method);
  return method;
}

const Method kMethods[] = {
    But(Describes("GetItemDisplayName", R"(GetItemDisplayName("{menuID}") -> -1)", "-1 []"),
        // Its usual result is a text.
        [](Method& method) { method.replyToIllTyped = kIllTypedWithBool; }),
    Describes("GetItemDisplayID", R"(GetItemDisplayID("{menuID}") -> -1)", "-1 []"),
    Judges("GetItemEnable", R"(GetItemEnable("{menuID}", false) -> -1)", "-1"),
    Judges("GetItemVisible", R"(GetItemVisible("{menuID}") -> -1)", "-1 "),
    But(Signals("GetItemVisibleAsync", R"(GetItemVisible("{menuID}") -> -1)", Line("-1 "), "1"),
        // The text of the query that answers by its reply.
        [](Method& method) {
          method.enter = R"(I SettingsServiceCommand {method} |  Enter GetItemVisible \n)";
        }),
    Judges("GetItemPathEnable", R"(GetItemPathEnable("{menuID}") -> -1)", "-1"),
    But(Signals("GetItemPathEnableAsync", R"(GetItemPathEnable("{menuID}") -> -1)",
                // An error by its priority only.
                R"(E SettingsServiceCommand {method} | -1\n)", "2"),
        [](Method& method) { method.noObject = kNoConstObject; }),
    Judges("GetItemPathVisible", R"(GetItemPathVisible("{menuID}") -> -1)", "-1 "),
    Describes("GetItemValueName", R"(GetItemValue("{menuID}") -> -1)", "-1 []"),
    Describes("GetItemValue", R"(GetItemValue("{menuID}") -> -1)", "-1 []"),
    {"SetItemValue",
     {"menuID", "Value"},
     kEnter,
     Line("MenuID = {menuID}"),
     R"(SetItemValue("{menuID}", "{value}", false) -> -1)",
     "",
     kFailureWithBool,
     kIllTypedWithBool},
    Describes("GetItemChildList", R"(GetSubItemsListByString("{menuID}") -> "")", "{method} : []"),
    Describes("GetItemDataList", R"(GetItemDataListByString("{menuID}") -> "")", "{method} : []"),
    JudgesValue("GetItemDataEnable", R"(GetSubListItemEnable("{menuID}", "{value}") -> -1)"),
    JudgesValue("GetItemDataVisible", R"(GetSubListItemVisible("{menuID}", "{value}") -> -1)"),
    But(Describes("GetItemPath", R"(GetSettingsItemPathByString("{menuID}") -> -1)",
                  " Return Value : -1, Path String :  "),
        [](Method& method) { method.asStrings = true; }),
    {"GetItemMinMaxStepValue",
     {"menuID"},
     kEnter,
     "",
     R"(GetItemMinValue("{menuID}", true) -> false)",
     R"(
       CSettingsItemInfoAPI::GetItemMaxValue("{menuID}", true) -> false
       CSettingsItemInfoAPI::GetItemStepValue("{menuID}", true) -> false
     )" + Line(" Return Value : 0, 0, 0, min : 0.000000, max : 0.000000, step : 0.000000 "),
     kNoRange,
     // The service was reached even so.
     kNoRange},
    // With a blank in front.
    Changes("DisableItem", {"menuID", "appName"}, "Disabled {menuID} from {appName}",
            R"(DisableItem("{menuID}", "{appName}") -> false)", " DisableItem exception",
            kAfterDisabling),
    Changes("EnableItem", {"menuID", "appName"}, "Enabled {menuID} from {appName}",
            R"(EnableItem("{menuID}", "{appName}") -> false)", "EnableItem exception",
            kAfterEnabling),
    Changes("RemoveDisabledItemsByAppname", {"appName"}, "Remove disabled items by {appName}",
            R"(RemoveDisabledItemsByAppname("{appName}") -> false: [])", "exception",
            kAfterEnabling),
    Changes("DisableItemsByList", {"appName"}, "appname is {appName}",
            R"(DisableItemsByList([{list}], "{appName}") -> false: [])", "exception",
            Line("3rd party apps disable items by list end") + kAfterDisabling),
    But(Judges("IsItemEnabled", R"(IsItemEnabled("{menuID}") -> false)", ""),
        [](Method& method) {
          method.enter = method.answer = "";
          method.reply = SuccessWith(false);
          method.asStrings = true;
        }),
    But(Describes("GetDisablerAppNamesByMenuId",
                  R"(GetDisablerAppNamesByMenuId("{menuID}") -> false: [])", ""),
        [](Method& method) {
          method.answer = "";
          method.asStrings = true;
        }),
    But(Describes("GetDisabledItemsList", "GetDisabledItemsList() -> false: []", ""),
        [](Method& method) {
          method.texts = {};
          method.answer = "";
        }),
};

void PrintTo(const Method& method, std::ostream* stream) { *stream << method.name; }

class EveryMethod : public CreatedServiceTest, public testing::WithParamInterface<Method> {
 protected:
  EveryMethod() {
    Let("method", method.name);
    LetTheQuestionBe("x", "v", "a", R"("x")");
  }

  std::string Ask(const std::string& data) { return Send(Request(method.name, data)); }

  // What the library is expected to be asked about.
  void LetTheQuestionBe(const std::string& menuID, const std::string& value,
                        const std::string& appName, const std::string& list) {
    Let("menuID", menuID);
    Let("value", value);
    Let("appName", appName);
    Let("list", list);
  }

  // The traces of a request that was answered so, and of one that was not read.
  void ExpectAsked(fakes::Place where = fakes::Place::Current()) {
    ExpectTrace(Asked() + method.call + "\n" + method.answer + End(method.reply), where);
  }
  void ExpectIllTyped(const std::string& exception, fakes::Place where = fakes::Place::Current()) {
    ExpectTrace("{request}\n" + method.enter + "\n" + Exception(exception), where);
  }

  // The library's first call as far as the library throws from it.
  std::string Throwing() const {
    return Asked() + method.call.substr(0, method.call.find(" -> ")) + " throws\n";
  }

  // The trace from an exception of JSON on.
  std::string Exception(const std::string& exception) {
    Let("exception", exception);
    return method.exception + "\n" + End(method.replyToIllTyped);
  }

  // The name of the library's function that is called first.
  std::string Call() const {
    return "CSettingsItemInfoAPI::" + method.call.substr(0, method.call.find('('));
  }

  static constexpr char kData[] = R"({"Value":"v","appName":"a","menuID":"x","menuIDList":["x"]})";

  const Method method = GetParam();

 private:
  std::string Asked() const {
    return "{request}\n" + method.enter + "\n" + method.question + "CSettingsItemInfoAPI::";
  }

  // An empty result is not logged.
  std::string End(const std::string& reply) const {
    const bool isBool = reply.find(R"("return_data":false)") != std::string::npos;
    return method.end +
           (isBool ? "I SettingsService IfMessageReceived | ret_data = false\\n\n" : "");
  }
};

INSTANTIATE_TEST_SUITE_P(Method, EveryMethod, testing::ValuesIn(kMethods),
                         [](const auto& info) { return info.param.name; });

TEST(EveryMethodOnce, IsHere) {
  std::set<std::string> names;
  for (const Method& method : kMethods) {
    names.insert(method.name);
  }
  EXPECT_EQ(names.size(), 24u);
}

TEST_P(EveryMethod, AsksTheLibrary) {
  EXPECT_EQ(Ask(kData), method.reply);
  ExpectAsked();
}

TEST_P(EveryMethod, AsksWithoutANameWhenTheRequestNamesNone) {
  LetTheQuestionBe("", "", "", "");
  for (const char* data :
       {"null", "{}", R"({"Value":null,"appName":null,"menuID":null,"menuIDList":null})",
        R"({"MenuID":"x","appname":"a","menuIdList":["x"],"value":"v"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Ask(data), method.reply);
    ExpectAsked();
  }
  // Without data, and with the names beside them.
  EXPECT_EQ(Send(R"({"Value":"v","appName":"a","menuID":"x","menuIDList":["x"],"method":")" +
                 method.name + "\"}"),
            method.reply);
  ExpectAsked();
}

TEST_P(EveryMethod, TakesANumberOrABoolForItsText) {
  LetTheQuestionBe("17", "true", "false", R"("17")");
  EXPECT_EQ(Ask(R"({"Value":true,"appName":false,"menuID":17,"menuIDList":[17]})"), method.reply);
  ExpectAsked();
}

TEST_P(EveryMethod, LosesWhatFollowsAZeroInATextOnlyWhereTheLibraryTakesACString) {
  Ask(R"({"Value":"v\u0000z","appName":"a\u0000z","menuID":"x\u0000z","menuIDList":["x\u0000z"]})");
  const std::string zero = method.asStrings ? R"(\x00z)" : "";
  std::string call = "CSettingsItemInfoAPI::" + method.call.substr(0, method.call.find(" -> "));
  for (const auto& [name, text] :
       {std::pair{"{menuID}", "x" + zero}, std::pair{"{value}", "v" + zero},
        std::pair{"{appName}", "a" + zero}, std::pair{"{list}", "\"x" + zero + "\""}}) {
    if (const auto at = call.find(name); at != std::string::npos) {
      call.replace(at, std::string(name).size(), text);
    }
  }
  std::string asked;
  for (const std::string& line : fake.TakeTrace()) {
    if (asked.empty() && line.starts_with("CSettingsItemInfoAPI::")) {
      asked = line.substr(0, line.find(" -> "));
    }
  }
  EXPECT_EQ(asked, call);
}

TEST_P(EveryMethod, RefusesDataThatIsNoObjectUnlessItTakesNone) {
  for (const char* data : {R"("x")", "17", "true", R"(["appName","menuID"])", "[]"}) {
    SCOPED_TRACE(data);
    if (method.texts.empty()) {
      EXPECT_EQ(Ask(data), method.reply);
      ExpectAsked();
    } else {
      EXPECT_EQ(Ask(data), method.replyToIllTyped);
      ExpectIllTyped(method.noObject);
    }
  }
}

TEST_P(EveryMethod, RefusesWhatIsNoTextWhereItTakesOneAndOnlyThere) {
  for (const std::string member : {"Value", "appName", "menuID"}) {
    for (const char* noText : {"{}", R"({"a":1})", R"(["x"])"}) {
      SCOPED_TRACE(member + " is " + noText);
      Json::Value data = Parsed(kData);
      data[member] = Parsed(noText);
      const bool isText =
          std::find(method.texts.begin(), method.texts.end(), member) != method.texts.end();
      EXPECT_EQ(Ask(Text(data)), isText ? method.replyToIllTyped : method.reply);
      if (isText) {
        ExpectIllTyped("Type is not convertible to string");
      } else {
        ExpectAsked();
      }
    }
  }
}

TEST_P(EveryMethod, EndsWithAnErrorAfterAJsonExceptionOfTheLibrary) {
  fake.Fail(Call(), {.exception = JsonException()});
  EXPECT_EQ(Ask(kData), method.replyToIllTyped);
  ExpectTrace(Throwing() + Exception("broken"));
}

TEST_P(EveryMethod, LetsEveryOtherExceptionPassBeforeAnythingFollows) {
  fake.Fail(Call(), {.exception = OtherException()});
  EXPECT_THROW(Ask(kData), std::runtime_error);
  ExpectTrace(Throwing());
}

TEST_P(EveryMethod, FillsTheReplyOnlyWhereItAnswersByIt) {
  for (const char* data : {kData, R"("ill-typed")"}) {
    Nuvra::TCMessage reply;
    reply.body["other"] = "kept";
    Send(Request(method.name, data), reply);
    if (method.reply == kNoResult) {
      EXPECT_EQ(Text(reply.body), R"({"other":"kept","return_data":""})");
    } else if (data == kData) {
      // The range is added to the reply; every other answer replaces it.
      EXPECT_EQ(reply.body.isMember("other"), method.reply == kNoRange);
    }
  }
}

}  // namespace
