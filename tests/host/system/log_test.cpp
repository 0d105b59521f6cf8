#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "probe.h"
#include "support/process.h"
#include "support/temp_directory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

support::Outcome RunProbe(const std::vector<std::string>& commands,
                          const support::Variables& variables = {}) {
  return support::RunCommand(ProbeCommand(LOG_PROBE, commands, variables));
}

// "E text" for every line of a log.
std::vector<std::string> PrioritiesAndTexts(const std::string& log) {
  std::vector<std::string> texts;
  for (const std::string& line : Lines(log)) {
    char priority[2] = "?";
    int end = -1;
    std::sscanf(line.c_str(),
                "%*4[0-9]-%*2[0-9]-%*2[0-9]T%*2[0-9]:%*2[0-9]:%*2[0-9].%*6[0-9]Z "
                "%1[DIWE] %*[a-z_](%*[0-9]):%n",
                priority, &end);
    texts.push_back(end > 0 && line[end] == ' ' ? priority + line.substr(static_cast<size_t>(end))
                                                : "malformed: " + line);
  }
  return texts;
}

// What Fill of the probe reported.
struct FillReport {
  int taken = -1;
  int refused = -1;
};
FillReport ParseFillReport(const std::string& line) {
  FillReport report;
  EXPECT_EQ(std::sscanf(line.c_str(), "taken %d refused %d", &report.taken, &report.refused), 2)
      << line;
  return report;
}

class LogTest : public testing::Test {
 protected:
  std::filesystem::path File() const { return m_Directory.Path() / "log"; }
  std::filesystem::path Older() const { return m_Directory.Path() / "log.1"; }

  // All that is in the directory.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_Directory.Path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void RunWithStandardErrorInFile(const std::vector<std::string>& commands) const {
    support::Process process(ProbeCommand(LOG_PROBE, commands, {}), {},
                             support::Files{"/dev/null", "/dev/null", File()});
    EXPECT_EQ(process.Wait(), 0);
  }

  support::TempDirectory m_Directory;
};

TEST_F(LogTest, LinesGoToTheFileWithTheirPriorities) {
  const support::Outcome result =
      RunProbe({"open", File(), "print", "3", "a", "print", "4", "b", "print", "5", "c", "print",
                "6", "d", "flush", "30000"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())),
              ElementsAre("D a", "I b", "W c", "E d"));
}

TEST_F(LogTest, ALineCarriesTheTimeInUtcAndTheProcess) {
  const auto secondsSince1970 = [] {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  };
  const time_t before = secondsSince1970();
  const support::Outcome result = RunProbe({"open", File(), "print", "4", "x"}, {{"TZ", "TEST-9"}});
  const time_t after = secondsSince1970();
  ASSERT_EQ(result.status, 0);

  std::tm utc = {};
  const std::string line = support::ReadFile(File());
  const char* const rest = strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
  ASSERT_NE(rest, nullptr) << line;
  EXPECT_GE(timegm(&utc), before);
  EXPECT_LE(timegm(&utc), after);
  EXPECT_THAT(rest, testing::MatchesRegex("\\.[0-9]{6}Z I probe\\([1-9][0-9]*\\): x\n"));
}

TEST_F(LogTest, LineEndsAtTheEndOfALineAreDropped) {
  RunProbe({"open", File(), "print", "4", "two\n", "print", "4", "\n", "print", "4", "last "});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I two", "I ", "I last "));
}

TEST_F(LogTest, NobodyCanForgeALine) {
  RunProbe({"open", File(), "print", "4", "x\n2026-11-20T22:03:11.123456Z E probe(1): forged"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())),
              ElementsAre("I x\\n2026-11-20T22:03:11.123456Z E probe(1): forged"));
}

