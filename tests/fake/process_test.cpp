#include <cerrno>
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

}  // namespace
