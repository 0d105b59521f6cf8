#include <climits>
#include <stdexcept>
#include <string>
#include <utility>

#include "service_test.h"

namespace {

// Both methods that read a value; the parameter is the method's name.
class ReadItemValue : public CreatedServiceTest, public testing::WithParamInterface<std::string> {
 protected:
  ReadItemValue() { Let("method", GetParam()); }

  std::string Read(const std::string& menuID) {
    return ReadWithData(R"({"menuID":")" + menuID + "\"}");
  }

  std::string ReadWithData(const std::string& data) { return Send(Request(GetParam(), data)); }

  // What the method reports of an item with this value and this display name of it.
  const std::string& Reported(const std::string& value, const std::string& name) const {
    return GetParam() == "GetItemValue" ? value : name;
  }
};

INSTANTIATE_TEST_SUITE_P(Method, ReadItemValue, testing::Values("GetItemValue", "GetItemValueName"),
                         [](const auto& info) { return info.param; });

TEST_P(ReadItemValue, AnswersWithItsOneOfTheTwoTextsOfTheLibrary) {
  fake.SetItem("mode", {.value = "1", .valueNames = {{"1", "Standard"}}});
  Let("reported", Reported("1", "Standard"));
  EXPECT_EQ(Read("mode"), SuccessWith(Reported("1", "Standard")));
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("mode") -> 0: "Standard", "1"
    I SettingsServiceCommand {method} | 0 [{reported}]\n
    I SettingsService IfMessageReceived | ret_data = {reported}\n
  )");
}

TEST_P(ReadItemValue, ReportsAFailureOfTheLibrary) {
  EXPECT_EQ(Read("unknown"), kFailureWithText);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("unknown") -> -1
    I SettingsServiceCommand {method} | -1 []\n
  )");
}

TEST_P(ReadItemValue, TakesEveryOtherResultForSuccess) {
  for (const int result : {INT_MIN, -2, 1, INT_MAX}) {
    fake.SetItem("odd", {.value = "5", .getResult = result});
    Let("result", std::to_string(result));
    EXPECT_EQ(Read("odd"), SuccessWith("5"));
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::GetItemValue("odd") -> {result}: "5", "5"
      I SettingsServiceCommand {method} | {result} [5]\n
      I SettingsService IfMessageReceived | ret_data = 5\n
    )");
  }
}

TEST_P(ReadItemValue, AnswersAnEmptyTextWhenTheLibraryGaveNoneWithoutFailing) {
  fake.Fail("CSettingsItemInfoAPI::GetItemValue", {.code = -2});
  EXPECT_EQ(Read("brightness"), SuccessWith(""));
}

TEST_P(ReadItemValue, CutsATextOf512CharactersOrMoreTo511) {
  for (const int length : {512, 513, 600}) {
    // The other text is short: it must not be the one that is cut or reported.
    const std::string text(length, 'x');
    const bool isValue = GetParam() == "GetItemValue";
    fake.SetItem("long", isValue ? fakes::Item{.value = text, .valueNames = {{text, "short"}}}
                                 : fakes::Item{.value = "short", .valueNames = {{"short", text}}});
    Let("value", isValue ? text : "short");
    Let("name", isValue ? "short" : text);
    Let("cut", std::string(511, 'x'));
    EXPECT_EQ(Read("long"), SuccessWith(std::string(511, 'x')));
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::GetItemValue("long") -> 0: "{name}", "{value}"
      I SettingsServiceCommand {method} | 0 [{cut}]\n
      I SettingsService IfMessageReceived | ret_data = {cut}\n
    )");
  }
}

TEST_P(ReadItemValue, CutsATextWithinACharacterThatReachesBeyondTheBuffer) {
  const std::string text = std::string(510, 'x') + "üü";
  const std::string cut = std::string(510, 'x') + "\xc3";
  fake.SetItem("long", {.value = text});
  Let("text", text);
  Let("cut", cut);
  EXPECT_EQ(Read("long"), SuccessWith(cut));
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("long") -> 0: "{text}", "{text}"
    I SettingsServiceCommand {method} | 0 [{cut}]\n
    I SettingsService IfMessageReceived | ret_data = {cut}\n
  )");
}

