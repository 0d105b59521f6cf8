#include "system/ready_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "probe.h"
#include "support/notify_socket.h"
#include "support/temp_directory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace fs = std::filesystem;

constexpr char kEvent[] = "/tmp/settings-service_ready";

// `m_Root` is a set; beside it lies `m_Elsewhere`, which nobody in the set may touch.
class ReadyEventTest : public testing::Test {
 protected:
  ReadyEventTest() {
    fs::create_directory(m_Root);
    fs::create_directory(m_Elsewhere);
  }

  support::Outcome RunProbe(const std::vector<std::string>& commands) {
    return support::RunCommand(
        ProbeCommand(SYSTEM_PROBE, commands,
                     {{"SETTINGS_ROOT", m_Root}, {"NOTIFY_SOCKET", m_Directory / "notify"}}));
  }

  static void Write(const fs::path& file, const std::string& content) {
    std::ofstream(file) << content;
  }

  fs::path FileOf(const std::string& event) const { return m_Root.string() + event; }
  bool IsAnnounced(const std::string& event) const {
    return fs::exists(fs::symlink_status(FileOf(event)));
  }

  static mode_t ModeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  // Checks that the event cannot be announced, which is logged with `reason`, and that the
  // service manager still learns that the service is ready.
  void ExpectFailure(const std::string& event, const std::string& reason) {
    const support::Outcome result = RunProbe({"announce", event});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "-1\n") << event;
    EXPECT_THAT(result.err, HasSubstr("Z E ready_event(")) << event;
    EXPECT_THAT(result.err, HasSubstr(reason)) << event;
    EXPECT_THAT(m_Manager.TakeMessages(), ElementsAre("READY=1")) << event;
    EXPECT_TRUE(fs::is_empty(m_Elsewhere)) << event;
  }

  support::TempDirectory m_Directory;
  const fs::path m_Root = m_Directory / "root";
  const fs::path m_Elsewhere = m_Directory / "elsewhere";
  support::NotifySocket m_Manager{m_Directory / "notify"};
};

TEST_F(ReadyEventTest, AnEventIsAFileWithTheNumberOfTheProcess) {
  const support::Outcome result = RunProbe({"announce", kEvent});
  EXPECT_EQ(result.out, "0\n");
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(support::ReadFile(FileOf(kEvent)), MatchesRegex("[1-9][0-9]*\n"));
  EXPECT_EQ(ModeOf(FileOf(kEvent)) & 0700, 0600u);
}

TEST_F(ReadyEventTest, TheServiceManagerLearnsThatTheServiceIsReady) {
  RunProbe({"announce", kEvent});
  EXPECT_THAT(m_Manager.TakeMessages(), ElementsAre("READY=1"));
}

