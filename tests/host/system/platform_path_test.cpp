#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "probe.h"
#include "support/temp_directory.h"

namespace {

class PlatformPathTest : public testing::Test {
 protected:
  support::Outcome RunProbe(const std::vector<std::string>& commands) {
    return support::RunCommand(
        ProbeCommand(SYSTEM_PROBE, commands, {{"SETTINGS_ROOT", m_Root.Path()}}));
  }

  support::TempDirectory m_Root;
  const std::string m_AppData = m_Root / "var/lib/settings-service/app-data";
};

TEST_F(PlatformPathTest, ApplicationDataLiesWithTheDurableDataOfTheSet) {
  EXPECT_EQ(RunProbe({"path", "27", "/org.pavix.menu/.file"}).out,
            "[" + m_AppData + "/org.pavix.menu/.file]\n");
}

TEST_F(PlatformPathTest, TheFileCanBeMadeAtOnce) {
  RunProbe({"path", "27", "/org.pavix.menu/.file"});
  const std::string file = m_AppData + "/org.pavix.menu/.file";
  EXPECT_FALSE(std::filesystem::exists(file));
  std::ofstream(file) << "x";
  EXPECT_EQ(support::ReadFile(file), "x");
}

TEST_F(PlatformPathTest, NobodyElseMayWriteThereWhateverTheUmaskIs) {
  std::vector<std::string> command = ProbeCommand(
      SYSTEM_PROBE, {"path", "27", "/org.pavix.menu/.file"}, {{"SETTINGS_ROOT", m_Root.Path()}});
  command.insert(command.begin(), {"sh", "-c", "umask 0; exec \"$0\" \"$@\""});
  support::RunCommand(command);
  for (const std::string& directory : {m_AppData, m_AppData + "/org.pavix.menu"}) {
    EXPECT_EQ(std::filesystem::status(directory).permissions(), std::filesystem::perms(0755))
        << directory;
  }
}

TEST_F(PlatformPathTest, ADirectoryThatCannotBeMadeChangesNothingInThePath) {
  std::ofstream(m_Root / "var") << "in the way";
  const support::Outcome result = RunProbe({"path", "27", "/org.pavix.menu/.file"});
  EXPECT_EQ(result.out, "[" + m_AppData + "/org.pavix.menu/.file]\n");
  EXPECT_THAT(result.err,
              testing::HasSubstr("cannot make the directory " + m_AppData + "/org.pavix.menu"));
}

TEST_F(PlatformPathTest, AnUnknownVariableHasNoPath) {
  EXPECT_EQ(RunProbe({"path", "26", "/a", "path", "28", "/a", "path", "0", "/a"}).out,
            "[]\n[]\n[]\n");
}

TEST_F(PlatformPathTest, ARelativePathBeginsWithASlash) {
  EXPECT_EQ(RunProbe({"path", "27", "a", "path", "27", "", "path-null"}).out, "[]\n[]\n[]\n");
}

}  // namespace
