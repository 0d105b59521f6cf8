#include "setctl/key_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "common.h"

namespace {

using host::KeyValue;
using setctl::ParseValue;
using setctl::ValueType;

template <typename Action>
std::string Refusal(Action action) {
  try {
    action();
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.Code(), tools::ExitCode::kUsage);
    return failure.what();
  }
  return "none";
}

KeyValue ByText(const std::string& text, std::optional<KeyValue> held = std::nullopt) {
  return ParseValue(text, ValueType::kByText, held);
}

TEST(KeyText, WhatIsWrittenLikeAnIntegerBecomesOne) {
  EXPECT_EQ(ByText("0"), KeyValue(0));
  EXPECT_EQ(ByText("-17"), KeyValue(-17));
  EXPECT_EQ(ByText("2147483647"), KeyValue(std::numeric_limits<int>::max()));
  EXPECT_EQ(ByText("-2147483648"), KeyValue(std::numeric_limits<int>::min()));
  EXPECT_EQ(ByText("5", KeyValue(1)), KeyValue(5));
}

TEST(KeyText, EverythingElseIsAString) {
  for (const std::string text : {"", "a", "-", "5a", " 5", "+5", "5.0", "0x5"}) {
    EXPECT_EQ(ByText(text), KeyValue(text));
  }
}

TEST(KeyText, ZerosInFrontAreKept) {
  for (const std::string text : {"007", "00", "-0", "-07"}) {
    EXPECT_EQ(ByText(text), KeyValue(text));
    EXPECT_EQ(ParseValue(text, ValueType::kInt, std::nullopt), KeyValue(std::stoi(text)));
  }
}

TEST(KeyText, AKeyThatHoldsAStringKeepsHoldingOne) {
  EXPECT_EQ(ByText("5", KeyValue("old")), KeyValue("5"));
  EXPECT_EQ(ByText("99999999999", KeyValue("old")), KeyValue("99999999999"));
  EXPECT_EQ(ParseValue("5", ValueType::kInt, KeyValue("old")), KeyValue(5));
}

TEST(KeyText, TheTypeCanBeAskedFor) {
  EXPECT_EQ(ParseValue("5", ValueType::kString, std::nullopt), KeyValue("5"));
  EXPECT_EQ(Refusal([] { ParseValue("x", ValueType::kInt, std::nullopt); }),
            "\"x\" is not an integer; leave out --int to store it as text");
}

TEST(KeyText, AnIntegerThatDoesNotFitIsNotQuietlyAString) {
  for (const std::string text : {"2147483648", "-2147483649", "99999999999999999999"}) {
    EXPECT_EQ(Refusal([&] { ByText(text); }),
              "\"" + text + "\" does not fit in 32 bits; use --string to store it as text");
  }
}

TEST(KeyText, AKeyNeedsAStore) {
  setctl::CheckKey("db/menu/x");
  setctl::CheckKey("memory/x");
  for (const std::string key : {"", "x", "db", "db/", "memory/", "db//x", "db/a\nb", "file/x"}) {
    EXPECT_NE(Refusal([&] { setctl::CheckKey(key); }), "none") << key;
  }
  EXPECT_THAT(
      Refusal([] { setctl::CheckKey("menu/\x1b"); }),
      testing::StartsWith("\"menu/\\x1b\" is not a valid key: keys begin with db/ or memory/"));
}

TEST(KeyText, APrefixMustBeTheBeginningOfSomeKey) {
  for (const std::string prefix : {"", "d", "db", "db/", "db/menu/", "mem", "memory/set"}) {
    EXPECT_EQ(Refusal([&] { setctl::CheckPrefix(prefix); }), "none") << prefix;
  }
  for (const std::string prefix : {"x", "dx", "/db", "memory2", "db2/"}) {
    EXPECT_NE(Refusal([&] { setctl::CheckPrefix(prefix); }), "none") << prefix;
  }
}

TEST(KeyText, KeysArePrintedWithTheTypeOfTheirValue) {
  EXPECT_EQ(setctl::KeyText("db/x", KeyValue(5)), "db/x = 5");
  EXPECT_EQ(setctl::KeyText("db/x", KeyValue("5")), "db/x = \"5\"");
  EXPECT_EQ(setctl::KeyText("db/x", KeyValue("a\"b\n\x7f\xff")), "db/x = \"a\\\"b\\n\\x7f\\xff\"");
  EXPECT_EQ(setctl::KeyText("db/x", std::nullopt), "db/x removed");
}

TEST(KeyText, AValueAloneIsPrintedWithoutQuotes) {
  EXPECT_EQ(setctl::ValueText(KeyValue(-5)), "-5");
  EXPECT_EQ(setctl::ValueText(KeyValue("a \"b\"\n")), "a \"b\"\\n");
}

TEST(KeyText, KeysArePrintedAsJson) {
  EXPECT_EQ(setctl::KeyJson("db/x", KeyValue(5)), R"({"key":"db/x","value":5})");
  EXPECT_EQ(setctl::KeyJson("db/x", KeyValue("a")), R"({"key":"db/x","value":"a"})");
  EXPECT_EQ(setctl::KeyJson("NOW", "db/x", std::nullopt),
            R"({"time":"NOW","key":"db/x","value":null})");
}

}  // namespace