TEST_F(ReadyEventTest, NoServiceManagerIsNeeded) {
  const support::Outcome result = support::RunCommand(
      ProbeCommand(SYSTEM_PROBE, {"announce", kEvent}, {{"SETTINGS_ROOT", m_Root}}));
  EXPECT_EQ(result.out, "0\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(ReadyEventTest, AServiceManagerThatIsGoneIsNoFailure) {
  const support::Outcome result = support::RunCommand(
      ProbeCommand(SYSTEM_PROBE, {"announce", kEvent},
                   {{"SETTINGS_ROOT", m_Root}, {"NOTIFY_SOCKET", m_Directory / "gone"}}));
  EXPECT_EQ(result.out, "0\n");
  EXPECT_THAT(result.err, HasSubstr("the service manager was not told: No such file"));
}

TEST_F(ReadyEventTest, MissingDirectoriesAreMade) {
  EXPECT_EQ(RunProbe({"announce", "/tmp/a/tmp/event", "announce", "/b/c/event"}).out, "0\n0\n");
  EXPECT_EQ(ModeOf(m_Root / "tmp"), 01777u);
  EXPECT_EQ(ModeOf(m_Root / "tmp/a"), 0755u);
  EXPECT_EQ(ModeOf(m_Root / "tmp/a/tmp"), 0755u);
  EXPECT_EQ(ModeOf(m_Root / "b"), 0755u);
  EXPECT_EQ(ModeOf(m_Root / "b/c"), 0755u);
}

TEST_F(ReadyEventTest, NobodyElseMayWriteInTheRunDirectoryWhateverTheUmaskIs) {
  std::vector<std::string> command =
      ProbeCommand(SYSTEM_PROBE, {"announce", kEvent}, {{"SETTINGS_ROOT", m_Root}});
  command.insert(command.begin(), {"sh", "-c", "umask 0; exec \"$0\" \"$@\""});
  EXPECT_EQ(support::RunCommand(command).out, "0\n");
  EXPECT_EQ(ModeOf(m_Root / "run"), 0755u);
  EXPECT_EQ(ModeOf(m_Root / "run/settings-service"), 0755u);
}

TEST_F(ReadyEventTest, TheRootMayBeALink) {
  fs::create_directory(m_Root / "real");
  fs::create_symlink(m_Root / "real", m_Directory / "link");
  const support::Outcome result = support::RunCommand(
      ProbeCommand(SYSTEM_PROBE, {"announce", kEvent}, {{"SETTINGS_ROOT", m_Directory / "link"}}));
  EXPECT_EQ(result.out, "0\n");
  EXPECT_TRUE(fs::exists(m_Root / "real/tmp/settings-service_ready"));
}

TEST_F(ReadyEventTest, ARegularFileInThePlaceIsReplacedByAFreshOne) {
  fs::create_directory(m_Root / "tmp");
  Write(m_Elsewhere / "victim", "of great value");
  fs::create_hard_link(m_Elsewhere / "victim", FileOf(kEvent));
  EXPECT_EQ(RunProbe({"announce", kEvent}).out, "0\n");
  EXPECT_THAT(support::ReadFile(FileOf(kEvent)), MatchesRegex("[1-9][0-9]*\n"));
  EXPECT_EQ(support::ReadFile(m_Elsewhere / "victim"), "of great value");
}

TEST_F(ReadyEventTest, AnEventMayBeAnnouncedAgain) {
  EXPECT_EQ(RunProbe({"announce", kEvent, "announce", kEvent}).out, "0\n0\n");
  EXPECT_EQ(RunProbe({"announce", kEvent}).out, "0\n");
}

TEST_F(ReadyEventTest, NoComponentOfTheWayMayBeALink) {
  fs::create_directory_symlink(m_Elsewhere, m_Root / "first");
  ExpectFailure("/first/event", "first is a symbolic link");
  ExpectFailure("/first/second/event", "first is a symbolic link");

  fs::create_directories(m_Root / "a/b");
  fs::create_directory_symlink(m_Elsewhere, m_Root / "a/second");
  ExpectFailure("/a/second/event", "a/second is a symbolic link");
  fs::create_directory_symlink("../../../elsewhere", m_Root / "a/b/third");
  ExpectFailure("/a/b/third/event", "a/b/third is a symbolic link");
}

TEST_F(ReadyEventTest, TheEventItselfMayNotBeALink) {
  fs::create_directory(m_Root / "tmp");
  fs::create_symlink(m_Elsewhere / "target", FileOf(kEvent));
  ExpectFailure(kEvent, "settings-service_ready is a symbolic link");
  EXPECT_TRUE(fs::is_symlink(FileOf(kEvent)));

  const fs::path victim = m_Directory / "victim";
  Write(victim, "of great value");
  fs::remove(FileOf(kEvent));
  fs::create_symlink(victim, FileOf(kEvent));
  ExpectFailure(kEvent, "settings-service_ready is a symbolic link");
  EXPECT_EQ(support::ReadFile(victim), "of great value");
}

TEST_F(ReadyEventTest, AnythingElseInThePlaceIsLeftAlone) {
  fs::create_directories(FileOf(kEvent) / "sub");
  ExpectFailure(kEvent, "settings-service_ready is not a regular file");
  EXPECT_TRUE(fs::is_directory(FileOf(kEvent) / "sub"));

  fs::remove_all(FileOf(kEvent));
  ASSERT_EQ(mkfifo(FileOf(kEvent).c_str(), 0600), 0);
  ExpectFailure(kEvent, "settings-service_ready is not a regular file");
  EXPECT_TRUE(fs::is_fifo(FileOf(kEvent)));
}

TEST_F(ReadyEventTest, AFileOnTheWayIsAFailure) {
  Write(m_Root / "tmp", "in the way");
  ExpectFailure(kEvent, "tmp is not a directory");
  EXPECT_EQ(support::ReadFile(m_Root / "tmp"), "in the way");
}

TEST_F(ReadyEventTest, APathThatDoesNotStayBelowTheRootIsAFailure) {
  ExpectFailure("/../elsewhere/event", "\"..\" is not the name");
  ExpectFailure("/tmp/../../elsewhere/event", "\"..\" is not the name");
  ExpectFailure("/tmp/..", "\"..\" is not the name");
}

TEST_F(ReadyEventTest, APathThatNamesNoFileIsAFailure) {
  ExpectFailure("", "is not an absolute path");
  ExpectFailure("relative", "is not an absolute path");
  ExpectFailure("/two\nlines", "is not an absolute path");
  ExpectFailure("/", "does not name a file");
  ExpectFailure("/tmp/", "does not name a file");
  ExpectFailure("/tmp//event", "\"\" is not the name");
}

TEST_F(ReadyEventTest, NoEventIsAFailureThatTellsNobody) {
  EXPECT_EQ(RunProbe({"announce-null"}).out, "-1\n");
  EXPECT_THAT(m_Manager.TakeMessages(), IsEmpty());
}

TEST_F(ReadyEventTest, AMissingRootIsAFailure) {
  fs::remove(m_Root);
  fs::create_symlink(m_Directory / "missing", m_Root);
  ExpectFailure(kEvent, "root");
}

TEST_F(ReadyEventTest, AnEventIsWithdrawn) {
  const support::Outcome result =
      RunProbe({"announce", kEvent, "announce", "/a/other", "withdraw"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_FALSE(IsAnnounced(kEvent));
  EXPECT_FALSE(IsAnnounced("/a/other"));
}

TEST_F(ReadyEventTest, TheEventsOfAKilledRunAreWithdrawn) {
  RunProbe({"announce", kEvent, "announce", kEvent, "announce", "/a/other"});
  ASSERT_TRUE(IsAnnounced(kEvent));
  EXPECT_EQ(RunProbe({"withdraw"}).err, "");
  EXPECT_FALSE(IsAnnounced(kEvent));
  EXPECT_FALSE(IsAnnounced("/a/other"));
}

TEST_F(ReadyEventTest, AWithdrawnEventMayBeAnnouncedAndWithdrawnAgain) {
  EXPECT_EQ(RunProbe({"announce", kEvent, "withdraw", "announce", kEvent}).out, "0\n0\n");
  EXPECT_TRUE(IsAnnounced(kEvent));
  RunProbe({"withdraw"});
  EXPECT_FALSE(IsAnnounced(kEvent));
}

TEST_F(ReadyEventTest, WithoutEventsThereIsNothingToWithdraw) {
  const support::Outcome result = RunProbe({"withdraw", "withdraw"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(fs::is_empty(m_Root));
}

TEST_F(ReadyEventTest, FilesThatWereNeverAnnouncedStay) {
  RunProbe({"announce", kEvent});
  Write(m_Root / "tmp/other_ready", "1\n");
  RunProbe({"withdraw"});
  EXPECT_TRUE(fs::exists(m_Root / "tmp/other_ready"));
}

TEST_F(ReadyEventTest, AFileThatCameAfterTheEventWasWithdrawnStays) {
  RunProbe({"announce", kEvent, "withdraw"});
  Write(FileOf(kEvent), "1\n");
  RunProbe({"withdraw"});
  EXPECT_TRUE(fs::exists(FileOf(kEvent)));
}

TEST_F(ReadyEventTest, AFileThatIsNoEventsFileStays) {
  for (const std::string content :
       {"of great value", "12x\n", "12", "\n", "", "1234567890123456789012345678901234567890\n"}) {
    RunProbe({"announce", kEvent});
    Write(FileOf(kEvent), content);
    EXPECT_THAT(RunProbe({"withdraw"}).err, HasSubstr("is left as it is")) << content;
    EXPECT_EQ(support::ReadFile(FileOf(kEvent)), content);
  }
}

TEST_F(ReadyEventTest, ALinkInThePlaceStaysAndIsNotFollowed) {
  RunProbe({"announce", kEvent});
  const fs::path victim = m_Elsewhere / "victim";
  Write(victim, "1\n");
  fs::remove(FileOf(kEvent));
  fs::create_symlink(victim, FileOf(kEvent));
  EXPECT_THAT(RunProbe({"withdraw"}).err, HasSubstr("is a symbolic link"));
  EXPECT_TRUE(fs::is_symlink(FileOf(kEvent)));
  EXPECT_TRUE(fs::exists(victim));
}

TEST_F(ReadyEventTest, ALinkOnTheWayIsNotFollowed) {
  RunProbe({"announce", "/a/b/event"});
  for (const char* component : {"/a/b", "/a"}) {
    fs::create_directories(m_Elsewhere / "b");
    Write(m_Elsewhere / "event", "1\n");
    Write(m_Elsewhere / "b/event", "1\n");
    RunProbe({"announce", "/a/b/event"});
    fs::remove_all(FileOf(component));
    fs::create_directory_symlink(m_Elsewhere, FileOf(component));
    EXPECT_THAT(RunProbe({"withdraw"}).err, HasSubstr("is a symbolic link"));
    EXPECT_TRUE(fs::exists(m_Elsewhere / "event"));
    EXPECT_TRUE(fs::exists(m_Elsewhere / "b/event"));
    fs::remove(FileOf(component));
  }
}

TEST_F(ReadyEventTest, ADirectoryInThePlaceStays) {
  RunProbe({"announce", kEvent});
  fs::remove(FileOf(kEvent));
  fs::create_directory(FileOf(kEvent));
  EXPECT_THAT(RunProbe({"withdraw"}).err, HasSubstr("is not a regular file"));
  EXPECT_TRUE(fs::is_directory(FileOf(kEvent)));
}

TEST_F(ReadyEventTest, AListThatIsALinkIsNotFollowed) {
  RunProbe({"announce", kEvent});
  const fs::path list = m_Root / "run/settings-service/announced-events";
  ASSERT_TRUE(fs::is_regular_file(list));
  fs::rename(list, m_Elsewhere / "list");
  fs::create_symlink(m_Elsewhere / "list", list);
  EXPECT_THAT(RunProbe({"withdraw"}).err, HasSubstr("announced-events is a symbolic link"));
  EXPECT_TRUE(IsAnnounced(kEvent));
}

}  // namespace
