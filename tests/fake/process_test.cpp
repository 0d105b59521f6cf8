#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "fixture.h"
#include "platform_path.h"

namespace {

class FakeProcess : public fakes::FakePlatformTest {};

constexpr char kVariable[] = "FAKE_PROCESS_TEST";

TEST_F(FakeProcess, KeepsItsOwnEnvironmentAndLeavesTheRealOneAlone) {
  EXPECT_EQ(setenv(kVariable, "a", 1), 0);
  EXPECT_EQ(setenv(kVariable, "b", 0), 0);
  EXPECT_EQ(fake.Variable(kVariable), "a");
  EXPECT_EQ(setenv(kVariable, "c", 1), 0);
  EXPECT_EQ(fake.Variable(kVariable), "c");
  EXPECT_EQ(std::getenv(kVariable), nullptr);
  ExpectTrace(R"(
    setenv("FAKE_PROCESS_TEST", "a", 1) -> 0
    setenv("FAKE_PROCESS_TEST", "b", 0) -> 0
    setenv("FAKE_PROCESS_TEST", "c", 1) -> 0
  )");
}

TEST_F(FakeProcess, FailsToSetAVariableWithAnErrno) {
  fake.Fail("setenv", {.on = kVariable, .code = EINVAL});
  EXPECT_EQ(setenv(kVariable, "a", 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(fake.Variable(kVariable), std::nullopt);
  ExpectTrace(R"(setenv("FAKE_PROCESS_TEST", "a", 1) -> EINVAL)");
}

TEST_F(FakeProcess, TakesTheLocaleFromItsEnvironmentOrByName) {
  EXPECT_STREQ(std::setlocale(LC_ALL, ""), "C");
  setenv("LANG", "de_DE", 1);
  EXPECT_STREQ(std::setlocale(LC_ALL, ""), "de_DE");
  EXPECT_STREQ(std::setlocale(LC_ALL, "ko_KR"), "ko_KR");
  fake.Fail("setlocale");
  EXPECT_EQ(std::setlocale(LC_ALL, ""), nullptr);
  ExpectTrace(R"(
    setlocale(LC_ALL, "") -> "C"
    setenv("LANG", "de_DE", 1) -> 0
    setlocale(LC_ALL, "") -> "de_DE"
    setlocale(LC_ALL, "ko_KR") -> "ko_KR"
    setlocale(LC_ALL, "") -> null
  )");
}

TEST_F(FakeProcess, ComposesPathsBelowARealDirectoryOfItsOwn) {
  const std::string path = ComposePlatformPath(27, "/org.example.app/file");
  EXPECT_EQ(path, fake.AppDataDirectory() / "org.example.app/file");
  std::ofstream(path) << "x";
  EXPECT_TRUE(std::filesystem::exists(path));
  fake.RemoveFiles();
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_NE(ComposePlatformPath(27, "/org.example.app/file"), path);
  const std::filesystem::path second = fake.AppDataDirectory();
  fake.Reset();
  EXPECT_FALSE(std::filesystem::exists(second));
}

TEST_F(FakeProcess, ComposesNoPathThatItCannot) {
  EXPECT_EQ(ComposePlatformPath(26, "/a"), "");
  EXPECT_EQ(ComposePlatformPath(27, "a"), "");
  EXPECT_EQ(ComposePlatformPath(27, nullptr), "");
  fake.Fail("ComposePlatformPath", {.on = "27"});
  EXPECT_EQ(ComposePlatformPath(27, "/a"), "");
  ExpectTrace(R"(
    ComposePlatformPath(26, "/a") -> ""
    ComposePlatformPath(27, "a") -> ""
    ComposePlatformPath(27, null) -> ""
    ComposePlatformPath(27, "/a") -> ""
  )");
}

}  // namespace
