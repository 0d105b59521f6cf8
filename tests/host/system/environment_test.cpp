#include "system/environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "probe.h"
#include "support/temp_directory.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> EnvironmentFor(const support::Variables& variables,
                                        const std::vector<std::string>& commands = {
                                            "environment"}) {
  return Lines(support::RunCommand(ProbeCommand(SYSTEM_PROBE, commands, variables)).out);
}

TEST(Environment, IsThatOfTheMachineByDefault) {
  const std::string dataDir = DATA_DIR;
  EXPECT_THAT(EnvironmentFor({}),
              ElementsAre("root /", "model " + dataDir + "/models/full.json", "data " + dataDir,
                          std::string("config ") + CONFIG_DIR, "state /var/lib/settings-service",
                          "run /run/settings-service"));
}

TEST(Environment, VariablesSayWhereASetLives) {
  EXPECT_THAT(EnvironmentFor({{"SETTINGS_ROOT", "/r"},
                              {"SETTINGS_DATA_DIR", "/d"},
                              {"SETTINGS_MODEL", "/m.json"},
                              {"SETTINGS_CONFIG_DIR", "/c"}}),
              ElementsAre("root /r", "model /m.json", "data /d", "config /c",
                          "state /r/var/lib/settings-service", "run /r/run/settings-service"));
}

TEST(Environment, TheModelIsFullInAnyDataDirectory) {
  EXPECT_THAT(EnvironmentFor({{"SETTINGS_DATA_DIR", "/d"}}),
              testing::Contains("model /d/models/full.json"));
}

TEST(Environment, ARelativeRootBecomesAbsolute) {
  const std::string here = std::filesystem::current_path();
  EXPECT_THAT(EnvironmentFor({{"SETTINGS_ROOT", "set"}}),
              testing::Contains("root " + here + "/set"));
}

TEST(Environment, AnEmptyVariableCountsAsMissing) {
  EXPECT_THAT(EnvironmentFor({{"SETTINGS_ROOT", ""}}), testing::Contains("root /"));
}

TEST(Environment, IsKnownWhileTheProcessEnds) {
  const support::Variables variables = {{"SETTINGS_ROOT", "/a/root/with/a/long/name"}};
  const std::vector<std::string> lines = EnvironmentFor(variables);
  std::vector<std::string> twice = lines;
  twice.insert(twice.end(), lines.begin(), lines.end());
  EXPECT_EQ(EnvironmentFor(variables, {"environment", "at-exit", "environment"}), twice);
}

TEST(Environment, TheProgramsChoiceCountsMoreThanTheVariables) {
  host::SetEnvironment({"/chosen", "/chosen/model", "/chosen/data"});
  EXPECT_EQ(host::GetEnvironment().root, "/chosen");
  EXPECT_EQ(host::StateDir(), "/chosen/var/lib/settings-service");
  EXPECT_EQ(host::RunDir(), "/chosen/run/settings-service");
}

}  // namespace
