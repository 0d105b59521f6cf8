#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "probe.h"
#include "support/temp_directory.h"
#include "system/feature_error.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char kGameBar[] = "com.velmora/featureconf/game_bar.support";
constexpr char kOutdoor[] = "com.velmora/featureconf/outdoor_tv_product_image_support";
constexpr char kAutoPowerOff[] =
    "com.velmora/featureconf/setting.menuitem.autopoweroff_default_value";
constexpr char kAutoLaunch[] = "com.velmora/featureconf/game_bar.auto_launch_support_type";
constexpr char kEnergyRegulation[] =
    "com.velmora/featureconf/oobe.show_energy_regulation_brightness";

support::Outcome RunProbe(const std::filesystem::path& model,
                          const std::vector<std::string>& commands) {
  return support::RunCommand(ProbeCommand(SYSTEM_PROBE, commands, {{"SETTINGS_MODEL", model}}));
}

std::vector<std::string> FeaturesOf(const std::string& model) {
  const support::Outcome result =
      RunProbe(std::filesystem::path(MODEL_DIR) / model,
               {"bool", kGameBar, "bool", kOutdoor, "int", kAutoPowerOff, "int", kAutoLaunch,
                "bool", kEnergyRegulation});
  EXPECT_EQ(result.err, "");
  return Lines(result.out);
}

std::string Failed(host::FeatureError error) { return std::to_string(error) + " untouched"; }

TEST(ModelFiles, FullHasEverything) {
  EXPECT_THAT(FeaturesOf("full.json"), ElementsAre("0 true", "0 true", "0 2", "0 1", "0 true"));
}

TEST(ModelFiles, OutdoorHasNoGameBar) {
  EXPECT_THAT(FeaturesOf("outdoor.json"),
              ElementsAre("0 false", "0 true", "0 1", "0 0", "0 false"));
}

TEST(ModelFiles, BasicHasNothingBesideADefault) {
  EXPECT_THAT(FeaturesOf("basic.json"), ElementsAre("0 false", "0 false", "0 3", "0 0", "0 false"));
}

TEST(ModelFiles, FeaturesAreKnownWhileTheProcessEnds) {
  const support::Outcome result =
      RunProbe(std::filesystem::path(MODEL_DIR) / "full.json",
               {"bool", kGameBar, "at-exit", "bool", kGameBar, "int", kAutoPowerOff});
  EXPECT_THAT(Lines(result.out), ElementsAre("0 true", "0 true", "0 2"));
}

class SystemInfoTest : public testing::Test {
 protected:
  void WriteModel(const std::string& content) { std::ofstream(m_File) << content; }
  support::Outcome RunProbe(const std::vector<std::string>& commands) {
    return ::RunProbe(m_File, commands);
  }

  // Checks that no query is answered, and returns the one line that says why.
  std::string ReasonOfUnusableModel() {
    const support::Outcome result = RunProbe({"int", "number", "bool", "flag", "int", "number"});
    const std::string failed = Failed(host::FEATURE_ERROR_NO_MODEL);
    EXPECT_THAT(Lines(result.out), ElementsAre(failed, failed, failed));
    EXPECT_THAT(Lines(result.err), SizeIs(1));
    EXPECT_THAT(result.err, HasSubstr("Z E system_info("));
    EXPECT_THAT(result.err, HasSubstr(m_File.string()));
    return result.err;
  }

  support::TempDirectory m_Directory;
  const std::filesystem::path m_File = m_Directory / "model.json";
};

TEST_F(SystemInfoTest, FeaturesHaveTheValuesOfTheModelFile) {
  WriteModel(R"({"features": {"yes": true, "no": false, "zero": 0, "most": 2147483647,
                              "least": -2147483648}})");
  EXPECT_THAT(
      Lines(RunProbe({"bool", "yes", "bool", "no", "int", "zero", "int", "most", "int", "least"})
                .out),
      ElementsAre("0 true", "0 false", "0 0", "0 2147483647", "0 -2147483648"));
}

