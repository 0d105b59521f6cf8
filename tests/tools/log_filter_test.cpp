#include "setctl/log_filter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace {

using setctl::LogFilter;
using setctl::LogLineJson;
using setctl::ParseLogLine;
using setctl::ParseSince;
using std::chrono::system_clock;

const std::string kLine =
    "2026-11-20T22:03:11.123456Z E settings-service(4711): Service: Get(61) > [Get:61] 0 (x): y";

TEST(LogLine, HasFields) {
  const auto line = ParseLogLine(kLine);
  ASSERT_TRUE(line);
  EXPECT_EQ(line->time, "2026-11-20T22:03:11.123456Z");
  EXPECT_EQ(line->level, "error");
  EXPECT_EQ(line->tag, "settings-service");
  EXPECT_EQ(line->pid, 4711);
  EXPECT_EQ(line->message, "Service: Get(61) > [Get:61] 0 (x): y");
  EXPECT_EQ(ParseLogLine("2026-11-20T22:03:11.123456Z W log(1): ")->message, "");
}

TEST(LogLine, OfAnotherFormHasNone) {
  for (const char* line :
       {"", "free(): invalid pointer", "2026-11-20T22:03:11.123456Z",
        "2026-11-20T22:03:11.123456Z E", "2026-11-20T22:03:11.123456Z E ",
        "2026-11-20T22:03:11.123456Z X tag(1): text", "2026-11-20T22:03:11.123456Z E tag(x): text",
        "2026-11-20T22:03:11.123456Z E tag(1) text",
        "2026-11-20 22:03:11.123456Z E tag(1): text"}) {
    EXPECT_FALSE(ParseLogLine(line)) << line;
  }
}

TEST(LogLine, IsPrintedAsJson) {
  EXPECT_EQ(LogLineJson(kLine),
            R"({"time":"2026-11-20T22:03:11.123456Z","level":"error","tag":"settings-service",)"
            R"("pid":4711,"message":"Service: Get(61) > [Get:61] 0 (x): y"})");
  EXPECT_EQ(LogLineJson("a \"b\""),
            R"({"time":null,"level":null,"tag":null,"pid":null,"message":"a \"b\""})");
}

// In a zone two hours east of UTC, where it is 00:30 on 21 November.
class Since : public testing::Test {
 protected:
  Since() {
    setenv("TZ", "EAST-2", 1);
    tzset();
  }
  ~Since() override {
    unsetenv("TZ");
    tzset();
  }

  static constexpr std::time_t kNow = 1795213800;  // 2026-11-20T22:30:00Z

  // Seconds before now; nothing when it is no time.
  static std::optional<double> Before(const std::string& text) {
    const auto now = system_clock::from_time_t(kNow);
    const auto time = ParseSince(text, now);
    return time ? std::optional(std::chrono::duration<double>(now - *time).count()) : std::nullopt;
  }
};

TEST_F(Since, IsATimeThatHasPassed) {
  EXPECT_EQ(Before("90s"), 90);
  EXPECT_EQ(Before("10m"), 600);
  EXPECT_EQ(Before("2h"), 7200);
  EXPECT_EQ(Before("1d"), 86400);
  EXPECT_EQ(Before("0s"), 0);
}

TEST_F(Since, IsATimeAsALogHasItOrItsBeginningInLocalTime) {
  EXPECT_EQ(Before("2026-11-20T22:29:59.500000Z"), 0.5);
  EXPECT_EQ(Before("2026-11-20T22:29Z"), 60);
  EXPECT_EQ(Before("2026-11-21T00:29:30"), 30);
  EXPECT_EQ(Before("2026-11-21 00:29:30.25"), 29.75);
  EXPECT_EQ(Before("2026-11-21T00:29"), 60);
  EXPECT_EQ(Before("2026-11-21"), 1800);
  EXPECT_EQ(Before("00:15"), 900);
  EXPECT_EQ(Before("00:29:59"), 1);
  EXPECT_EQ(Before("22:29Z"), 60);
}

TEST_F(Since, IsNothingElse) {
  for (const char* text : {"",
                           "s",
                           "10",
                           "10x",
                           "-5m",
                           "1.5h",
                           "99999999999d",
                           "9223372036854775807d",
                           "Z",
                           "yesterday",
                           "2026",
                           "2026-11",
                           "2026-02-30",
                           "2026-13-01",
                           "2026-11-20T",
                           "2026-11-20T22",
                           "2026-11-20T24:00",
                           "2026-11-20T22:60",
                           "2026-11-20T22:29:60",
                           "2026-11-20T22:29:59.",
                           "2026-11-20T22:29:59.1234567",
                           "9999-01-01",
                           "0000-01-01",
                           "24:00",
                           "1:00",
                           "12:00x"}) {
    EXPECT_EQ(Before(text), std::nullopt) << text;
  }
}

std::string Line(const std::string& time, char level, const std::string& message) {
  return "2026-11-20T" + time + ".000000Z " + level + " tag(1): " + message;
}

TEST(LogFilter, ChoosesALevelAndThoseAbove) {
  LogFilter filter("warning", std::nullopt, std::nullopt);
  EXPECT_FALSE(filter.Passes(Line("22:00:00", 'D', "x")));
  EXPECT_FALSE(filter.Passes(Line("22:00:00", 'I', "x")));
  EXPECT_TRUE(filter.Passes(Line("22:00:00", 'W', "x")));
  EXPECT_TRUE(filter.Passes(Line("22:00:00", 'E', "x")));
  EXPECT_TRUE(filter.Passes("free(): invalid pointer"));
}

TEST(LogFilter, ChoosesByAPatternInAnyLine) {
  LogFilter filter(std::nullopt, "brightness|\\[3[0-9]\\]$", std::nullopt);
  EXPECT_TRUE(filter.Passes(Line("22:00:00", 'I', "of brightness")));
  EXPECT_TRUE(filter.Passes(Line("22:00:00", 'I', "[35]")));
  EXPECT_TRUE(filter.Passes(std::string("a\0brightness", 12)));
  EXPECT_FALSE(filter.Passes(Line("22:00:00", 'I', "[35] x")));
}

TEST(LogFilter, ChoosesSinceATimeAndWhatFollowsIt) {
  LogFilter filter(std::nullopt, std::nullopt, "2026-11-20T22:00:01Z");
  EXPECT_FALSE(filter.Passes("before any"));
  EXPECT_FALSE(filter.Passes(Line("22:00:00", 'I', "x")));
  EXPECT_FALSE(filter.Passes("of another form"));
  EXPECT_TRUE(filter.Passes(Line("22:00:01", 'I', "x")));
  EXPECT_TRUE(filter.Passes("of another form"));
}

TEST(LogFilter, ChoosesAllThatPassEachOfThem) {
  EXPECT_FALSE(LogFilter(std::nullopt, std::nullopt, std::nullopt).IsActive());
  LogFilter filter("error", "x", "2026-11-20T22:00:01Z");
  EXPECT_TRUE(filter.IsActive());
  EXPECT_TRUE(filter.Passes(Line("22:00:01", 'E', "x")));
  EXPECT_FALSE(filter.Passes(Line("22:00:01", 'E', "y")));
  EXPECT_FALSE(filter.Passes(Line("22:00:01", 'I', "x")));
  EXPECT_FALSE(filter.Passes(Line("22:00:00", 'E', "x")));
}

}  // namespace
