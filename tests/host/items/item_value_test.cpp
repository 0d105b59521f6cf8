#include <gmock/gmock.h>

#include <locale>

#include "items_test.h"

namespace {

using testing::Optional;

constexpr char kItems[] = R"(
  {"id": "picture", "kind": "group", "name": "Picture", "displayId": "MENU_PICTURE", "items": [
    {"id": "picturemode", "kind": "list", "name": "Picture Mode",
     "displayId": "MENU_PICTURE_MODE", "default": "standard",
     "options": [{"value": "dynamic", "name": "Dynamic"},
                 {"value": "standard", "name": "Standard"},
                 {"value": "movie", "name": "Movie"}]},
    {"id": "brightness", "kind": "range", "name": "Brightness", "displayId": "MENU_BRIGHTNESS",
     "min": 0, "max": 50, "step": 5, "default": 25},
    {"id": "tint", "kind": "range", "name": "Tint", "displayId": "MENU_TINT",
     "min": -15, "max": 15, "step": 1, "default": 0},
    {"id": "gamma", "kind": "range", "name": "Gamma", "displayId": "MENU_GAMMA",
     "min": 1.8, "max": 2.8, "step": 0.1, "default": 2.2},
    {"id": "distance", "kind": "range", "name": "Distance", "displayId": "MENU_DISTANCE",
     "min": 0.5, "max": 10, "step": 0.5, "default": 2, "unit": "m"},
    {"id": "delay", "kind": "range", "name": "Delay", "displayId": "MENU_DELAY",
     "min": 0, "max": 250, "step": 10, "default": 20, "unit": "ms",
     "kept": {"min": 0, "step": 1}},
    {"id": "size", "kind": "range", "name": "Size", "displayId": "MENU_SIZE",
     "min": 0.5, "max": 2, "step": 0.5, "default": 1, "kept": {"min": 1, "step": 1}},
    {"id": "level", "kind": "range", "name": "Level", "displayId": "MENU_LEVEL",
     "min": 0, "max": 100, "step": 10, "default": 0, "kept": {"min": 0, "step": 0.1}},
    {"id": "width", "kind": "range", "name": "Width", "displayId": "MENU_WIDTH",
     "min": 0, "max": 9, "step": 1, "default": 1, "storage": "string"},
    {"id": "gamemode", "kind": "switch", "name": "Game Mode", "displayId": "MENU_GAME_MODE",
     "default": "off"},
    {"id": "subtitles", "kind": "switch", "name": "Subtitles", "displayId": "MENU_SUBTITLES",
     "default": "on", "storage": "string"},
    {"id": "autopoweroff", "kind": "list", "name": "Auto Power Off",
     "displayId": "MENU_AUTO_POWER_OFF", "key": "db/menu/auto_power_off", "storage": "int",
     "default": "0",
     "options": [{"value": "0", "name": "Off"}, {"value": "4", "name": "4 hours"},
                 {"value": "6", "name": "6 hours"}, {"value": "8", "name": "8 hours"}]},
    {"id": "reset", "kind": "action", "name": "Reset", "displayId": "MENU_RESET"}]})";

constexpr bool kKept = false;
constexpr bool kPreviewed = true;

class ItemValue : public ItemsTest {
 protected:
  ItemValue() { LoadItems(kItems); }

  static int Set(const char* menuID, const char* value, bool preview = kKept) {
    return CSettingsItemInfoAPI::SetItemValue(menuID, value, preview);
  }

  void ExpectRefused(const char* menuID, const char* value) {
    for (const bool preview : {kKept, kPreviewed}) {
      EXPECT_EQ(Set(menuID, value, preview), -1) << menuID << " " << value;
    }
    EXPECT_EQ(m_Platform.Writes(), 0) << menuID << " " << value;
  }

  using KeyValue = std::variant<int, std::string>;
};