TEST_F(SystemInfoTest, AMissingFeatureLeavesTheOutputUntouched) {
  WriteModel(R"({"features": {"yes": true}})");
  const std::string failed = Failed(host::FEATURE_ERROR_NO_SUCH_FEATURE);
  EXPECT_THAT(Lines(RunProbe({"bool", "ye", "bool", "yess", "int", "missing", "bool", ""}).out),
              ElementsAre(failed, failed, failed, failed));
}

TEST_F(SystemInfoTest, AFeatureOfAnotherTypeLeavesTheOutputUntouched) {
  WriteModel(R"({"features": {"flag": true, "number": 1}})");
  const std::string failed = Failed(host::FEATURE_ERROR_OTHER_TYPE);
  EXPECT_THAT(Lines(RunProbe({"int", "flag", "bool", "number"}).out), ElementsAre(failed, failed));
}

TEST_F(SystemInfoTest, NullArgumentsAreRefused) {
  WriteModel(R"({"features": {"number": 1}})");
  EXPECT_THAT(Lines(RunProbe({"int-null-key", "int-null-output", "number"}).out),
              ElementsAre(Failed(host::FEATURE_ERROR_INVALID_ARGUMENT),
                          std::to_string(host::FEATURE_ERROR_INVALID_ARGUMENT)));
}

TEST_F(SystemInfoTest, ThreadsThatAskTogetherGetTheSameAnswer) {
  WriteModel(R"({"features": {"number": 42}})");
  const support::Outcome result = RunProbe({"together", "number"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(Lines(result.out), testing::AllOf(SizeIs(8), testing::Each("42")));
}

TEST_F(SystemInfoTest, AMissingModelIsSaidOnce) {
  EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("No such file or directory"));
}

TEST_F(SystemInfoTest, AMissingModelIsSaidOnceAlsoWhenThreadsAskTogether) {
  const support::Outcome result = RunProbe({"together", "number"});
  EXPECT_THAT(Lines(result.out), testing::AllOf(SizeIs(8), testing::Each("-77")));
  EXPECT_THAT(Lines(result.err), SizeIs(1));
}

TEST_F(SystemInfoTest, AModelThatIsNoFileIsSaidOnce) {
  std::filesystem::create_directory(m_File);
  EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("not a regular file"));
  std::filesystem::remove(m_File);
  ASSERT_EQ(mkfifo(m_File.c_str(), 0600), 0);
  EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("not a regular file"));
}

TEST_F(SystemInfoTest, AModelThatIsNoJsonIsSaidOnce) {
  for (const char* content :
       {"", "{", "{\"features\": {\"number\": 1,}}", "{\"features\": {\"number\": 1}} more",
        "{\"features\": {\"number\": 1, \"number\": 2}}"}) {
    WriteModel(content);
    EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("Line 1, Column")) << content;
  }
  // What the JSON library would let through.
  for (const std::string& content :
       {R"({"features": {"number": 007}})"s, "{\"features\": {\"number\": 1}}\0more"s,
        "{\"features\": {\"number\": 1, \"\n\": 2}}"s}) {
    WriteModel(content);
    EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("Line 1, Column")) << content;
  }
  WriteModel("\xEF\xBB\xBF{\"features\": {}}");
  EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("byte order mark; save it as UTF-8 without"));
  WriteModel(std::string(100000, '['));
  EXPECT_THAT(ReasonOfUnusableModel(),
              HasSubstr("Line 1, Column 1001: nested more than 1000 levels deep"));
}

TEST_F(SystemInfoTest, AModelWithoutFeaturesIsSaidOnce) {
  for (const char* content : {"[]", "{}", "{\"features\": []}", "{\"features\": null}"}) {
    WriteModel(content);
    EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("no object \"features\"")) << content;
  }
}

TEST_F(SystemInfoTest, AFeatureThatIsNeitherFlagNorNumberIsSaidOnce) {
  for (const char* value : {"\"1\"", "null", "1.0", "2147483648", "-2147483649", "[]", "{}"}) {
    WriteModel(std::string(R"({"features": {"number": 1, "flag": true, "odd": )") + value + "}}");
    EXPECT_THAT(ReasonOfUnusableModel(), HasSubstr("feature \"odd\"")) << value;
  }
}

}  // namespace
