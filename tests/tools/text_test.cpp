#include "text.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>

#include "base/json.h"

namespace {

using namespace std::string_literals;

TEST(Text, OrdinaryTextOfAnyLanguageIsPrintedAsItIs) {
  EXPECT_EQ(tools::Escape("Größe 日本 \U0001F4FA a\\b"), "Größe 日本 \U0001F4FA a\\b");
}

TEST(Text, WhatATerminalWouldObeyIsEscaped) {
  EXPECT_EQ(tools::Escape("a\x1b[2J"), "a\\x1b[2J");
  EXPECT_EQ(tools::Escape("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(tools::Escape("\0\x7f"s), "\\x00\\x7f");
  EXPECT_EQ(tools::Escape("\xc2\x9b"), "\\xc2\\x9b");
}

TEST(Text, BytesThatAreNoUtf8AreEscaped) {
  EXPECT_EQ(tools::Escape("a\xff"), "a\\xff");
  EXPECT_EQ(tools::Escape("\xc3"), "\\xc3");
  EXPECT_EQ(tools::Escape("\xe6\x97x"), "\\xe6\\x97x");
  EXPECT_EQ(tools::Escape("\xc0\x8a"), "\\xc0\\x8a") << "an overlong line end";
  EXPECT_EQ(tools::Escape("\xe0\x80\x8a"), "\\xe0\\x80\\x8a") << "an overlong line end";
  EXPECT_EQ(tools::Escape("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
  EXPECT_EQ(tools::Escape("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond Unicode";
  EXPECT_EQ(tools::Escape("\xf0\x80\x80\x8a"), "\\xf0\\x80\\x80\\x8a") << "an overlong line end";
}

TEST(Text, WhatHidesOrTurnsTextIsEscaped) {
  EXPECT_EQ(tools::Escape("a\u202Eb\u2028c\uFFFF"), "a\\u202eb\\u2028c\\uffff");
  EXPECT_EQ(tools::Escape("می\u200Cخواهم \u200F1"), "می\u200Cخواهم \u200F1");
}

TEST(Text, TheEdgesOfTheRangesOfUtf8ArePrinted) {
  for (const char* text : {"\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
                           "\xef\xbf\xbd", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbd"}) {
    EXPECT_EQ(tools::Escape(text), text);
  }
}

TEST(Text, AMessageQuotesEscaped) { EXPECT_EQ(tools::Quote("a\nb"), "\"a\\nb\""); }

TEST(Text, AJsonLineKeepsTheOrderOfItsMembers) {
  EXPECT_EQ(tools::JsonLine({{"item", "x"}, {"value", 5}, {"again", true}}),
            R"({"item":"x","value":5,"again":true})");
  EXPECT_EQ(tools::JsonLine({{"line", "a\n\"\\\x1b"}}), R"({"line":"a\n\"\\\u001b"})");
}

TEST(Text, JsonTextIsJsonWhateverTheBytesWere) {
  EXPECT_EQ(tools::JsonText("ü\xff"), "\"ü\uFFFD\"");
  EXPECT_TRUE(base::TryParseJson(tools::JsonText("\xc3(\xff\x01")));
}

TEST(Text, JsonThatATerminalShowsHidesNothingAndStaysTheSameValue) {
  const std::string value = "게임 a\u202Eb\u2028c\u009B2J\x7f\U000E0001\u200D";
  const std::string text = tools::JsonText(value);
  EXPECT_EQ(text, "\"게임 a\\u202eb\\u2028c\\u009b2J\\u007f\\udb40\\udc01\u200D\"");
  EXPECT_EQ(base::TryParseJson(text), Json::Value(value));
  EXPECT_EQ(tools::EscapeJson("{\r\n\t\"a\": \"\u2066\"\n}"), "{\r\n\t\"a\": \"\\u2066\"\n}");
}

TEST(Text, OnlyStrictJsonIsParsed) {
  EXPECT_EQ(base::TryParseJson("true"), Json::Value(true));
  EXPECT_EQ(base::TryParseJson("\"a\""), Json::Value("a"));
  EXPECT_EQ((*base::TryParseJson(R"({"a":[1]})"))["a"][0], 1);
  for (const char* text : {"", "tru", "{'a':1}", "1 2", "[1,]", "/**/1", R"({"a":1,"a":2})"}) {
    EXPECT_FALSE(base::TryParseJson(text)) << text;
  }
  EXPECT_FALSE(base::TryParseJson(std::string(100000, '['))) << "too deep";
}

class Time : public testing::TestWithParam<std::pair<const char*, const char*>> {
 protected:
  Time() {
    setenv("TZ", GetParam().first, 1);
    tzset();
  }
  ~Time() override {
    unsetenv("TZ");
    tzset();
  }
};

TEST_P(Time, IsLocalWithMillisecondsAndOffset) {
  const std::chrono::system_clock::time_point time{std::chrono::milliseconds(1'700'000'000'007)};
  EXPECT_EQ(tools::TimeText(time), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Zones, Time,
                         testing::Values(std::pair("UTC0", "2023-11-14T22:13:20.007+00:00"),
                                         std::pair("AAA-05:30", "2023-11-15T03:43:20.007+05:30"),
                                         std::pair("BBB03:30", "2023-11-14T18:43:20.007-03:30")),
                         [](const auto& zone) { return "Zone" + std::to_string(zone.index); });

}  // namespace
