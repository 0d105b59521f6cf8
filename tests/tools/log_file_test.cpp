#include "setctl/log_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <fstream>
#include <system_error>
#include <vector>

#include "support/temp_directory.h"

namespace {

using setctl::DirectoryWatch;
using setctl::LogFile;
using testing::ElementsAre;

class LogFileTest : public testing::Test {
 protected:
  void Append(const std::string& text) { std::ofstream(m_File, std::ios::app) << text; }

  static std::vector<std::string> NewLines(LogFile& log) {
    std::vector<std::string> lines;
    log.Read([&](const std::string& line) { lines.push_back(line); });
    return lines;
  }

  static std::vector<std::string> Rest(LogFile& log) {
    std::vector<std::string> lines;
    log.ReadRest([&](const std::string& line) { lines.push_back(line); });
    return lines;
  }

  support::TempDirectory m_Directory;
  const std::filesystem::path m_File = m_Directory / "log";
};

TEST_F(LogFileTest, AllLinesAreReadAndThenTheNewOnes) {
  Append("one\n\ntwo\n");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one", "", "two"));
  EXPECT_THAT(NewLines(log), ElementsAre());
  Append("three\n");
  EXPECT_THAT(NewLines(log), ElementsAre("three"));
}

TEST_F(LogFileTest, ALineIsReadWhenItIsComplete) {
  Append("one\ntw");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one"));
  Append("o\n");
  EXPECT_THAT(NewLines(log), ElementsAre("two"));
}

TEST_F(LogFileTest, WhatStandsBehindTheLastLineEndIsTheRest) {
  Append("one\ntwo");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one"));
  EXPECT_THAT(Rest(log), ElementsAre("two"));
  EXPECT_THAT(Rest(log), ElementsAre());
}

TEST_F(LogFileTest, TheLastLinesAreFound) {
  Append("one\ntwo\nthree\n");
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 1)), ElementsAre("three"));
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 2)), ElementsAre("two", "three"));
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 3)), ElementsAre("one", "two", "three"));
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 9)), ElementsAre("one", "two", "three"));
}

TEST_F(LogFileTest, ALineThatIsNotCompleteCountsAsOneOfTheLast) {
  Append("one\ntwo\nthr");
  LogFile log(m_File, 2);
  EXPECT_THAT(NewLines(log), ElementsAre("two"));
  EXPECT_THAT(Rest(log), ElementsAre("thr"));
}

TEST_F(LogFileTest, AnEmptyFileHasNoLastLine) {
  Append("");
  LogFile log(m_File, 1);
  EXPECT_THAT(NewLines(log), ElementsAre());
}

TEST_F(LogFileTest, TheLastLinesOfALongFileAreFoundFarFromItsEnd) {
  const std::string longLine(100'000, 'x');
  Append("first\n");
  for (int i = 0; i < 5; ++i) {
    Append(longLine + "\n");
  }
  LogFile log(m_File, 5);
  EXPECT_THAT(NewLines(log), testing::ElementsAreArray(std::vector<std::string>(5, longLine)));
  LogFile all(m_File, 6);
  EXPECT_EQ(NewLines(all).front(), "first");
}

TEST_F(LogFileTest, AfterATruncationAllIsNew) {
  Append("one\ntwo\n");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one", "two"));
  std::ofstream(m_File, std::ios::trunc) << "new\n";
  EXPECT_THAT(NewLines(log), ElementsAre("new"));
}

TEST_F(LogFileTest, ANewFileOfTheSameNameIsReadAfterTheRestOfTheOld) {
  Append("one\n");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one"));
  Append("two\nincomplete");
  std::filesystem::rename(m_File, m_Directory / "log.1");
  Append("three\n");
  EXPECT_THAT(NewLines(log), ElementsAre("two", "incomplete", "three"));
  Append("four\n");
  EXPECT_THAT(NewLines(log), ElementsAre("four"));
}

TEST_F(LogFileTest, WithoutANewFileTheOldOneIsStillRead) {
  Append("one\n");
  LogFile log(m_File, std::nullopt);
  const std::filesystem::path renamed = m_Directory / "log.1";
  std::filesystem::rename(m_File, renamed);
  std::ofstream(renamed, std::ios::app) << "two\n";
  EXPECT_THAT(NewLines(log), ElementsAre("one", "two"));
}

TEST_F(LogFileTest, TheOlderFileIsReadFirst) {
  std::ofstream(m_Directory / "log.1") << "one\ntwo\n";
  Append("three\nfour\n");
  LogFile log(m_File, std::nullopt);
  EXPECT_THAT(NewLines(log), ElementsAre("one", "two", "three", "four"));
  Append("five\n");
  EXPECT_THAT(NewLines(log), ElementsAre("five"));
}

TEST_F(LogFileTest, TheLastLinesMayBeginInTheOlderFile) {
  std::ofstream(m_Directory / "log.1") << "one\ntwo\n";
  Append("three\nfour\n");
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 2)), ElementsAre("three", "four"));
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 3)), ElementsAre("two", "three", "four"));
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 9)),
              ElementsAre("one", "two", "three", "four"));
  std::ofstream(m_File, std::ios::trunc).close();
  EXPECT_THAT(NewLines(*std::make_unique<LogFile>(m_File, 1)), ElementsAre("two"));
}

TEST_F(LogFileTest, AFileThatIsRenamedBeforeItsTurnIsReadAllTheSame) {
  std::ofstream(m_Directory / "log.1") << "one\n";
  Append("two\n");
  LogFile log(m_File, std::nullopt);
  std::filesystem::rename(m_File, m_Directory / "log.1");
  Append("three\n");
  EXPECT_THAT(NewLines(log), ElementsAre("one", "two", "three"));
}

TEST_F(LogFileTest, AMissingFileIsNamed) {
  try {
    LogFile log(m_File, std::nullopt);
    FAIL() << "there is none";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    EXPECT_THAT(error.what(), testing::HasSubstr(m_File.native()));
  }
}

bool Readable(int fd) {
  pollfd state{fd, POLLIN, 0};
  return poll(&state, 1, 0) == 1;
}

TEST_F(LogFileTest, ADirectoryWatchTellsOfWritesAndOfNewNames) {
  DirectoryWatch watch(m_Directory.Path());
  EXPECT_FALSE(Readable(watch.Fd()));
  Append("one\n");
  EXPECT_TRUE(Readable(watch.Fd()));
  watch.Clear();
  EXPECT_FALSE(Readable(watch.Fd()));
  Append("two\n");
  EXPECT_TRUE(Readable(watch.Fd()));
  watch.Clear();
  std::ofstream(m_File, std::ios::trunc);
  EXPECT_TRUE(Readable(watch.Fd())) << "a truncation";
  watch.Clear();
  std::filesystem::rename(m_File, m_Directory / "other");
  EXPECT_TRUE(Readable(watch.Fd()));
}

TEST_F(LogFileTest, ADirectoryThatIsMissingIsNamed) {
  EXPECT_THROW(DirectoryWatch watch(m_Directory / "none"), std::system_error);
}

}  // namespace