TEST_P(ReadItemValue, DoesNotMindAnOverlongTextThatItDoesNotReport) {
  const std::string text(600, 'x');
  const bool isValue = GetParam() == "GetItemValue";
  fake.SetItem("long", isValue ? fakes::Item{.value = "short", .valueNames = {{"short", text}}}
                               : fakes::Item{.value = text, .valueNames = {{text, "short"}}});
  EXPECT_EQ(Read("long"), SuccessWith("short"));
}

TEST_P(ReadItemValue, KeepsATextOf511Characters) {
  fake.SetItem("long", {.value = std::string(511, 'x')});
  EXPECT_EQ(Read("long"), SuccessWith(std::string(511, 'x')));
}

TEST_P(ReadItemValue, RefreshesTheSpeakerTypeBeforeItReadsTheSoundOutput) {
  fake.SetItem("soundoutput", {.value = "1"});
  EXPECT_EQ(Read("soundoutput"), SuccessWith("1"));
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CMenuAudioUtil::FreshSpeakerType()
    CSettingsItemInfoAPI::GetItemValue("soundoutput") -> 0: "1", "1"
    I SettingsServiceCommand {method} | 0 [1]\n
    I SettingsService IfMessageReceived | ret_data = 1\n
  )");
}

TEST_P(ReadItemValue, RefreshesTheSpeakerTypeForNoOtherItem) {
  for (const char* menuID : {"SoundOutput", "soundoutput2", "soundoutpu", " soundoutput", ""}) {
    Let("menuID", menuID);
    EXPECT_EQ(Read(menuID), kFailureWithText);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::GetItemValue("{menuID}") -> -1
      I SettingsServiceCommand {method} | -1 []\n
    )");
  }
}

TEST_P(ReadItemValue, AsksForTheItemWithoutANameWhenTheRequestNamesNone) {
  for (const char* data : {"null", "{}", R"({"menuID":null})", R"({"Value":"brightness"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(ReadWithData(data), kFailureWithText);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      CSettingsItemInfoAPI::GetItemValue("") -> -1
      I SettingsServiceCommand {method} | -1 []\n
    )");
  }
  EXPECT_EQ(Send(R"({"method":")" + GetParam() + "\"}"), kFailureWithText);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("") -> -1
    I SettingsServiceCommand {method} | -1 []\n
  )");
}

TEST_P(ReadItemValue, TakesAnIdentifierThatIsANumberForItsText) {
  fake.SetItem("17", {.value = "5"});
  EXPECT_EQ(ReadWithData(R"({"menuID":17})"), SuccessWith("5"));
}

TEST_P(ReadItemValue, AnswersDataThatIsNoObjectWithAnError) {
  for (const char* data : {R"("brightness")", "17", "true", R"(["menuID","brightness"])"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(ReadWithData(data), kIllTypedWithText);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      E SettingsServiceCommand {method} | Exception occured! [in Json::Value::resolveReference(key, end): requires objectValue]\n
    )");
  }
}

TEST_P(ReadItemValue, AnswersAnIdentifierWithoutTextWithAnError) {
  for (const char* data : {R"({"menuID":{}})", R"({"menuID":{"a":1}})", R"({"menuID":["x"]})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(ReadWithData(data), kIllTypedWithText);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand {method} |  Enter {method} \n
      E SettingsServiceCommand {method} | Exception occured! [Type is not convertible to string]\n
    )");
  }
}

TEST_P(ReadItemValue, AnswersAJsonExceptionOfTheLibraryWithAnError) {
  fake.Fail("CSettingsItemInfoAPI::GetItemValue", {.exception = JsonException()});
  EXPECT_EQ(Read("brightness"), kIllTypedWithText);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("brightness") throws
    E SettingsServiceCommand {method} | Exception occured! [broken]\n
  )");
}

TEST_P(ReadItemValue, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::GetItemValue", {.exception = OtherException()});
  EXPECT_THROW(Read("brightness"), std::runtime_error);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand {method} |  Enter {method} \n
    CSettingsItemInfoAPI::GetItemValue("brightness") throws
  )");
}

class SetItemValue : public CreatedServiceTest {
 protected:
  SetItemValue() { fake.SetItem("brightness", {.value = "50"}); }