TEST_F(LogTest, ANullTextIsPrintedAsSuch) {
  RunProbe({"open", File(), "null-text"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I text: (null)"));
}

TEST_F(LogTest, PrintingReturnsTheNumberOfCharacters) {
  EXPECT_EQ(RunProbe({"open", File(), "print", "4", "12345"}).out, "printed 6\n");
}

TEST_F(LogTest, CallsThatBreakTheContractAreNotTaken) {
  const support::Outcome result = RunProbe({"open", File(), "bad-calls"});
  EXPECT_EQ(result.out, "other buffer -1\nno tag -1\nno format -1\n");
  EXPECT_EQ(support::ReadFile(File()), "");
}

TEST_F(LogTest, PrintingUsesAndKeepsErrno) {
  const support::Outcome result = RunProbe({"open", File(), "errno"});
  EXPECT_EQ(result.out, "errno is still the same: yes\n");
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I Not a directory"));
}

TEST_F(LogTest, ALineThatCannotBeFormattedIsNotTaken) {
  const support::Outcome result = RunProbe({"open", File(), "bad-text"});
  EXPECT_EQ(result.out, "errno is still the same: yes\nbad text -1\n");
  EXPECT_EQ(support::ReadFile(File()), "");
}

TEST_F(LogTest, LongLinesStayWhole) {
  for (const size_t size : {4095, 4096, 4097, 262144}) {
    const support::TempDirectory directory;
    const std::filesystem::path file = directory.Path() / "log";
    const support::Outcome result = RunProbe({"open", file, "fill", "2", std::to_string(size)});
    EXPECT_EQ(result.out, "taken 2 refused 0\n");
    const auto texts = PrioritiesAndTexts(support::ReadFile(file));
    EXPECT_THAT(texts, ElementsAre("I line 0 " + std::string(size - 7, 'x'),
                                   "I line 1 " + std::string(size - 7, 'x')));
  }
}

TEST_F(LogTest, AnExistingFileIsAppendedTo) {
  std::ofstream(File()) << "before\n";
  RunProbe({"open", File(), "print", "4", "x"});
  const auto lines = Lines(support::ReadFile(File()));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "before");
}

TEST_F(LogTest, ANewFileIsReadableForAllAndNotInherited) {
  const mode_t before = umask(0);
  const support::Outcome result = RunProbe({"open", File(), "keeps-open", File()});
  umask(before);
  EXPECT_EQ(result.out, "inherited no\n");
  struct stat status = {};
  ASSERT_EQ(stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
}

TEST_F(LogTest, AFileThatCannotBeOpenedIsNamed) {
  const std::string file = m_Directory.Path() / "missing/log";
  const support::Outcome result = RunProbe({"print", "4", "kept", "open", file});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("open failed: cannot open the log file " + file +
                                    ": No such file or directory\n"));
  EXPECT_THAT(PrioritiesAndTexts(result.err), ElementsAre("I kept"));
}

TEST_F(LogTest, OpensOnce) {
  const support::Outcome result = RunProbe({"open", "", "open", File(), "print", "4", "x"});
  EXPECT_THAT(result.out, HasSubstr("open failed: the log is open already\n"));
  EXPECT_THAT(PrioritiesAndTexts(result.err), ElementsAre("I x"));
  EXPECT_FALSE(std::filesystem::exists(File()));
}

TEST_F(LogTest, WithoutAFileLinesGoToStandardError) {
  const support::Outcome result = RunProbe({"open", "", "print", "6", "x"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(PrioritiesAndTexts(result.err), ElementsAre("E x"));
}

TEST_F(LogTest, LinesFromBeforeOpeningComeFirst) {
  RunProbe({"print", "4", "early", "print", "4", "too", "open", File(), "print", "4", "late"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())),
              ElementsAre("I early", "I too", "I late"));
}

TEST_F(LogTest, ALogThatIsNeverOpenedGoesToStandardErrorAtTheEnd) {
  const support::Outcome result = RunProbe({"print", "4", "x", "print", "4", "y"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(PrioritiesAndTexts(result.err), ElementsAre("I x", "I y"));
}

TEST_F(LogTest, DiscardedLinesAreForgotten) {
  const support::Outcome result = RunProbe({"print", "4", "x", "fill", "100000", "100", "discard"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(LogTest, DiscardedLinesLeaveTheirRoomToOthers) {
  const support::Outcome result = RunProbe(
      {"fill", "100000", "100", "discard", "fill", "2", "1", "open", File(), "flush", "30000"});
  EXPECT_THAT(result.out, HasSubstr("taken 2 refused 0\nflushed yes\n"));
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I line 0 ", "I line 1 "));
}

TEST_F(LogTest, FlushSaysThatAnUnopenedLogIsNotWritten) {
  EXPECT_THAT(RunProbe({"flush", "0", "print", "4", "x", "flush", "10"}).out,
              "flushed yes\nprinted 2\nflushed no\n");
}

TEST_F(LogTest, LinesPrintedByDestructorsOfStaticObjectsAreWritten) {
  RunProbe({"at-exit", "goodbye", "open", File(), "print", "4", "x"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I x", "I goodbye"));
}

TEST_F(LogTest, LinesInFrontOfAnUncaughtExceptionAreWritten) {
  const support::Outcome result = RunProbe({"open", File(), "hold", "print", "6", "x", "throw"});
  EXPECT_EQ(result.status, 128 + SIGABRT);
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("E x"));
  EXPECT_THAT(result.err, HasSubstr("what():  why"));
}

TEST_F(LogTest, LinesInFrontOfAnUncaughtExceptionAreWrittenWithoutAnOpenLog) {
  const support::Outcome result = RunProbe({"print", "6", "x", "throw"});
  EXPECT_EQ(result.status, 128 + SIGABRT);
  EXPECT_THAT(PrioritiesAndTexts(result.err), testing::Contains("E x"));
  EXPECT_THAT(result.err, HasSubstr("what():  why"));
}

TEST_F(LogTest, EveryThreadsLinesStayInOrder) {
  constexpr int kThreads = 8;
  constexpr int kLines = 3000;
  const support::Outcome result =
      RunProbe({"open", File(), "threads", std::to_string(kThreads), std::to_string(kLines)});
  ASSERT_EQ(result.status, 0) << result.err;
  std::vector<int> next(kThreads, 0);
  for (const std::string& text : PrioritiesAndTexts(support::ReadFile(File()))) {
    int thread = -1;
    int line = -1;
    ASSERT_EQ(std::sscanf(text.c_str(), "I thread %d line %d", &thread, &line), 2) << text;
    ASSERT_EQ(line, next.at(static_cast<size_t>(thread))++);
  }
  EXPECT_THAT(next, testing::Each(kLines));
}

TEST_F(LogTest, AFullQueueLosesLinesAndSaysHowManyAndWhere) {
  const support::Outcome result =
      RunProbe({"fill", "100000", "100", "open", File(), "flush", "30000", "print", "4", "after"});
  ASSERT_EQ(result.status, 0);
  const FillReport fill = ParseFillReport(Lines(result.out).at(0));
  EXPECT_GT(fill.refused, 0);
  // The limit, less what each line costs beside its text.
  EXPECT_LT(fill.taken * 100, 8 * 1024 * 1024);
  EXPECT_GT(fill.taken * 100, 4 * 1024 * 1024);

  const auto texts = PrioritiesAndTexts(support::ReadFile(File()));
  ASSERT_EQ(texts.size(), static_cast<size_t>(fill.taken) + 2);
  for (int number = 0; number < fill.taken; ++number) {
    ASSERT_THAT(texts[static_cast<size_t>(number)],
                testing::StartsWith("I line " + std::to_string(number) + " "));
  }
  EXPECT_EQ(texts[texts.size() - 2], "W lines lost here: " + std::to_string(fill.refused));
  EXPECT_EQ(texts.back(), "I after");
}

TEST_F(LogTest, ALineAboveTheLimitIsLostAlone) {
  RunProbe({"print", "4",       "a",     "fill",  "1",     "9000000", "print",
            "4",     "b",       "open",  File(),  "flush", "30000",   "fill",
            "1",     "9000000", "flush", "30000", "print", "4",       "c"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())),
              ElementsAre("I a", "W lines lost here: 1", "I b", "W lines lost here: 1", "I c"));
}

TEST_F(LogTest, AStuckTerminalDelaysNobody) {
  // The probe ends, although nobody ever reads its standard error.
  const support::Outcome result =
      RunProbe({"stick", "open", "", "fill", "1000", "100", "flush", "50", "print", "4", "x"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "taken 1000 refused 0\nflushed no\nprinted 2\n");
}

TEST_F(LogTest, AStuckTerminalDoesNotDelayTheEndOfAProgramThatNeverOpenedItsLog) {
  const support::Outcome result = RunProbe({"stick", "print", "4", "x"});
  EXPECT_EQ(result.status, 0);
}

TEST_F(LogTest, ATerminalThatGoesOnGetsAllLinesThatWereTaken) {
  const support::Outcome result =
      RunProbe({"stick", "open", "", "fill", "100000", "100", "unstick", File(), "flush", "30000",
                "fill", "3", "100", "flush", "30000", "end-reading"});
  const auto reports = Lines(result.out);
  ASSERT_EQ(reports.size(), 4u) << result.out;
  EXPECT_EQ(reports[1], "flushed yes");
  EXPECT_EQ(reports[2], "taken 3 refused 0");
  EXPECT_EQ(reports[3], "flushed yes");
  const FillReport fill = ParseFillReport(reports[0]);
  EXPECT_GT(fill.refused, 0);

  int taken = 0;
  int lost = 0;
  int next = 0;  // the number after that of the line before
  for (const std::string& text : PrioritiesAndTexts(support::ReadFile(File()))) {
    int number = 0;
    if (std::sscanf(text.c_str(), "W lines lost here: %d", &number) == 1) {
      lost += number;
      next += number;
      continue;
    }
    ASSERT_EQ(std::sscanf(text.c_str(), "I line %d", &number), 1) << text;
    ASSERT_EQ(number, next % 100000);
    next = number + 1;
    ++taken;
  }
  EXPECT_EQ(lost, fill.refused);
  EXPECT_EQ(taken, fill.taken + 3);
}

TEST_F(LogTest, HeldLinesAreWrittenTogetherAtTheEndOfTheHold) {
  const support::Outcome result = RunProbe(
      {"datagrams", "open", "",      "await-sleep", "hold",    "print",          "4",     "a",
       "pause",     "hold", "print", "4",           "b",       "release",        "pause", "print",
       "4",         "c",    "pause", "received",    "release", "await-received", "3"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "printed 2\nprinted 2\nprinted 2\n"
            "writes 0 lines 0\nwrites 1 lines 3\n");
}

TEST_F(LogTest, LinesThatAreNotHeldAreWrittenWithoutFurtherAsking) {
  const support::Outcome result =
      RunProbe({"datagrams", "open", "", "await-sleep", "print", "4", "a", "await-received", "1",
                "print", "4", "b", "print", "4", "c", "await-received", "3"});
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(LogTest, AHoldIsOfItsThreadOnly) {
  const support::Outcome result = RunProbe({"datagrams", "open", "", "await-sleep", "hold",
                                            "print-elsewhere", "a", "await-received", "1"});
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(LogTest, FlushWritesHeldLines) {
  const support::Outcome result = RunProbe({"datagrams", "open", "", "await-sleep", "hold", "print",
                                            "4", "a", "flush", "30000", "received"});
  EXPECT_EQ(result.out, "printed 2\nflushed yes\nwrites 1 lines 1\n");
}

TEST_F(LogTest, TheWriterLeavesSignalsToTheProgram) {
  std::vector<std::string> commands = {"open", File()};
  std::string expected;
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGUSR1, SIGALRM, SIGPIPE, SIGXFSZ}) {
    commands.insert(commands.end(), {"writer-ignores", std::to_string(signal)});
    expected += "signal " + std::to_string(signal) + " blocked\n";
  }
  EXPECT_EQ(RunProbe(commands).out, expected);
}

TEST_F(LogTest, AClosedTerminalDoesNotEndTheProgram) {
  const support::Outcome result = RunProbe(
      {"close-terminal", "open", "", "fill", "10", "10", "flush", "30000", "fill", "10", "10"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "taken 10 refused 0\nflushed yes\ntaken 10 refused 0\n");
}

TEST_F(LogTest, LinesThatDoNotFitOnTheDiskAreCountedAndTheNextBeginsAfresh) {
  // The limit is for all files of the probe, so the log is made longer than its reports.
  const support::Outcome result = RunProbe(
      {"open",  File(), "fill", "1",     "1000",  "flush",   "30000", "limit", File(),  "10",
       "print", "4",    "a",    "flush", "30000", "print",   "4",     "b",     "flush", "30000",
       "print", "4",    "c",    "flush", "30000", "unlimit", "print", "4",     "last"});
  ASSERT_EQ(result.status, 0);
  auto lines = Lines(support::ReadFile(File()));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1].size(), 10u);
  EXPECT_THAT(PrioritiesAndTexts(lines[2] + "\n" + lines[3]),
              ElementsAre("W lines lost here: 3", "I last"));
}

TEST_F(LogTest, AFileThatReachesItsLimitIsRenamedAndAnotherBegun) {
  // More than four files of this size could hold, written 64 KiB at a time.
  const support::Outcome result =
      RunProbe({"open-limited", File(), "200000", "fill", "1000", "1000", "print", "4", "last"});
  ASSERT_EQ(result.status, 0);
  const std::string newer = support::ReadFile(File());
  const std::string older = support::ReadFile(Older());
  EXPECT_LE(newer.size(), 200'000u);
  EXPECT_LE(older.size(), 200'000u);
  EXPECT_GT(older.size(), 100'000u);
  // The end of the log, without a gap and in whole lines.
  const auto texts = PrioritiesAndTexts(older + newer);
  ASSERT_GT(texts.size(), 100u);
  EXPECT_EQ(texts.back(), "I last");
  for (size_t fromEnd = 1; fromEnd < texts.size(); ++fromEnd) {
    const std::string begin = "I line " + std::to_string(1000 - fromEnd) + " ";
    ASSERT_THAT(texts[texts.size() - 1 - fromEnd], testing::StartsWith(begin));
  }
  EXPECT_EQ(Names(), (std::vector<std::string>{"log", "log.1"}));
}

TEST_F(LogTest, ALineAboveTheLimitHasAFileOfItsOwn) {
  RunProbe({"open-limited", File(), "60", "print", "4", "first", "flush", "30000", "fill", "1",
            "5000", "flush", "30000", "print", "4", "last"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I last"));
  EXPECT_EQ(Lines(support::ReadFile(Older())).size(), 1u);
  EXPECT_GT(support::ReadFile(Older()).size(), 5000u);
}

TEST_F(LogTest, ANewFileHasThePermissionsOfTheOld) {
  std::ofstream(File()) << std::string(200, 'x') << "\n";
  std::filesystem::permissions(File(), std::filesystem::perms(0640));
  RunProbe({"open-limited", File(), "60", "print", "4", "first"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I first"));
  EXPECT_EQ(std::filesystem::status(File()).permissions(), std::filesystem::perms(0640));
}

TEST_F(LogTest, StandardErrorThatGoesToTheFileFollowsIt) {
  const std::string complaint(100, 'x');
  RunWithStandardErrorInFile({"open-limited", File(), "60", "complain", complaint, "print", "4",
                              "two", "flush", "30000", "complain", "three"});
  EXPECT_EQ(Lines(support::ReadFile(Older())), std::vector<std::string>{complaint});
  const auto lines = Lines(support::ReadFile(File()));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_THAT(lines[0], HasSubstr("two"));
  EXPECT_EQ(lines[1], "three");
}

TEST_F(LogTest, AFileThatCannotBeRenamedIsEmptied) {
  std::filesystem::create_directory(Older());
  RunProbe({"open-limited", File(), "60", "print", "4", "first", "flush", "30000", "print", "4",
            "second", "flush", "30000", "print", "4", "third"});
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I third"));
  EXPECT_TRUE(std::filesystem::is_empty(Older()));
  EXPECT_EQ(Names(), (std::vector<std::string>{"log", "log.1"}));
}

TEST_F(LogTest, ALinkInPlaceOfTheOlderFileIsReplacedAndNotFollowed) {
  std::ofstream(m_Directory / "victim") << "precious";
  std::filesystem::create_symlink(m_Directory / "victim", Older());
  std::filesystem::create_symlink(m_Directory / "victim", m_Directory / ".log.new");
  RunProbe({"open-limited", File(), "60", "print", "4", "first", "flush", "30000", "print", "4",
            "second"});
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(Older())));
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(Older())), ElementsAre("I first"));
  EXPECT_EQ(support::ReadFile(m_Directory / "victim"), "precious");
}

TEST_F(LogTest, InASetNoLinkLeadsTheLogElsewhere) {
  std::filesystem::create_directories(m_Directory / "root/var");
  std::filesystem::create_directory(m_Directory / "elsewhere");
  std::ofstream(m_Directory / "elsewhere/log") << "precious";
  const support::Variables set = {{"SETTINGS_ROOT", m_Directory / "root"}};
  const std::string file = m_Directory / "root/var/log/log";

  std::filesystem::create_directory_symlink(m_Directory / "elsewhere",
                                            m_Directory / "root/var/log");
  EXPECT_THAT(RunProbe({"open", file}, set).out,
              HasSubstr("open failed: cannot open the log file " + file + ": " +
                        (m_Directory / "root/var/log").string() + " is a symbolic link"));
  std::filesystem::remove(m_Directory / "root/var/log");
  std::filesystem::create_directory(m_Directory / "root/var/log");
  std::filesystem::create_symlink(m_Directory / "elsewhere/log", file);
  EXPECT_EQ(RunProbe({"open", file, "print", "4", "x"}, set).out,
            "open failed: the log file " + file + " is a symbolic link\nprinted 2\n");
  EXPECT_EQ(support::ReadFile(m_Directory / "elsewhere/log"), "precious");
}

TEST_F(LogTest, InASetNoLinkLeadsTheLogElsewhereHoweverTheSetIsSpelled) {
  const std::filesystem::path root = m_Directory / "root";
  std::filesystem::create_directories(root / "var/log");
  std::filesystem::create_directory(m_Directory / "elsewhere");
  std::ofstream(m_Directory / "elsewhere/log") << "precious";
  std::filesystem::create_symlink(m_Directory / "elsewhere/log", root / "var/log/log");
  std::filesystem::create_directory_symlink(m_Directory / "elsewhere", root / "var/away");
  // Of the set, of the directory that it is in, and of one in it.
  std::filesystem::create_directory_symlink("root", m_Directory / "one");
  std::filesystem::create_directory_symlink(root, m_Directory / "other");
  std::filesystem::create_directory_symlink(m_Directory.Path(), m_Directory / "elsewhere/up");
  std::filesystem::create_directory_symlink(root / "var/log", m_Directory / "elsewhere/logs");
  const std::string relative = std::filesystem::relative(root / "var/log") / "log";
  for (const std::filesystem::path& spelledRoot : {root, m_Directory / "one"}) {
    const support::Variables set = {{"SETTINGS_ROOT", spelledRoot}};
    for (const std::string& file :
         {relative, (m_Directory / "root/var/../var/log/./log").string(),
          (m_Directory / "one/var/log/log").string(), (m_Directory / "other/var/log/log").string(),
          (m_Directory / "elsewhere/up/root/var/log/log").string(),
          (m_Directory / "elsewhere/logs/log").string()}) {
      EXPECT_THAT(
          RunProbe({"open", file, "print", "4", "x"}, set).out,
          testing::StartsWith("open failed: the log file " + file + " is a symbolic link\n"));
    }
    for (const std::string spelled : {"root", "one", "other", "elsewhere/up/root"}) {
      EXPECT_THAT(RunProbe({"open", m_Directory / spelled / "var/away/log"}, set).out,
                  HasSubstr("/var/away is a symbolic link"));
    }
  }
  EXPECT_EQ(support::ReadFile(m_Directory / "elsewhere/log"), "precious");
}

TEST_F(LogTest, ASetMayBeReachedThroughLinks) {
  const std::filesystem::path root = m_Directory / "root";
  std::filesystem::create_directories(root / "var/log");
  std::filesystem::create_directory_symlink(root, m_Directory / "one");
  std::filesystem::create_directory_symlink(root / "var/log", m_Directory / "logs");
  const support::Variables set = {{"SETTINGS_ROOT", m_Directory / "one"}};
  for (const char* file : {"root/var/log/a", "one/var/log/./b", "logs/c", "one/var/../d"}) {
    EXPECT_EQ(RunProbe({"open", m_Directory / file, "print", "4", "x"}, set).out, "printed 2\n");
    EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(m_Directory / file)), ElementsAre("I x"));
  }
}

TEST_F(LogTest, OutsideOfASetTheFileBehindALinkIsTheOneThatIsRenamed) {
  std::filesystem::create_directory(m_Directory / "elsewhere");
  std::filesystem::create_symlink(m_Directory / "elsewhere/log", File());
  RunProbe({"open-limited", File(), "60", "print", "4", "first", "flush", "30000", "print", "4",
            "second"});
  EXPECT_TRUE(std::filesystem::is_symlink(File()));
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("I second"));
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(m_Directory / "elsewhere/log.1")),
              ElementsAre("I first"));
}

TEST_F(LogTest, AReaderCanWaitForWhatIsPrintedAlready) {
  // A line that is held is written by nobody before the hold ends.
  const support::Outcome result =
      RunProbe({"open", File(), "await-file", File(), "30000", "await-sleep", "hold", "print", "4",
                "x", "await-file", File(), "20", "release", "await-file", File(), "30000"});
  EXPECT_EQ(result.out, "written yes\nprinted 2\nwritten no\nwritten yes\n");
}

TEST_F(LogTest, AReaderWaitsAlsoForAFileThatIsReplaced) {
  const support::Outcome result =
      RunProbe({"open-limited", File(),       "60",   "print", "4",          "one",   "flush",
                "30000",        "print",      "4",    "two",   "flush",      "30000", "await-sleep",
                "hold",         "print",      "4",    "x",     "await-file", File(),  "20",
                "release",      "await-file", File(), "30000"});
  EXPECT_THAT(result.out, HasSubstr("written no\nwritten yes\n"));
}

TEST_F(LogTest, AReaderWaitsForNobodyWhoIsGone) {
  RunProbe({"open", File(), "hold", "print", "4", "x"});
  EXPECT_EQ(RunProbe({"await-file", File(), "30000"}).out, "written yes\n");
  EXPECT_EQ(RunProbe({"await-file", m_Directory / "missing", "30000"}).out, "written yes\n");
}

TEST_F(LogTest, AFullDiskLosesLinesOnly) {
  const support::Outcome result =
      RunProbe({"open", "/dev/full", "fill", "100", "100", "flush", "30000"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "taken 100 refused 0\nflushed yes\n");
}

// Standard error is a file, and JOURNAL_STREAM may say that it is the journal.
class JournalTest : public LogTest {
 protected:
  JournalTest() {
    std::ofstream(File()).close();
    EXPECT_EQ(stat(File().c_str(), &m_Status), 0);
  }

  // Returns what the probe says, with JOURNAL_STREAM naming `inode`.
  std::string Run(const std::vector<std::string>& commands, ino_t inode) {
    const support::Variables variables = {
        {"JOURNAL_STREAM", std::to_string(m_Status.st_dev) + ":" + std::to_string(inode)}};
    const support::Files files{"/dev/null", m_Directory / "out", File()};
    support::Process process(ProbeCommand(LOG_PROBE, commands, variables), {}, files);
    EXPECT_EQ(process.Wait(), 0);
    return support::ReadFile(files.out);
  }

  struct stat m_Status = {};
};

TEST_F(JournalTest, LinesGoToTheJournalThatStandardErrorIsConnectedTo) {
  const std::string out =
      Run({"open", "", "print", "6", "a\nb", "flush", "30000"}, m_Status.st_ino);
  EXPECT_THAT(Lines(out), testing::UnorderedElementsAre(
                              "printed 4", "flushed yes",
                              "journal: PRIORITY=3 SYSLOG_IDENTIFIER=probe MESSAGE=a\\nb"));
  EXPECT_EQ(support::ReadFile(File()), "");
}

TEST_F(JournalTest, AStandardErrorOfItsOwnGetsTheLines) {
  const std::string out = Run({"open", "", "print", "6", "x"}, m_Status.st_ino + 1);
  EXPECT_EQ(out, "printed 2\n");
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(File())), ElementsAre("E x"));
}

TEST_F(JournalTest, AFileIsUsedWhenItIsGiven) {
  const std::filesystem::path file = m_Directory.Path() / "other";
  const std::string out = Run({"open", file, "print", "6", "x"}, m_Status.st_ino);
  EXPECT_EQ(out, "printed 2\n");
  EXPECT_THAT(PrioritiesAndTexts(support::ReadFile(file)), ElementsAre("E x"));
}

TEST_F(JournalTest, LinesThatTheJournalRefusesAreCounted) {
  const std::string out = Run({"open", "", "journal-fails", "fill", "3", "1", "flush", "30000",
                               "journal-works", "print", "4", "x", "flush", "30000"},
                              m_Status.st_ino);
  std::vector<std::string> entries;
  for (const std::string& line : Lines(out)) {
    if (line.rfind("journal:", 0) == 0) {
      entries.push_back(line);
    }
  }
  EXPECT_THAT(entries,
              ElementsAre("journal: PRIORITY=4 SYSLOG_IDENTIFIER=log MESSAGE=lines lost here: 3",
                          "journal: PRIORITY=6 SYSLOG_IDENTIFIER=probe MESSAGE=x"));
}

}  // namespace
