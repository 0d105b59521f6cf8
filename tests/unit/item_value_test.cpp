#include <climits>
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

}  // namespace
