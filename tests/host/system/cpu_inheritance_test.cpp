#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "probe.h"
#include "support/temp_directory.h"

namespace {

using testing::HasSubstr;

class CpuInheritanceTest : public testing::Test {
 protected:
  support::Outcome RunProbe(const std::vector<std::string>& commands) {
    return support::RunCommand(
        ProbeCommand(SYSTEM_PROBE, commands, {{"SETTINGS_ROOT", m_Root.Path()}}));
  }

  support::TempDirectory m_Root;
  const std::filesystem::path m_Destinations = m_Root / "run/settings-service/cpu-inheritance";
};

TEST_F(CpuInheritanceTest, ADestinationIsAFileWithTheNumberOfTheProcess) {
  EXPECT_EQ(RunProbe({"register", "settings_service", "4711"}).out, "0\n");
  EXPECT_EQ(support::ReadFile(m_Destinations / "settings_service"), "4711\n");
}

TEST_F(CpuInheritanceTest, ALaterCallReplacesTheProcess) {
  EXPECT_EQ(RunProbe({"register", "a", "1", "register", "b", "2", "register", "a", "3"}).out,
            "0\n0\n0\n");
  EXPECT_EQ(support::ReadFile(m_Destinations / "a"), "3\n");
  EXPECT_EQ(support::ReadFile(m_Destinations / "b"), "2\n");
  const auto files = std::filesystem::directory_iterator(m_Destinations);
  EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

TEST_F(CpuInheritanceTest, NobodyElseMayWriteThereWhateverTheUmaskIs) {
  std::vector<std::string> command =
      ProbeCommand(SYSTEM_PROBE, {"register", "a", "1"}, {{"SETTINGS_ROOT", m_Root.Path()}});
  command.insert(command.begin(), {"sh", "-c", "umask 0; exec \"$0\" \"$@\""});
  EXPECT_EQ(support::RunCommand(command).out, "0\n");
  for (auto directory = m_Destinations; directory != m_Root.Path();
       directory = directory.parent_path()) {
    EXPECT_EQ(std::filesystem::status(directory).permissions(), std::filesystem::perms(0755))
        << directory;
  }
}

TEST_F(CpuInheritanceTest, ANameThatIsNoPlainFileNameIsRefused) {
  for (const std::string name : {"", ".", "..", ".hidden", "a/b", "../a", "/a"}) {
    const support::Outcome result = RunProbe({"register", name, "1"});
    EXPECT_EQ(result.out, "-1\n") << name;
    EXPECT_THAT(result.err, HasSubstr("is not registered")) << name;
  }
  EXPECT_EQ(RunProbe({"register-null"}).out, "-1\n");
  EXPECT_FALSE(std::filesystem::exists(m_Root / "run/settings-service/a"));
}

TEST_F(CpuInheritanceTest, ANumberThatNoProcessHasIsRefused) {
  EXPECT_EQ(RunProbe({"register", "a", "0", "register", "a", "-1"}).out, "-1\n-1\n");
  EXPECT_FALSE(std::filesystem::exists(m_Destinations / "a"));
}

TEST_F(CpuInheritanceTest, NoLinkIsFollowed) {
  std::filesystem::create_directories(m_Destinations);
  std::ofstream(m_Root / "victim") << "x";
  std::filesystem::create_symlink(m_Root / "victim", m_Destinations / "a");
  const support::Outcome result = RunProbe({"register", "a", "1"});
  EXPECT_EQ(result.out, "-1\n");
  EXPECT_THAT(result.err, HasSubstr("is a symbolic link"));
  EXPECT_EQ(support::ReadFile(m_Root / "victim"), "x");
}

TEST_F(CpuInheritanceTest, ARunDirectoryThatCannotBeMadeIsAFailure) {
  std::ofstream(m_Root / "run") << "in the way";
  EXPECT_EQ(RunProbe({"register", "a", "1"}).out, "-1\n");
}

}  // namespace
