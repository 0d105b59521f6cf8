#include "system/log_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "dlog.h"
#include "support/temp_directory.h"

namespace host {
namespace {

using std::string_view_literals::operator""sv;

std::string FormatText(std::string_view text) {
  std::string line;
  LogFormatter(1).Append(line, {{}, DLOG_INFO, "tag", text});
  const std::string prefix = "1970-01-01T00:00:00.000000Z I tag(1): ";
  EXPECT_EQ(line.substr(0, prefix.size()), prefix);
  EXPECT_EQ(line.back(), '\n');
  return line.substr(prefix.size(), line.size() - prefix.size() - 1);
}

TEST(LogFormatter, WritesTimePriorityTagProcessAndText) {
  std::string lines;
  LogFormatter formatter(4711);
  formatter.Append(lines, {{1795212191, 123456789}, DLOG_ERROR, "settings-service", "text"});
  formatter.Append(lines, {{1795212191, 7999}, DLOG_WARN, "settings-service", ""});
  formatter.Append(lines, {{1795212192, 0}, DLOG_INFO, "other", "next second"});
  formatter.Append(lines, {{1795212191, 999999999}, DLOG_DEBUG, "other", "second before"});
  EXPECT_EQ(lines,
            "2026-11-20T22:03:11.123456Z E settings-service(4711): text\n"
            "2026-11-20T22:03:11.000007Z W settings-service(4711): \n"
            "2026-11-20T22:03:12.000000Z I other(4711): next second\n"
            "2026-11-20T22:03:11.999999Z D other(4711): second before\n");
}

TEST(LogFormatter, WritesControlCharactersOut) {
  EXPECT_EQ(FormatText("a\nb\r\tc"), "a\\nb\\r\\tc");
  EXPECT_EQ(FormatText("\x1b[2J\x07\x7f\0end"sv), "\\x1b[2J\\x07\\x7f\\x00end");
  EXPECT_EQ(FormatText("\xc2\x80 \xc2\x9b"), "\\xc2\\x80 \\xc2\\x9b");
}

TEST(LogFormatter, KeepsPrintableTextAsItIs) {
  EXPECT_EQ(FormatText("{\"a\\n\": \"~ \"}"), "{\"a\\n\": \"~ \"}");
  EXPECT_EQ(FormatText("\xc2\xa0 Ton: \xc3\xa4, \xed\x95\x9c, \xf0\x9f\x93\xba \xf4\x8f\xbf\xbd"),
            "\xc2\xa0 Ton: \xc3\xa4, \xed\x95\x9c, \xf0\x9f\x93\xba \xf4\x8f\xbf\xbd");
}

TEST(LogFormatter, ShowsWhatHidesOrTurnsText) {
  EXPECT_EQ(FormatText("app \u202Egnp.exe\u2028x\uFFFF"), "app \\u202egnp.exe\\u2028x\\uffff");
  EXPECT_EQ(ToJournalEntry({{}, DLOG_INFO, "t", "a\u202Eb"}).message, "MESSAGE=a\\u202eb");
}

TEST(LogFormatter, WritesBytesThatAreNotUtf8Out) {
  EXPECT_EQ(FormatText("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(FormatText("\x80x"), "\\x80x");
  EXPECT_EQ(FormatText("cut \xe2\x82"), "cut \\xe2\\x82");
  EXPECT_EQ(FormatText("\xe2\x82x"), "\\xe2\\x82x");
  EXPECT_EQ(FormatText("\xc0\xaf"), "\\xc0\\xaf");
  EXPECT_EQ(FormatText("\xe0\x9f\xbf"), "\\xe0\\x9f\\xbf");
  EXPECT_EQ(FormatText("\xf0\x8f\xbf\xbf"), "\\xf0\\x8f\\xbf\\xbf");
  EXPECT_EQ(FormatText("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(FormatText("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
  EXPECT_EQ(FormatText("\xf8\x88\x80\x80\x80"), "\\xf8\\x88\\x80\\x80\\x80");
}

TEST(LogFormatter, WritesControlCharactersOfTheTagOut) {
  std::string line;
  LogFormatter(1).Append(line, {{}, DLOG_INFO, "a\nb", ""});
  EXPECT_EQ(line, "1970-01-01T00:00:00.000000Z I a\\nb(1): \n");
}

TEST(JournalEntry, CarriesPriorityIdentifierAndMessage) {
  const auto priority = [](int value) { return ToJournalEntry({{}, value, "", ""}).priority; };
  EXPECT_EQ(priority(DLOG_DEBUG), "PRIORITY=7");
  EXPECT_EQ(priority(DLOG_INFO), "PRIORITY=6");
  EXPECT_EQ(priority(DLOG_WARN), "PRIORITY=4");
  EXPECT_EQ(priority(DLOG_ERROR), "PRIORITY=3");

  const JournalEntry entry = ToJournalEntry({{}, DLOG_INFO, "settings-service", "a\nPRIORITY=0"});
  EXPECT_EQ(entry.identifier, "SYSLOG_IDENTIFIER=settings-service");
  EXPECT_EQ(entry.message, "MESSAGE=a\\nPRIORITY=0");
}

TEST(IsJournalStream, IsTrueOnlyForTheStreamThatIsNamed) {
  const support::TempDirectory directory;
  std::FILE* file = std::fopen((directory.Path() / "stream").c_str(), "w");
  ASSERT_NE(file, nullptr);
  struct stat status = {};
  ASSERT_EQ(fstat(fileno(file), &status), 0);
  const std::string device = std::to_string(status.st_dev);
  const std::string inode = std::to_string(status.st_ino);

  EXPECT_TRUE(IsJournalStream(fileno(file), (device + ":" + inode).c_str()));
  EXPECT_FALSE(IsJournalStream(fileno(file), nullptr));
  EXPECT_FALSE(IsJournalStream(fileno(file), ""));
  EXPECT_FALSE(IsJournalStream(fileno(file), device.c_str()));
  EXPECT_FALSE(IsJournalStream(fileno(file), (device + ":" + inode + "x").c_str()));
  EXPECT_FALSE(IsJournalStream(fileno(file), (device + ":" + inode + "1").c_str()));
  EXPECT_FALSE(IsJournalStream(fileno(file), ("1" + device + ":" + inode).c_str()));
  EXPECT_FALSE(IsJournalStream(-1, (device + ":" + inode).c_str()));
  std::fclose(file);
}

}  // namespace
}  // namespace host
