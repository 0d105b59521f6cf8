#include "framework/message_text.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <thread>

#include "nuvra/message.h"

namespace {

using namespace std::string_literals;
using host::kMaxBodyDepth;
using host::kMaxBodySize;
using host::ParseBody;
using host::WriteBody;
using testing::HasSubstr;

// What is wrong with the text; empty when nothing is.
std::string Fault(const std::string& text) {
  Json::Value body = "untouched";
  std::string error;
  const bool parsed = ParseBody(text, body, error);
  if (!parsed) {
    EXPECT_EQ(body, Json::Value("untouched"));
    EXPECT_NE(error, "");
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  return error;
}

Json::Value Parsed(const std::string& text) {
  Json::Value body;
  std::string error;
  EXPECT_TRUE(ParseBody(text, body, error)) << text << ": " << error;
  return body;
}

// A body with `levels` objects and arrays in each other.
std::string Nested(int levels) {
  return R"({"a":)" + std::string(levels - 1, '[') + "1" + std::string(levels - 1, ']') + "}";
}

TEST(ReadingABody, GivesTheObject) {
  const Json::Value body = Parsed(R"( {"method":"x","data":{"n":[1,-2.5,true,false,null,""]}} )");
  EXPECT_EQ(body["method"], "x");
  EXPECT_EQ(body["data"]["n"].size(), 6u);
  EXPECT_EQ(body["data"]["n"][0], 1);
  EXPECT_EQ(body["data"]["n"][1], -2.5);
  EXPECT_EQ(Parsed("{}"), Json::Value(Json::objectValue));
  EXPECT_EQ(Parsed("\t\r\n {\n}\n"), Json::Value(Json::objectValue));
}

TEST(ReadingABody, UnderstandsEveryEscapeSequence) {
  const Json::Value body = Parsed(R"({"a":"\"\\\/\b\f\n\r\t\u00e4\uD83D\uDE00"})");
  EXPECT_EQ(body["a"], "\"\\/\b\f\n\r\t\xC3\xA4\xF0\x9F\x98\x80");
}

TEST(ReadingABody, TakesNumbersUpToTheLimitsOfTheirTypes) {
  EXPECT_EQ(Parsed(R"({"a":9223372036854775807})")["a"].asInt64(),
            std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Parsed(R"({"a":-9223372036854775808})")["a"].asInt64(),
            std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Parsed(R"({"a":18446744073709551615})")["a"].asUInt64(),
            std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Parsed(R"({"a":1e308})")["a"].asDouble(), 1e308);
  EXPECT_EQ(Parsed(R"({"a":1e-999})")["a"].asDouble(), 0.0);
  EXPECT_EQ(Parsed(R"({"a":-0})")["a"].asInt(), 0);
  EXPECT_EQ(Parsed(R"({"a":1.5E+3})")["a"].asDouble(), 1500.0);
}

TEST(ReadingABody, TakesExactlyTheLargestSize) {
  const std::string around = R"({"a":""})";
  const std::string largest =
      R"({"a":")" + std::string(kMaxBodySize - around.size(), 'x') + R"("})";
  ASSERT_EQ(largest.size(), kMaxBodySize);
  EXPECT_EQ(Fault(largest), "");
  EXPECT_EQ(Fault(largest + " "), "the body is larger than 256 KiB");
}

TEST(ReadingABody, TakesExactlyTheDeepestNesting) {
  EXPECT_EQ(Fault(Nested(kMaxBodyDepth)), "");
  EXPECT_EQ(Fault(Nested(kMaxBodyDepth + 1)), "line 1, column 37: nested more than 32 levels deep");
}

TEST(ReadingABody, DoesNotCountLevelsThatAreClosedOrInStrings) {
  std::string text = R"({"a":[)";
  for (int index = 0; index < 100; ++index) {
    text += R"([{}],"{[{[",)";
  }
  EXPECT_EQ(Fault(text + "1]}"), "");
}

struct Refused {
  std::string text;
  std::string fault;
};

std::ostream& operator<<(std::ostream& stream, const Refused& refused) {
  return stream << testing::PrintToString(refused.text);
}

class RefusedBody : public testing::TestWithParam<Refused> {};

TEST_P(RefusedBody, IsAnsweredWithWhatIsWrongAndWhere) {
  EXPECT_EQ(Fault(GetParam().text), GetParam().fault);
}

INSTANTIATE_TEST_SUITE_P(
    OfObjects, RefusedBody,
    testing::Values(
        Refused{"", "line 1, column 1: expected a JSON object"},
        Refused{" \n ", "line 2, column 2: expected a JSON object"},
        Refused{"not json", "line 1, column 1: expected a JSON object"},
        Refused{"[]", "line 1, column 1: expected a JSON object"},
        Refused{R"("text")", "line 1, column 1: expected a JSON object"},
        Refused{"1", "line 1, column 1: expected a JSON object"},
        Refused{"null", "line 1, column 1: expected a JSON object"},
        Refused{"\xEF\xBB\xBF{}", "line 1, column 1: expected a JSON object"},
        Refused{"#\n{}", "line 1, column 1: expected a JSON object"},
        Refused{"\0"s, "line 1, column 1: expected a JSON object"},
        Refused{"{", "line 1, column 2: expected the name of a member"},
        Refused{"{,}", "line 1, column 2: expected the name of a member"},
        Refused{"{a:1}", "line 1, column 2: expected the name of a member"},
        Refused{"{1:1}", "line 1, column 2: expected the name of a member"},
        Refused{"{'a':1}", "line 1, column 2: expected the name of a member"},
        Refused{R"({"a":1,})", "line 1, column 8: expected the name of a member"},
        Refused{R"({"":1,})", "line 1, column 7: expected the name of a member"},
        Refused{"{\"\":1, \n}", "line 2, column 1: expected the name of a member"},
        Refused{R"({"a")", "line 1, column 5: expected a colon"},
        Refused{R"({"a" 1})", "line 1, column 6: expected a colon"},
        Refused{R"({"a"::1})", "line 1, column 6: expected a value"},
        Refused{R"({"a":})", "line 1, column 6: expected a value"},
        Refused{R"({"a":)", "line 1, column 6: expected a value"},
        Refused{R"({"a":1 "b":2})", "line 1, column 8: expected a comma or the end of the object"},
        Refused{R"({"a":1)", "line 1, column 7: expected a comma or the end of the object"},
        Refused{R"({"a":1])", "line 1, column 7: expected a comma or the end of the object"},
        Refused{R"({"a":1/**/})", "line 1, column 7: expected a comma or the end of the object"},
        Refused{"{\n\"a\":1,\n\"a\":2}", "line 3, column 1: duplicate member name"},
        Refused{R"({"a":{"\u0062":1,"b":2}})", "line 1, column 18: duplicate member name"},
        Refused{R"({"a":null,"a":null})", "line 1, column 11: duplicate member name"},
        Refused{R"({"a":1}})", "line 1, column 8: nothing may follow the object"},
        Refused{R"({"a":1} {})", "line 1, column 9: nothing may follow the object"},
        Refused{R"({"a":1} x)", "line 1, column 9: nothing may follow the object"},
        Refused{"{\"a\":1}//", "line 1, column 8: nothing may follow the object"},
        Refused{"{}\0{"s, "line 1, column 3: nothing may follow the object"},
        Refused{"{}\v", "line 1, column 3: nothing may follow the object"},
        Refused{"{}\xC2\xA0", "line 1, column 3: nothing may follow the object"}));

INSTANTIATE_TEST_SUITE_P(
    OfArraysAndWords, RefusedBody,
    testing::Values(
        Refused{R"({"a":[1,]})", "line 1, column 9: expected a value"},
        Refused{R"({"a":[,1]})", "line 1, column 7: expected a value"},
        Refused{R"({"a":[1,,2]})", "line 1, column 9: expected a value"},
        Refused{R"({"a":[)", "line 1, column 7: expected a value"},
        Refused{R"({"a":[1 2]})", "line 1, column 9: expected a comma or the end of the array"},
        Refused{R"({"a":[1})", "line 1, column 8: expected a comma or the end of the array"},
        Refused{R"({"a":[1)", "line 1, column 8: expected a comma or the end of the array"},
        Refused{R"({"a":tru})", "line 1, column 6: unknown word"},
        Refused{R"({"a":truefalse})",
                "line 1, column 10: expected a comma or the end of the object"},
        Refused{R"({"a":nul)", "line 1, column 6: unknown word"},
        Refused{R"({"a":fals})", "line 1, column 6: unknown word"},
        Refused{R"({"a":True})", "line 1, column 6: expected a value"},
        Refused{R"({"a":NaN})", "line 1, column 6: expected a value"},
        Refused{R"({"a":Infinity})", "line 1, column 6: expected a value"},
        Refused{"{\"a\":\0}"s, "line 1, column 6: expected a value"}));

INSTANTIATE_TEST_SUITE_P(
    OfNumbers, RefusedBody,
    testing::Values(
        Refused{R"({"a":01})", "line 1, column 7: leading zeros are not allowed"},
        Refused{R"({"a":-01})", "line 1, column 8: leading zeros are not allowed"},
        Refused{R"({"a":00})", "line 1, column 7: leading zeros are not allowed"},
        Refused{R"({"a":-})", "line 1, column 7: expected a digit after the minus sign"},
        Refused{R"({"a":--1})", "line 1, column 7: expected a digit after the minus sign"},
        Refused{R"({"a":-Infinity})", "line 1, column 7: expected a digit after the minus sign"},
        Refused{R"({"a":+1})", "line 1, column 6: expected a value"},
        Refused{R"({"a":.5})", "line 1, column 6: expected a value"},
        Refused{R"({"a":1.})", "line 1, column 8: expected a digit after the point"},
        Refused{R"({"a":1.e5})", "line 1, column 8: expected a digit after the point"},
        Refused{R"({"a":1e})", "line 1, column 8: the exponent has no digits"},
        Refused{R"({"a":1e+-1})", "line 1, column 9: the exponent has no digits"},
        Refused{R"({"a":0x10})", "line 1, column 7: expected a comma or the end of the object"},
        Refused{R"({"a":1-2})", "line 1, column 7: expected a comma or the end of the object"},
        Refused{R"({"a":18446744073709551616})", "line 1, column 6: the number is out of range"},
        Refused{R"({"a":-9223372036854775809})", "line 1, column 6: the number is out of range"},
        Refused{R"({"a":)" + std::string(100'000, '9') + "}",
                "line 1, column 6: the number is out of range"},
        Refused{R"({"a":)" + std::string(100'000, '9') + ".5}",
                "line 1, column 6: the number is out of range"},
        Refused{R"({"a":1e999})", "line 1, column 6: the number is out of range"},
        Refused{R"({"a":-1e999})", "line 1, column 6: the number is out of range"},
        Refused{R"({"a":1e99999999999999999999})",
                "line 1, column 6: the number is out of range"}));

INSTANTIATE_TEST_SUITE_P(
    OfStrings, RefusedBody,
    testing::Values(
        Refused{R"({"a":"x)", "line 1, column 8: the string does not end"},
        Refused{"{\"a\":\"\\", "line 1, column 7: unknown escape sequence"},
        Refused{"{\"a\":\"\\\"", "line 1, column 9: the string does not end"},
        Refused{"{\"a\":\"\n\"}", "line 1, column 7: control character in a string"},
        Refused{"{\"a\":\"\x1F\"}", "line 1, column 7: control character in a string"},
        Refused{"{\"a\":\"\0\"}"s, "line 1, column 7: control character in a string"},
        Refused{"{\"\t\":1}", "line 1, column 3: control character in a string"},
        Refused{R"({"a":"\x"})", "line 1, column 7: unknown escape sequence"},
        Refused{R"({"a":"\U0041"})", "line 1, column 7: unknown escape sequence"},
        Refused{"{\"a\":\"\\\0\"}"s, "line 1, column 7: unknown escape sequence"},
        Refused{R"({"a":"\u00g0"})",
                "line 1, column 7: expected four hexadecimal digits after \\u"},
        Refused{R"({"a":"\u12"})", "line 1, column 7: expected four hexadecimal digits after \\u"},
        Refused{R"({"a":"\u1)", "line 1, column 7: expected four hexadecimal digits after \\u"},
        Refused{R"({"a":"\uD800"})",
                "line 1, column 13: expected the second half of a surrogate pair"},
        Refused{R"({"a":"\uD800\u0041"})",
                "line 1, column 13: expected the second half of a surrogate pair"},
        Refused{R"({"a":"\uD800\uD800"})",
                "line 1, column 13: expected the second half of a surrogate pair"},
        Refused{R"({"a":"\uDC00"})",
                "line 1, column 7: second half of a surrogate pair without the first"},
        Refused{"{\"a\":\"\xFF\"}", "line 1, column 7: not UTF-8"},
        Refused{"{\"a\":\"\xC3\"}", "line 1, column 7: not UTF-8"},
        Refused{"{\"\xED\xA0\x80\":1}", "line 1, column 3: not UTF-8"}));

INSTANTIATE_TEST_SUITE_P(
    OfWhatTheBusDoesNotCarry, RefusedBody,
    testing::Values(
        Refused{R"({"a":"30\u0000junk"})", "line 1, column 9: zero in a string"},
        Refused{R"({"\u0000":1})", "line 1, column 3: zero in a string"},
        Refused{R"({"a":"\uFFFF"})", "line 1, column 7: noncharacter in a string"},
        Refused{"{\"a\":\"\uFFFF\"}", "line 1, column 7: noncharacter in a string"},
        Refused{R"({"a":"\ufffe"})", "line 1, column 7: noncharacter in a string"},
        Refused{"{\"a\":\"\uFFFE\"}", "line 1, column 7: noncharacter in a string"},
        Refused{R"({"\uFDD0":1})", "line 1, column 3: noncharacter in a string"},
        Refused{"{\"\uFDD0\":1}", "line 1, column 3: noncharacter in a string"},
        Refused{R"({"a":"x\uDBFF\uDFFF"})", "line 1, column 8: noncharacter in a string"},
        Refused{"{\"a\":\"x\U0010FFFF\"}", "line 1, column 8: noncharacter in a string"}));

TEST(ReadingABody, TakesTheNeighboursOfNoncharactersEscapedAndRaw) {
  EXPECT_EQ(Parsed(R"({"a":"\u0001\uFDCF\uFDF0\uFFFD\uDBFF\uDFFD"})")["a"],
            "\x01\uFDCF\uFDF0\uFFFD\U0010FFFD");
  EXPECT_EQ(Parsed("{\"a\":\"\uFDCF\uFDF0\uFFFD\U0010FFFD\"}")["a"],
            "\uFDCF\uFDF0\uFFFD\U0010FFFD");
}

// What the library's own reader makes of a text; nothing when it refuses it.
std::optional<Json::Value> ReadByLibrary(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value body;
  const bool read = reader->parse(text.data(), text.data() + text.size(), &body, nullptr);
  return read ? std::optional(body) : std::nullopt;
}

TEST(ReadingABody, GivesWhatTheReaderOfTheLibraryGives) {
  for (const std::string text :
       {R"({})", R"({"a":{},"b":[],"c":[{},[]]})", R"({"a":"","":"a","\u0001":"\u0001"})",
        R"({"n":[0,-0,1,-1,2147483647,2147483648,4294967296,9223372036854775808]})",
        R"({"n":[-2147483648,-2147483649,-9223372036854775808,18446744073709551615]})",
        R"({"n":[0.0,-0.0,0.1,1e5,1E+5,1.25e-3,123456789012345678.5,1e-400,4.9e-324]})",
        R"({"n":[1.7976931348623157e308,2.2250738585072014e-308,0.30000000000000004]})",
        R"({"w":[true,false,null],"s":"\"\\\/\b\f\n\r\t\u0041\u00e4\u20ac\ud83d\ude00"})",
        "{\"\xC3\xA4\":\"\xE2\x82\xAC \xF0\x9F\x98\x80\",\"d\":\"\x7F\"}",
        " \t\r\n{ \"a\" : [ 1 , 2 ] , \"b\" : { \"c\" : null } } \n"}) {
    EXPECT_EQ(ReadByLibrary(text), Parsed(text)) << text;
  }
}

// A body that was right before its characters were exchanged, taken away and doubled.
std::string Damaged(std::string text, std::minstd_rand& random) {
  static constexpr char kCharacters[] = "{}[]\",:\\u0019-+.eE tfn/\x01\xC3\xA4";
  for (std::size_t changes = 1 + random() % 3; changes > 0; --changes) {
    const std::size_t at = random() % text.size();
    const char character = kCharacters[random() % (sizeof kCharacters - 1)];
    switch (random() % 3) {
      case 0:
        text[at] = character;
        break;
      case 1:
        text.erase(at, 1 + random() % 3);
        break;
      default:
        text.insert(at, 1, character);
    }
    if (text.empty()) {
      return "{";
    }
  }
  return text;
}

TEST(ReadingABody, AcceptsNothingThatTheReaderOfTheLibraryRefuses) {
  const std::string text =
      R"({"a":[1,-2.5e3,"x\n\u00e4\ud83d\ude00"],"b":{"c":null,"":true},"d":18446744073709551615})";
  std::minstd_rand random(1);
  int accepted = 0;
  for (int round = 0; round < 20'000; ++round) {
    const std::string damaged = Damaged(text, random);
    Json::Value body;
    std::string error;
    if (ParseBody(damaged, body, error)) {
      ++accepted;
      ASSERT_EQ(ReadByLibrary(damaged), body) << damaged;
      ASSERT_TRUE(ParseBody(WriteBody(body), body, error)) << damaged;
    }
  }
  EXPECT_GT(accepted, 500);
}

TEST(ReadingABody, GoesOnAfterAFault) {
  EXPECT_NE(Fault(R"({"a":[{"b":1)"), "");
  EXPECT_EQ(Parsed(R"({"a":1})")["a"], 1);
}

TEST(ReadingABody, RefusesWithinAMillisecondWhatIsTooLargeOrTooDeep) {
  for (const std::string& text : {R"({"a":")" + std::string(1 << 20, 'x') + "\"}", Nested(1000)}) {
    auto quickest = std::chrono::steady_clock::duration::max();
    for (int round = 0; round < 20; ++round) {
      Json::Value body;
      std::string error;
      const auto start = std::chrono::steady_clock::now();
      EXPECT_FALSE(ParseBody(text, body, error));
      quickest = std::min(quickest, std::chrono::steady_clock::now() - start);
    }
    EXPECT_LT(quickest, std::chrono::milliseconds(1));
  }
}

TEST(ReadingABody, IsPossibleOnEveryThread) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number] {
      for (int round = 0; round < 200; ++round) {
        const std::string text = R"({"n":)" + std::to_string(number) + "}";
        EXPECT_EQ(WriteBody(Parsed(text)), text);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(WritingABody, IsCompactAndOrderedByName) {
  Json::Value body;
  body["b"] = Json::arrayValue;
  body["b"].append(1);
  body["b"].append("x");
  body["b"].append(Json::objectValue);
  body["a"] = true;
  body["c"]["d"] = Json::nullValue;
  EXPECT_EQ(WriteBody(body), R"({"a":true,"b":[1,"x",{}],"c":{"d":null}})");
  EXPECT_EQ(WriteBody(Json::objectValue), "{}");
}

TEST(WritingABody, IsOnOneLineHoweverLongItIs) {
  Json::Value body;
  for (int index = 0; index < 1000; ++index) {
    body["list"].append("a text that is not short");
  }
  EXPECT_EQ(WriteBody(body).find('\n'), std::string::npos);
}

TEST(WritingABody, LeavesUtf8AsItIs) {
  Json::Value body;
  body["\xC3\xA4"] = "\xE2\x82\xAC \xF0\x9F\x98\x80";
  EXPECT_EQ(WriteBody(body), "{\"\xC3\xA4\":\"\xE2\x82\xAC \xF0\x9F\x98\x80\"}");
}

TEST(WritingABody, EscapesWhatMayNotStandInAString) {
  Json::Value body;
  body["a"] = "\"\\\n\x01";
  EXPECT_EQ(WriteBody(body), R"({"a":"\"\\\n\u0001"})");
}

TEST(WritingABody, ReplacesWhatIsNotUtf8) {
  Json::Value body;
  body["a"] = "x\xFFy";
  EXPECT_EQ(WriteBody(body), "{\"a\":\"x\xEF\xBF\xBDy\"}");
}

TEST(WritingABody, CanBeReadAgainWhateverItsStringsAre) {
  Json::Value body;
  body["k\0"s] = "30\0junk"s;
  body["noncharacters"] = "\uFFFF \uFDD0 \U0010FFFF";
  body["bytes"] = "\xFF\xC3";
  const Json::Value read = Parsed(WriteBody(body));
  EXPECT_EQ(read["k\uFFFD"], "30\uFFFDjunk");
  EXPECT_EQ(read["bytes"], "\uFFFD\uFFFD");
  EXPECT_EQ(read.size(), 3u);
}

TEST(WritingABody, CanBeReadAgainHoweverLargeOrSmallItsRealsAre) {
  constexpr double kLargest = std::numeric_limits<double>::max();
  for (const double real : {kLargest, -kLargest, std::nextafter(kLargest, 0.0)}) {
    Json::Value body;
    body["r"] = real;
    EXPECT_EQ(Parsed(WriteBody(body))["r"].asDouble(), real);
  }
  // Where 15 digits begin to be rounded up to infinity, and the ends of the other side.
  for (const double real :
       {1.797693134862315e308, 1.7976931348623149e308, 1.79769313486231e308,
        std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min()}) {
    Json::Value body;
    body["r"] = real;
    const double read = Parsed(WriteBody(body))["r"].asDouble();
    EXPECT_LE(std::abs(read - real), std::max(real * 1e-14, 0.0)) << WriteBody(body);
  }
}

TEST(WritingABody, WritesRealsWithUpTo15DigitsAndAlwaysAsReals) {
  const auto real = [](double value) {
    Json::Value body;
    body["r"] = value;
    const std::string text = WriteBody(body);
    return text.substr(5, text.size() - 6);
  };
  EXPECT_EQ(real(0.1), "0.1");
  EXPECT_EQ(real(100.0), "100.0");
  EXPECT_EQ(real(-0.5), "-0.5");
  EXPECT_EQ(real(1.0 / 3), "0.333333333333333");
  EXPECT_EQ(real(123456789012345.0), "123456789012345.0");
  EXPECT_EQ(real(1e20), "1e+20");
  EXPECT_EQ(real(0.0), "0.0");
}

TEST(WritingABody, WritesNullForANumberThatIsNotFinite) {
  Json::Value body;
  body["a"] = std::numeric_limits<double>::infinity();
  body["b"] = -std::numeric_limits<double>::infinity();
  body["c"] = std::nan("");
  EXPECT_EQ(WriteBody(body), R"({"a":null,"b":null,"c":null})");
}

TEST(WritingABody, WritesWhatTheWriterOfTheLibraryWrites) {
  Json::Value body;
  std::string all;
  for (int byte = 1; byte < 128; ++byte) {
    all += static_cast<char>(byte);
  }
  body["text"] = all + "\xC3\xA4";
  body[all] = Json::arrayValue;
  body[""] = "";
  for (const double real : {0.0, -0.0, 1e-7, 1e15, 1e16, 1e17, -2.5, 123456789.125, 5e-324}) {
    body["reals"].append(real);
  }
  body["integers"].append(std::numeric_limits<std::int64_t>::min());
  body["integers"].append(std::numeric_limits<std::uint64_t>::max());
  body["integers"].append(-1);
  body["others"].append(Json::nullValue);
  body["others"].append(Json::objectValue);
  body["others"].append(false);
  body["others"][3]["deep"]["deeper"] = true;

  Json::StreamWriterBuilder builder;
  builder["commentStyle"] = "None";
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  builder["precision"] = 15;
  EXPECT_EQ(WriteBody(body), Json::writeString(builder, body));
}

TEST(WritingABody, GivesWhatReadingTookApart) {
  const std::string text = R"({"a":[1,2.5,"x"],"b":{"c":null},"d":18446744073709551615})";
  EXPECT_EQ(WriteBody(Parsed(text)), text);
}

TEST(AMessage, StartsAsAnEmptyObject) {
  const Nuvra::TCMessage message;
  EXPECT_EQ(message.body, Json::Value(Json::objectValue));
  EXPECT_EQ(message.type, 0);
  EXPECT_EQ(message.GetMessage(), "{}");
}

TEST(AMessage, TellsItsBodyAsTextOnOneLine) {
  Nuvra::TCMessage message;
  message.body["text"] = "\xC3\xA4\n";
  EXPECT_EQ(message.GetMessage(), "{\"text\":\"\xC3\xA4\\n\"}");
}

TEST(AMessage, SharesNothingWithItsCopy) {
  Nuvra::TCMessage message;
  message.body["a"] = 1;
  Nuvra::TCMessage copy = message;
  copy.body["a"] = 2;
  EXPECT_EQ(message.body["a"], 1);
}

}  // namespace