  std::string Set(const std::string& data) { return Send(Request("SetItemValue", data)); }

  const std::string kSuccess = SuccessWith(true);
};

TEST_F(SetItemValue, StoresTheValue) {
  EXPECT_EQ(Set(R"({"menuID":"brightness","Value":"60","PreViewFlag":false})"), kSuccess);
  EXPECT_EQ(fake.ItemState("brightness")->value, "60");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = brightness\n
    CSettingsItemInfoAPI::SetItemValue("brightness", "60", false) -> 0
    I SettingsService IfMessageReceived | ret_data = true\n
  )");
}

TEST_F(SetItemValue, HandsThePreviewFlagOn) {
  EXPECT_EQ(Set(R"({"menuID":"brightness","Value":"60","PreViewFlag":true})"), kSuccess);
  EXPECT_EQ(fake.ItemState("brightness")->value, "50");
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = brightness\n
    CSettingsItemInfoAPI::SetItemValue("brightness", "60", true) -> 0
    I SettingsService IfMessageReceived | ret_data = true\n
  )");
}

TEST_F(SetItemValue, TakesEveryResultButTheFailureForSuccess) {
  for (const int result : {INT_MIN, -2, 0, 1, INT_MAX}) {
    SCOPED_TRACE(result);
    fake.SetItem("odd", {.value = "1", .setResult = result});
    EXPECT_EQ(Set(R"({"menuID":"odd","Value":"2"})"), kSuccess);
  }
}

TEST_F(SetItemValue, ReportsAFailureOfTheLibrary) {
  EXPECT_EQ(Set(R"({"menuID":"unknown","Value":"60"})"), kFailureWithBool);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = unknown\n
    CSettingsItemInfoAPI::SetItemValue("unknown", "60", false) -> -1
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_F(SetItemValue, TakesAMissingPreviewFlagForFalse) {
  for (const char* data : {R"({"menuID":"brightness","Value":"60"})",
                           R"({"menuID":"brightness","Value":"60","PreViewFlag":null})",
                           R"({"menuID":"brightness","Value":"60","PreviewFlag":true})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Set(data), kSuccess);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      I SettingsServiceCommand SetItemValue | MenuID = brightness\n
      CSettingsItemInfoAPI::SetItemValue("brightness", "60", false) -> 0
      I SettingsService IfMessageReceived | ret_data = true\n
    )");
  }
}

TEST_F(SetItemValue, TakesAPreviewFlagThatIsANumberForWhetherItIsNotZero) {
  for (const auto& [number, flag] : {std::pair{"1", "true"},
                                     {"-3", "true"},
                                     {"0.5", "true"},
                                     {"0", "false"},
                                     {"0.0", "false"}}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(
        Set(R"({"menuID":"brightness","Value":"60","PreViewFlag":)" + std::string(number) + "}"),
        kSuccess);
    Let("flag", flag);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      I SettingsServiceCommand SetItemValue | MenuID = brightness\n
      CSettingsItemInfoAPI::SetItemValue("brightness", "60", {flag}) -> 0
      I SettingsService IfMessageReceived | ret_data = true\n
    )");
  }
}

TEST_F(SetItemValue, AnswersAPreviewFlagThatIsNoFlagWithAnError) {
  for (const char* flag : {R"("true")", R"("")", "{}", "[]"}) {
    SCOPED_TRACE(flag);
    EXPECT_EQ(
        Set(R"({"menuID":"brightness","Value":"60","PreViewFlag":)" + std::string(flag) + "}"),
        kIllTypedWithBool);
    EXPECT_EQ(fake.ItemState("brightness")->value, "50");
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      E SettingsServiceCommand SetItemValue | Exception occured! [Value is not convertible to bool.]\n
      I SettingsService IfMessageReceived | ret_data = false\n
    )");
  }
}

TEST_F(SetItemValue, TakesAMissingValueForAnEmptyOne) {
  for (const char* data : {R"({"menuID":"brightness"})", R"({"menuID":"brightness","Value":null})",
                           R"({"menuID":"brightness","value":"60"})"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Set(data), kSuccess);
    EXPECT_EQ(fake.ItemState("brightness")->value, "");
  }
}

