#include "base/json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using namespace std::string_literals;
using base::ParseJson;
using base::ReadJson;
using testing::HasSubstr;

std::string Written(const std::string& text, const Json::Value& value) {
  return text.substr(value.getOffsetStart(), value.getOffsetLimit() - value.getOffsetStart());
}

std::string ProblemOf(const std::string& text) {
  try {
    ParseJson(text);
  } catch (const std::exception& problem) {
    return problem.what();
  }
  return "";
}

TEST(JsonReader, EveryValueKnowsWhereItStands) {
  const std::string text = R"( {"a": [1, -2.50 , "x\u0041y"], "b": {"c": null}} )";
  Json::Value root;
  ASSERT_FALSE(ReadJson(text, base::kMaxJsonDepth, root));
  EXPECT_EQ(Written(text, root), text.substr(1, text.size() - 2));
  EXPECT_EQ(Written(text, root["a"]), R"([1, -2.50 , "x\u0041y"])");
  EXPECT_EQ(Written(text, root["a"][1]), "-2.50");
  EXPECT_EQ(Written(text, root["a"][2]), R"("x\u0041y")");
  EXPECT_EQ(Written(text, root["b"]["c"]), "null");
  EXPECT_EQ(root["a"][2], "xAy");
}

TEST(JsonReader, ATextIsAnObjectOrAnArrayAndNothingElse) {
  EXPECT_EQ(ParseJson("[1]")[0], 1);
  EXPECT_EQ(ParseJson("{}"), Json::Value(Json::objectValue));
  for (const char* text : {"", "1", "\"a\"", "null", "[1] 2", "{} {}"}) {
    EXPECT_THAT(ProblemOf(text), HasSubstr("Line 1, Column")) << text;
  }
  EXPECT_EQ(ProblemOf("[1]\n\0x"s), "Line 2, Column 1: nothing may follow the array");
}

TEST(JsonReader, TheNestingEndsWhereItsLimitSays) {
  Json::Value root;
  EXPECT_FALSE(ReadJson("[[[]]]", 3, root));
  const auto fault = ReadJson("[[[]]]", 2, root);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->at, 2u);
  EXPECT_EQ(fault->problem, "nested more than 2 levels deep");
}

TEST(JsonReader, WhatIsWrittenInAnotherWayIsRefused) {
  EXPECT_EQ(ProblemOf("[\n 007]"), "Line 2, Column 3: leading zeros are not allowed");
  EXPECT_EQ(ProblemOf("[+1]"), "Line 1, Column 2: expected a value");
  EXPECT_EQ(ProblemOf("[1.]"), "Line 1, Column 4: expected a digit after the point");
  EXPECT_EQ(ProblemOf("[\"\t\"]"), "Line 1, Column 3: control character in a string");
}

TEST(WriteJson, ARealIsWrittenAsItWasRead) {
  for (const std::string text : {"0.05", "[0.1,0.7,-2.55]", "1e+300", "2.5"}) {
    EXPECT_EQ(base::WriteJson(*base::TryParseJson(text)), text);
  }
}

TEST(JsonReader, AByteOrderMarkIsCalledSo) {
  EXPECT_THAT(ProblemOf("\xEF\xBB\xBF[]"), HasSubstr("byte order mark; save it as UTF-8"));
  EXPECT_THAT(ProblemOf("\xFE\xFF\0["s), HasSubstr("UTF-16; save it as UTF-8"));
}

}  // namespace