TEST_F(ItemValue, AStoreThatCannotBeReadIsAFailureAndNotTheDefault) {
  EXPECT_THAT(Value("brightness"), Optional(std::string("25")));
  m_Platform.FailReads();
  for (const char* item : {"brightness", "picturemode", "gamma", "gamemode", "autopoweroff"}) {
    EXPECT_EQ(Value(item), std::nullopt) << item;
    EXPECT_EQ(ValueName(item), std::nullopt) << item;
  }
  EXPECT_EQ(Set("brightness", "30"), -1);
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(ItemValue, AnItemThatWasNeverSetHasItsDefault) {
  EXPECT_THAT(Value("picturemode"), Optional(std::string("standard")));
  EXPECT_THAT(Value("brightness"), Optional(std::string("25")));
  EXPECT_THAT(Value("gamma"), Optional(std::string("2.2")));
  EXPECT_THAT(Value("gamemode"), Optional(std::string("off")));
  EXPECT_THAT(Value("subtitles"), Optional(std::string("on")));
  EXPECT_THAT(Value("autopoweroff"), Optional(std::string("0")));
}

TEST_F(ItemValue, AStoredValueIsAnswered) {
  EXPECT_EQ(Set("picturemode", "movie"), 0);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
  EXPECT_THAT(ValueName("picturemode"), Optional(std::string("Movie")));
}

TEST_F(ItemValue, ATextIsStoredUnderTheIdentifierOfItsList) {
  Set("picturemode", "movie");
  EXPECT_THAT(m_Platform.Key("db/menu/picturemode"), Optional(KeyValue("movie")));
}

TEST_F(ItemValue, AListCanBeStoredAsAnIntegerInAKeyOfItsOwn) {
  EXPECT_EQ(Set("autopoweroff", "6"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/auto_power_off"), Optional(KeyValue(6)));
  EXPECT_EQ(m_Platform.Key("db/menu/autopoweroff"), std::nullopt);
  EXPECT_THAT(Value("autopoweroff"), Optional(std::string("6")));
  EXPECT_THAT(ValueName("autopoweroff"), Optional(std::string("6 hours")));
}

TEST_F(ItemValue, AValueWrittenToTheKeyByOthersIsAnswered) {
  m_Platform.SetKey("db/menu/auto_power_off", 8);
  m_Platform.SetKey("db/menu/picturemode", "dynamic");
  m_Platform.SetKey("db/menu/gamemode", 1);
  m_Platform.SetKey("db/menu/brightness", 30);
  EXPECT_THAT(ValueName("autopoweroff"), Optional(std::string("8 hours")));
  EXPECT_THAT(Value("picturemode"), Optional(std::string("dynamic")));
  EXPECT_THAT(Value("gamemode"), Optional(std::string("on")));
  EXPECT_THAT(Value("brightness"), Optional(std::string("30")));
}

TEST_F(ItemValue, ASwitchIsOnOrOffAndStoredAsOneOrZero) {
  EXPECT_EQ(Set("gamemode", "on"), 0);
  EXPECT_THAT(Value("gamemode"), Optional(std::string("on")));
  EXPECT_THAT(ValueName("gamemode"), Optional(std::string("On")));
  EXPECT_THAT(m_Platform.Key("db/menu/gamemode"), Optional(KeyValue(1)));
  EXPECT_EQ(Set("gamemode", "off"), 0);
  EXPECT_THAT(ValueName("gamemode"), Optional(std::string("Off")));
  EXPECT_THAT(m_Platform.Key("db/menu/gamemode"), Optional(KeyValue(0)));
}

TEST_F(ItemValue, ASwitchCanBeStoredAsAText) {
  EXPECT_EQ(Set("subtitles", "off"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/subtitles"), Optional(KeyValue("off")));
  EXPECT_THAT(Value("subtitles"), Optional(std::string("off")));
}

TEST_F(ItemValue, AWholeRangeIsStoredAsAnInteger) {
  EXPECT_EQ(Set("tint", "-15"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/tint"), Optional(KeyValue(-15)));
  EXPECT_THAT(Value("tint"), Optional(std::string("-15")));
}

TEST_F(ItemValue, ARangeWithFractionsIsStoredAsAText) {
  EXPECT_EQ(Set("gamma", "2.4"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/gamma"), Optional(KeyValue("2.4")));
  EXPECT_THAT(Value("gamma"), Optional(std::string("2.4")));
}

TEST_F(ItemValue, AWholeRangeCanBeStoredAsAText) {
  EXPECT_EQ(Set("width", "7"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/width"), Optional(KeyValue("7")));
  EXPECT_THAT(Value("width"), Optional(std::string("7")));
}

TEST_F(ItemValue, ANumberIsStoredAndAnsweredInOneForm) {
  struct Form {
    const char* menuID;
    const char* given;
    const char* kept;
  };
  for (const Form& form :
       {Form{"width", "07", "7"}, Form{"width", "7.0", "7"}, Form{"width", "-0", "0"},
        Form{"gamma", "2", "2.0"}, Form{"gamma", "02.40", "2.4"},
        Form{"gamma", "2.3000000000000003", "2.3"}}) {
    EXPECT_EQ(Set(form.menuID, form.given), 0) << form.given;
    EXPECT_THAT(Value(form.menuID), Optional(std::string(form.kept))) << form.given;
    EXPECT_THAT(m_Platform.Key(std::string("db/menu/") + form.menuID),
                Optional(KeyValue(form.kept)))
        << form.given;
  }
}

TEST_F(ItemValue, BothBoundsOfARangeCanBeSet) {
  EXPECT_EQ(Set("brightness", "0"), 0);
  EXPECT_THAT(Value("brightness"), Optional(std::string("0")));
  EXPECT_EQ(Set("brightness", "50"), 0);
  EXPECT_THAT(Value("brightness"), Optional(std::string("50")));
}

TEST_F(ItemValue, TheNameOfANumberIsTheNumberWithItsUnit) {
  EXPECT_THAT(ValueName("brightness"), Optional(std::string("25")));
  EXPECT_THAT(ValueName("distance"), Optional(std::string("2.0 m")));
  EXPECT_EQ(Set("distance", "10"), 0);
  EXPECT_THAT(ValueName("distance"), Optional(std::string("10.0 m")));
}

TEST_F(ItemValue, ANumberThatIsKeptAsAnotherIsTakenAndAnsweredInTheUnitOfTheMenu) {
  EXPECT_THAT(Value("delay"), Optional(std::string("20")));
  EXPECT_EQ(Set("delay", "250"), 0);
  EXPECT_THAT(Value("delay"), Optional(std::string("250")));
  EXPECT_THAT(ValueName("delay"), Optional(std::string("250 ms")));
  EXPECT_THAT(m_Platform.Key("db/menu/delay"), Optional(KeyValue(25)));
  m_Platform.SetKey("db/menu/delay", 12);
  EXPECT_THAT(Value("delay"), Optional(std::string("120")));
}

TEST_F(ItemValue, WhatIsKeptForANumberIsNoValue) {
  ExpectRefused("delay", "25");
  ExpectRefused("delay", "1");
  m_Platform.SetKey("db/menu/delay", 250);
  EXPECT_THAT(Value("delay"), Optional(std::string("20")));
}

TEST_F(ItemValue, AFractionCanBeKeptAsAWholeNumberAndAWholeNumberAsAFraction) {
  EXPECT_EQ(Set("size", "1.5"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/size"), Optional(KeyValue(3)));
  EXPECT_THAT(Value("size"), Optional(std::string("1.5")));
  EXPECT_EQ(Set("level", "30"), 0);
  EXPECT_THAT(m_Platform.Key("db/menu/level"), Optional(KeyValue("0.3")));
  EXPECT_THAT(Value("level"), Optional(std::string("30")));
}

TEST_F(ItemValue, APreviewStandsInTheUnitOfTheMenu) {
  EXPECT_EQ(Set("delay", "100", kPreviewed), 0);
  EXPECT_THAT(m_Platform.Key("memory/menu/preview/delay"), Optional(KeyValue("100")));
  EXPECT_THAT(Value("delay"), Optional(std::string("100")));
}

TEST_F(ItemValue, ANumberIsReadAndWrittenTheSameInEveryLocale) {
  class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  const std::locale previous = std::locale::global(std::locale(std::locale(), new Comma));
  LoadItems(kItems);
  EXPECT_EQ(Set("gamma", "2.4"), 0);
  EXPECT_EQ(Set("gamma", "2,4"), -1);
  EXPECT_THAT(Value("gamma"), Optional(std::string("2.4")));
  EXPECT_THAT(Value("distance"), Optional(std::string("2.0")));
  std::locale::global(previous);
}

TEST_F(ItemValue, AValueOutsideAListIsRefused) {
  ExpectRefused("picturemode", "cinema");
  ExpectRefused("picturemode", "Movie");
  ExpectRefused("picturemode", "");
  ExpectRefused("autopoweroff", "5");
  ExpectRefused("autopoweroff", "04");
  ExpectRefused("gamemode", "1");
  ExpectRefused("gamemode", "On");
}

TEST_F(ItemValue, AValueOutsideARangeIsRefused) {
  ExpectRefused("brightness", "-5");
  ExpectRefused("brightness", "55");
  ExpectRefused("gamma", "1.7");
  ExpectRefused("gamma", "2.9");
}

TEST_F(ItemValue, AValueBetweenTwoStepsIsRefused) {
  ExpectRefused("brightness", "7");
  ExpectRefused("tint", "0.5");
  ExpectRefused("gamma", "2.25");
}

TEST_F(ItemValue, WhatIsNoPlainNumberIsRefusedByARange) {
  for (const char* text : {"", "+5", "1e1", "5 ", "0x5", "five", "nan", "inf", "5."}) {
    ExpectRefused("brightness", text);
  }
}

TEST_F(ItemValue, AnUnknownItemHasNoValueAndTakesNone) {
  for (const char* menuID : {"nosuchitem", "", "PICTUREMODE", "picture/picturemode"}) {
    EXPECT_EQ(Value(menuID), std::nullopt);
    ExpectRefused(menuID, "movie");
  }
  EXPECT_EQ(Value(nullptr), std::nullopt);
  ExpectRefused(nullptr, "movie");
}

TEST_F(ItemValue, AGroupAndAnActionHaveNoValueAndTakeNone) {
  for (const char* menuID : {"picture", "reset"}) {
    EXPECT_EQ(Value(menuID), std::nullopt);
    ExpectRefused(menuID, "on");
  }
}

TEST_F(ItemValue, AMissingTextIsRefused) {
  EXPECT_EQ(Set("picturemode", nullptr), -1);
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(ItemValue, NonsenseInAKeyCountsAsUnset) {
  struct Nonsense {
    const char* menuID;
    const char* key;
    KeyValue stored;
    const char* answered;
  };
  for (const Nonsense& nonsense : {
           Nonsense{"picturemode", "db/menu/picturemode", "cinema", "standard"},
           Nonsense{"picturemode", "db/menu/picturemode", "", "standard"},
           Nonsense{"picturemode", "db/menu/picturemode", 3, "standard"},
           Nonsense{"autopoweroff", "db/menu/auto_power_off", 5, "0"},
           Nonsense{"autopoweroff", "db/menu/auto_power_off", "4", "0"},
           Nonsense{"brightness", "db/menu/brightness", 51, "25"},
           Nonsense{"brightness", "db/menu/brightness", -1, "25"},
           Nonsense{"brightness", "db/menu/brightness", 7, "25"},
           Nonsense{"gamma", "db/menu/gamma", "2,4", "2.2"},
           Nonsense{"gamma", "db/menu/gamma", "9.9", "2.2"},
           Nonsense{"gamemode", "db/menu/gamemode", 2, "off"},
           Nonsense{"subtitles", "db/menu/subtitles", "yes", "on"},
       }) {
    m_Platform.SetKey(nonsense.key, nonsense.stored);
    EXPECT_THAT(Value(nonsense.menuID), Optional(std::string(nonsense.answered)))
        << testing::PrintToString(nonsense.stored);
    EXPECT_THAT(m_Platform.Key(nonsense.key), Optional(nonsense.stored)) << "the key was rewritten";
  }
}

TEST_F(ItemValue, AValueReplacesNonsenseOfAnotherType) {
  m_Platform.SetKey("db/menu/picturemode", 3);
  EXPECT_EQ(Set("picturemode", "movie"), 0);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
}

TEST_F(ItemValue, AFailureOfTheStoreIsAnsweredAndLogged) {
  m_Platform.SetKey("db/menu/picturemode", "movie");
  m_Platform.FailWrites();
  EXPECT_EQ(Set("picturemode", "dynamic"), -1);
  EXPECT_EQ(Set("autopoweroff", "4"), -1);
  EXPECT_EQ(Set("picturemode", "dynamic", kPreviewed), -1);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
  ASSERT_EQ(m_Platform.Log().size(), 3u);
  EXPECT_EQ(m_Platform.Log()[1].text, "autopoweroff: cannot write key db/menu/auto_power_off\n");
}

TEST_F(ItemValue, APreviewIsShownButNotKept) {
  Set("picturemode", "movie");
  EXPECT_EQ(Set("picturemode", "dynamic", kPreviewed), 0);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("dynamic")));
  EXPECT_THAT(ValueName("picturemode"), Optional(std::string("Dynamic")));
  EXPECT_THAT(m_Platform.Key("db/menu/picturemode"), Optional(KeyValue("movie")));
}

TEST_F(ItemValue, APreviewLivesInAVolatileKeyThatEndsWithTheSet) {
  Set("autopoweroff", "4");
  Set("autopoweroff", "8", kPreviewed);
  EXPECT_THAT(m_Platform.Key("memory/menu/preview/autopoweroff"), Optional(KeyValue("8")));
  m_Platform.RemoveKey("memory/menu/preview/autopoweroff");  // as a restart of the set does
  EXPECT_THAT(Value("autopoweroff"), Optional(std::string("4")));
}

TEST_F(ItemValue, APreviewReplacesAPreview) {
  Set("picturemode", "dynamic", kPreviewed);
  Set("picturemode", "movie", kPreviewed);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
}

TEST_F(ItemValue, APreviewOfANumberIsShownInItsOneForm) {
  EXPECT_EQ(Set("gamma", "02.40", kPreviewed), 0);
  EXPECT_THAT(Value("gamma"), Optional(std::string("2.4")));
}

TEST_F(ItemValue, AKeptValueEndsThePreview) {
  Set("picturemode", "dynamic", kPreviewed);
  EXPECT_EQ(Set("picturemode", "movie"), 0);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
  m_Platform.SetKey("db/menu/picturemode", "standard");
  EXPECT_THAT(Value("picturemode"), Optional(std::string("standard")));
}

TEST_F(ItemValue, ARefusedValueLeavesThePreview) {
  Set("picturemode", "dynamic", kPreviewed);
  EXPECT_EQ(Set("picturemode", "cinema"), -1);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("dynamic")));
}

TEST_F(ItemValue, ThePreviewOfOneItemIsNotThatOfAnother) {
  Set("brightness", "30", kPreviewed);
  EXPECT_THAT(Value("tint"), Optional(std::string("0")));
}

TEST_F(ItemValue, NonsenseInThePreviewKeyIsNoPreview) {
  Set("picturemode", "movie");
  for (const KeyValue& nonsense : {KeyValue("cinema"), KeyValue(""), KeyValue(1)}) {
    m_Platform.SetKey("memory/menu/preview/picturemode", nonsense);
    EXPECT_THAT(Value("picturemode"), Optional(std::string("movie")));
  }
}

TEST_F(ItemValue, NothingIsStoredWhenThePreviewCannotBeEnded) {
  Set("picturemode", "dynamic", kPreviewed);
  m_Platform.FailWritesTo("memory/menu/preview/picturemode");
  EXPECT_EQ(Set("picturemode", "movie"), -1);
  EXPECT_EQ(m_Platform.Key("db/menu/picturemode"), std::nullopt);
  EXPECT_THAT(Value("picturemode"), Optional(std::string("dynamic")));
}

TEST_F(ItemValue, AValueWithoutAPreviewIsStoredByOneWrite) {
  Set("picturemode", "movie");
  EXPECT_EQ(m_Platform.Writes(), 1);
}

}  // namespace