TEST_F(SetItemValue, TakesAValueThatIsANumberOrABoolForItsText) {
  EXPECT_EQ(Set(R"({"menuID":"brightness","Value":60})"), kSuccess);
  EXPECT_EQ(fake.ItemState("brightness")->value, "60");
  EXPECT_EQ(Set(R"({"menuID":"brightness","Value":true})"), kSuccess);
  EXPECT_EQ(fake.ItemState("brightness")->value, "true");
}

TEST_F(SetItemValue, AnswersAValueWithoutTextWithAnError) {
  for (const char* value : {R"({"a":1})", R"(["60"])", "{}"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(Set(R"({"menuID":"brightness","Value":)" + std::string(value) + "}"),
              kIllTypedWithBool);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      E SettingsServiceCommand SetItemValue | Exception occured! [Type is not convertible to string]\n
      I SettingsService IfMessageReceived | ret_data = false\n
    )");
  }
}

TEST_F(SetItemValue, AnswersAnIdentifierWithoutTextWithAnError) {
  EXPECT_EQ(Set(R"({"menuID":{},"Value":"60"})"), kIllTypedWithBool);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    E SettingsServiceCommand SetItemValue | Exception occured! [Type is not convertible to string]\n
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_F(SetItemValue, AnswersDataThatIsNoObjectWithAnError) {
  for (const char* data : {R"("brightness")", "17", "false", R"(["brightness","60"])"}) {
    SCOPED_TRACE(data);
    EXPECT_EQ(Set(data), kIllTypedWithBool);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      E SettingsServiceCommand SetItemValue | Exception occured! [in Json::Value::resolveReference(key, end): requires objectValue]\n
      I SettingsService IfMessageReceived | ret_data = false\n
    )");
  }
}

TEST_F(SetItemValue, SetsTheItemWithoutANameWhenTheDataIsMissing) {
  for (const char* request :
       {R"({"method":"SetItemValue"})", R"({"data":null,"method":"SetItemValue"})",
        R"({"data":{},"method":"SetItemValue"})"}) {
    SCOPED_TRACE(request);
    EXPECT_EQ(Send(request), kFailureWithBool);
    ExpectTrace(R"(
      {request}
      I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
      I SettingsServiceCommand SetItemValue | MenuID = \n
      CSettingsItemInfoAPI::SetItemValue("", "", false) -> -1
      I SettingsService IfMessageReceived | ret_data = false\n
    )");
  }
}

TEST_F(SetItemValue, DoesNotRefreshTheSpeakerType) {
  fake.SetItem("soundoutput", {.value = "1"});
  EXPECT_EQ(Set(R"({"menuID":"soundoutput","Value":"2"})"), kSuccess);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = soundoutput\n
    CSettingsItemInfoAPI::SetItemValue("soundoutput", "2", false) -> 0
    I SettingsService IfMessageReceived | ret_data = true\n
  )");
}

TEST_F(SetItemValue, AnswersAJsonExceptionOfTheLibraryWithAnError) {
  fake.Fail("CSettingsItemInfoAPI::SetItemValue",
            {.exception = std::make_exception_ptr(Json::LogicError("broken"))});
  EXPECT_EQ(Set(R"({"menuID":"brightness","Value":"60"})"), kIllTypedWithBool);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = brightness\n
    CSettingsItemInfoAPI::SetItemValue("brightness", "60", false) throws
    E SettingsServiceCommand SetItemValue | Exception occured! [broken]\n
    I SettingsService IfMessageReceived | ret_data = false\n
  )");
}

TEST_F(SetItemValue, LetsEveryOtherExceptionPass) {
  fake.Fail("CSettingsItemInfoAPI::SetItemValue", {.exception = OtherException()});
  EXPECT_THROW(Set(R"({"menuID":"brightness","Value":"60"})"), std::runtime_error);
  ExpectTrace(R"(
    {request}
    I SettingsServiceCommand SetItemValue |  Enter SetItemValue \n
    I SettingsServiceCommand SetItemValue | MenuID = brightness\n
    CSettingsItemInfoAPI::SetItemValue("brightness", "60", false) throws
  )");
}

}  // namespace
