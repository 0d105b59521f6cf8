// The delivered translations, as a process sees them that changes its language while it runs.

#include "items/translation.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <clocale>
#include <filesystem>
#include <string>

#include "settings_item_info_api.h"
#include "system/environment.h"

namespace {

using Buffer = std::array<char, SETTINGS_ITEM_TEXT_SIZE>;

std::string DisplayName(const char* menuID) {
  Buffer name{};
  EXPECT_EQ(CSettingsItemInfoAPI::GetItemDisplayName(menuID, name.data()), 0) << menuID;
  return name.data();
}

std::string ValueName(const char* menuID) {
  Buffer name{};
  Buffer value{};
  EXPECT_EQ(CSettingsItemInfoAPI::GetItemValue(menuID, name.data(), value.data()), 0) << menuID;
  return name.data();
}

class Translation : public testing::Test {
 protected:
  Translation() {
    StartWithoutLanguage();
    CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
  }

  ~Translation() override {
    StartWithoutLanguage();
    host::UseTranslations(host::GetEnvironment().localeDir);
  }

  static void StartWithoutLanguage() {
    for (const char* variable : {"LANGUAGE", "LANG", "LC_MESSAGES", "LC_ALL"}) {
      unsetenv(variable);
    }
    std::setlocale(LC_ALL, "C");
  }

  // As the daemon does it, whether the machine has such a locale or not.
  static void ChangeLanguage(const std::string& language) {
    setenv("LANGUAGE", (language + ":en_US:en_GB:en").substr(0, 31).c_str(), 1);
    setenv("LANG", language.c_str(), 1);
    setenv("LC_MESSAGES", language.c_str(), 1);
    if (std::setlocale(LC_ALL, "") == nullptr) {
      std::setlocale(LC_ALL, language.c_str());
    }
  }
};

TEST_F(Translation, NamesAreThoseOfTheCatalogueWithoutALanguage) {
  EXPECT_EQ(DisplayName("colour"), "Colour");
  EXPECT_EQ(ValueName("autopoweroff"), "Off");
}

TEST_F(Translation, ItemsValuesAndUnitsAreTranslated) {
  ChangeLanguage("ar");
  EXPECT_EQ(DisplayName("picturemode"), "وضع الصورة");
  EXPECT_EQ(ValueName("picturemode"), "قياسي");
  EXPECT_EQ(ValueName("sounddelay"), "0 ملي ث");
}

TEST_F(Translation, TheNextAnswerIsInTheNewLanguage) {
  for (int round = 0; round < 2; ++round) {
    ChangeLanguage("de_DE");
    EXPECT_EQ(DisplayName("picturemode"), "Bildmodus");
    EXPECT_EQ(ValueName("autopoweroff"), "Aus");
    ChangeLanguage("ko_KR");
    EXPECT_EQ(DisplayName("picturemode"), "영상 모드");
    EXPECT_EQ(ValueName("autopoweroff"), "꺼짐");
    ChangeLanguage("en_US");
    EXPECT_EQ(DisplayName("picturemode"), "Picture Mode");
    EXPECT_EQ(DisplayName("colour"), "Color");
    ChangeLanguage("en_GB");
    EXPECT_EQ(DisplayName("colour"), "Colour");
  }
}

TEST_F(Translation, CodesetAndCountryMayBeGivenOrNot) {
  for (const char* language :
       {"de", "de_DE", "de_AT", "de_DE.UTF-8", "de_DE.utf8", "de_DE.ISO-8859-1", "de_DE@euro"}) {
    ChangeLanguage(language);
    EXPECT_EQ(DisplayName("sounddelay"), "Tonverzögerung") << language;
  }
}

TEST_F(Translation, AChangeShowsThoughTheLocaleStaysTheSame) {
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  setenv("LANGUAGE", "de", 1);
  EXPECT_EQ(DisplayName("picturemode"), "Bildmodus");
  setenv("LANGUAGE", "ko", 1);
  EXPECT_EQ(DisplayName("picturemode"), "영상 모드");
}

TEST_F(Translation, AnUnknownLanguageIsEnglish) {
  for (const char* language : {"xx_XX", "", "C", "POSIX", "%s%n", "\n", ":::"}) {
    ChangeLanguage(language);
    EXPECT_EQ(DisplayName("picturemode"), "Picture Mode") << language;
  }
}

TEST_F(Translation, ANameTooLongForTheListOfFallbacksIsEnglishToo) {
  ChangeLanguage(std::string(1000, 'x'));
  EXPECT_EQ(DisplayName("picturemode"), "Picture Mode");
}

TEST_F(Translation, ALanguageLeadsToNoOtherDirectory) {
  ChangeLanguage("../locale/de");
  EXPECT_EQ(DisplayName("picturemode"), "Picture Mode");
}

TEST_F(Translation, IsNotNeeded) {
  host::UseTranslations("");
  ChangeLanguage("de_DE");
  EXPECT_EQ(DisplayName("picturemode"), "Picture Mode");
}

TEST_F(Translation, IsEnglishWhereTheTranslationsAreMissing) {
  host::UseTranslations("/nonexistent");
  ChangeLanguage("de_DE");
  EXPECT_EQ(DisplayName("picturemode"), "Picture Mode");
}

TEST_F(Translation, AnEmptyNameHasNone) {
  ChangeLanguage("de_DE");
  EXPECT_EQ(host::ItemNameInLanguage(""), "");
  EXPECT_EQ(host::ValueNameInLanguage("no name of the menu"), "no name of the menu");
}

TEST_F(Translation, LeavesTheLocaleOfTheProcessAlone) {
  ChangeLanguage("de_DE");
  const std::string before = std::setlocale(LC_ALL, nullptr);
  DisplayName("picturemode");
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

}  // namespace
