#include <cerrno>
#include <optional>
#include <string>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

constexpr char kLanguageKey[] = "db/menu_widget/language";

class LanguageAtStart : public ServiceTest {
 protected:
  void ExpectStart(const std::string& languageSteps) {
    EXPECT_TRUE(service.t_OnCreate());
    ExpectTrace(StartBut({{kLanguageSteps, languageSteps}}));
  }
};

TEST_F(LanguageAtStart, LeavesEnvironmentAndLocaleAloneWithoutTheKey) {
  fake.Fail("vconf_get_str", {.on = kLanguageKey});
  ExpectStart(R"(I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> null
    I SettingsServiceCommand UpdateLanguage | New language : [(null)]\n
)");
  EXPECT_EQ(fake.Variable("LANG"), std::nullopt);
}

TEST_F(LanguageAtStart, LeavesEnvironmentAndLocaleAloneWhenTheKeyHoldsAnInteger) {
  fake.SetKey(kLanguageKey, 1);
  ExpectStart(R"(I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> null
    I SettingsServiceCommand UpdateLanguage | New language : [(null)]\n
)");
  EXPECT_EQ(fake.Variable("LANGUAGE"), std::nullopt);
}

class Language : public CreatedServiceTest {
 protected:
  void Change(const std::string& language) {
    fake.SetKey(kLanguageKey, language);
    fake.RunMainLoop();
  }
};

TEST_F(Language, FollowsTheKeyWithoutARestart) {
  Change("de_DE.UTF-8");
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> "de_DE.UTF-8"
    I SettingsServiceCommand UpdateLanguage | New language : [de_DE.UTF-8]\n
    setenv("LANGUAGE", "de_DE.UTF-8:en_US:en_GB:en", 1) -> 0
    setenv("LANG", "de_DE.UTF-8", 1) -> 0
    setenv("LC_MESSAGES", "de_DE.UTF-8", 1) -> 0
    setlocale(LC_ALL, "") -> "de_DE.UTF-8"
  )");
}

TEST_F(Language, FollowsEveryChange) {
  Change("de_DE");
  Change("ko_KR");
  EXPECT_EQ(fake.Variable("LANGUAGE"), "ko_KR:en_US:en_GB:en");
  EXPECT_EQ(fake.Variable("LANG"), "ko_KR");
  EXPECT_EQ(fake.Variable("LC_MESSAGES"), "ko_KR");
}

TEST_F(Language, CutsTheFallbackListTo31CharactersAndNothingElse) {
  const struct {
    std::string language;
    std::string list;
  } lists[] = {
      // 16 characters fit in full, of 17 the last one of the list is gone.
      {std::string(16, 'x'), std::string(16, 'x') + ":en_US:en_GB:en"},
      {std::string(17, 'x'), std::string(17, 'x') + ":en_US:en_GB:e"},
      {std::string(25, 'x'), std::string(25, 'x') + ":en_US"},
      {std::string(31, 'x'), std::string(31, 'x')},
      {std::string(1000, 'x'), std::string(31, 'x')},
  };
  for (const auto& [language, list] : lists) {
    Let("language", language);
    Let("list", list);
    Change(language);
    ExpectTrace(R"(
      I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
      vconf_get_str("db/menu_widget/language") -> "{language}"
      I SettingsServiceCommand UpdateLanguage | New language : [{language}]\n
      setenv("LANGUAGE", "{list}", 1) -> 0
      setenv("LANG", "{language}", 1) -> 0
      setenv("LC_MESSAGES", "{language}", 1) -> 0
      setlocale(LC_ALL, "") -> "{language}"
    )");
  }
}

TEST_F(Language, TakesAnEmptyTextForALanguage) {
  Change("");
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> ""
    I SettingsServiceCommand UpdateLanguage | New language : []\n
    setenv("LANGUAGE", ":en_US:en_GB:en", 1) -> 0
    setenv("LANG", "", 1) -> 0
    setenv("LC_MESSAGES", "", 1) -> 0
    setlocale(LC_ALL, "") -> ""
  )");
}

TEST_F(Language, TakesFormatDirectivesForText) {
  Change("%s%n%d");
  EXPECT_EQ(fake.Variable("LANGUAGE"), "%s%n%d:en_US:en_GB:en");
}

TEST_F(Language, AsksForTheLocaleByItsNameWhenTheEnvironmentGivesNone) {
  fake.Fail("setlocale", {.times = 1});
  Change("de_DE");
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> "de_DE"
    I SettingsServiceCommand UpdateLanguage | New language : [de_DE]\n
    setenv("LANGUAGE", "de_DE:en_US:en_GB:en", 1) -> 0
    setenv("LANG", "de_DE", 1) -> 0
    setenv("LC_MESSAGES", "de_DE", 1) -> 0
    setlocale(LC_ALL, "") -> null
    setlocale(LC_ALL, "de_DE") -> "de_DE"
    I SettingsServiceCommand UpdateLanguage | *****Settings-service setlocale=de_DE\n\n
  )");
}

TEST_F(Language, SaysNothingWhenThereIsNoSuchLocale) {
  fake.Fail("setlocale", {.times = 2});
  Change("xx_XX");
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> "xx_XX"
    I SettingsServiceCommand UpdateLanguage | New language : [xx_XX]\n
    setenv("LANGUAGE", "xx_XX:en_US:en_GB:en", 1) -> 0
    setenv("LANG", "xx_XX", 1) -> 0
    setenv("LC_MESSAGES", "xx_XX", 1) -> 0
    setlocale(LC_ALL, "") -> null
    setlocale(LC_ALL, "xx_XX") -> null
  )");
}

TEST_F(Language, GoesOnWhenNoVariableCanBeSet) {
  fake.Fail("setenv", {.code = ENOMEM});
  Change("de_DE");
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> "de_DE"
    I SettingsServiceCommand UpdateLanguage | New language : [de_DE]\n
    setenv("LANGUAGE", "de_DE:en_US:en_GB:en", 1) -> ENOMEM
    setenv("LANG", "de_DE", 1) -> ENOMEM
    setenv("LC_MESSAGES", "de_DE", 1) -> ENOMEM
    setlocale(LC_ALL, "") -> "en_US"
  )");
}

TEST_F(Language, StaysWhatItWasWhenTheKeyCanNoLongerBeRead) {
  fake.SetKey(kLanguageKey, 7);
  fake.RunMainLoop();
  ExpectTrace(R"(
    I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
    vconf_get_str("db/menu_widget/language") -> null
    I SettingsServiceCommand UpdateLanguage | New language : [(null)]\n
  )");
  EXPECT_EQ(fake.Variable("LANG"), "en_US");
}

}  // namespace
