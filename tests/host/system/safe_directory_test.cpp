#include "system/safe_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "support/temp_directory.h"

namespace host {
namespace {

using testing::HasSubstr;

// Runs `body` and returns what the std::runtime_error that it throws says.
template <typename Body>
std::string FailureOf(Body body) {
  try {
    body();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no failure";
}

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

class SafeDirectoryTest : public testing::Test {
 protected:
  void Write(const std::string& name, const std::string& content) {
    std::ofstream(m_Temp / name) << content;
  }
  std::string Read(const std::string& name) { return support::ReadFile(m_Temp / name); }

  support::TempDirectory m_Temp;
  SafeDirectory m_Directory{m_Temp.Path()};
};

TEST_F(SafeDirectoryTest, ATrustedDirectoryMayBeReachedThroughALink) {
  std::filesystem::create_directory(m_Temp / "real");
  std::filesystem::create_symlink("real", m_Temp / "link");
  SafeDirectory(m_Temp / "link").MakeFile("file", "x");
  EXPECT_EQ(Read("real/file"), "x");
}

TEST_F(SafeDirectoryTest, AMissingTrustedDirectoryIsNamed) {
  EXPECT_THAT(FailureOf([&] { SafeDirectory(m_Temp / "missing"); }),
              HasSubstr((m_Temp / "missing").string() + ": No such file or directory"));
}

TEST_F(SafeDirectoryTest, EnterDoesNotMakeADirectory) {
  EXPECT_THAT(FailureOf([&] { m_Directory.Enter("sub"); }), HasSubstr("No such file"));
  EXPECT_FALSE(std::filesystem::exists(m_Temp / "sub"));
}

TEST_F(SafeDirectoryTest, ADirectoryIsMadeWithItsPermissionsWhateverTheUmaskIs) {
  const mode_t before = umask(077);
  m_Directory.EnterOrMake("shared", 01777).EnterOrMake("sub", 0755);
  umask(before);
  EXPECT_EQ(ModeOf(m_Temp / "shared"), 01777u);
  EXPECT_EQ(ModeOf(m_Temp / "shared/sub"), 0755u);
}

TEST_F(SafeDirectoryTest, AnExistingDirectoryKeepsItsPermissions) {
  std::filesystem::create_directory(m_Temp / "sub");
  std::filesystem::permissions(m_Temp / "sub", std::filesystem::perms(0711));
  m_Directory.EnterOrMake("sub", 0755).MakeFile("file", "x");
  EXPECT_EQ(ModeOf(m_Temp / "sub"), 0711u);
  EXPECT_EQ(Read("sub/file"), "x");
}

TEST_F(SafeDirectoryTest, NoLinkToADirectoryIsFollowed) {
  std::filesystem::create_directory(m_Temp / "real");
  std::filesystem::create_symlink("real", m_Temp / "link");
  std::filesystem::create_symlink("missing", m_Temp / "dangling");
  for (const std::string name : {"link", "dangling"}) {
    EXPECT_THAT(FailureOf([&] { m_Directory.Enter(name); }), HasSubstr("is a symbolic link"));
    EXPECT_THAT(FailureOf([&] { m_Directory.EnterOrMake(name, 0755); }),
                HasSubstr("is a symbolic link"));
  }
  EXPECT_FALSE(std::filesystem::exists(m_Temp / "missing"));
}

TEST_F(SafeDirectoryTest, AFileIsNoDirectory) {
  Write("file", "x");
  EXPECT_THAT(FailureOf([&] { m_Directory.Enter("file"); }), HasSubstr("is not a directory"));
}

TEST_F(SafeDirectoryTest, OnlyNamesAreTaken) {
  for (const std::string name : {"", ".", "..", "a/b", "/a"}) {
    EXPECT_THAT(FailureOf([&] { m_Directory.Enter(name); }), HasSubstr("is not the name"));
    EXPECT_THAT(FailureOf([&] { m_Directory.EnterOrMake(name, 0755); }),
                HasSubstr("is not the name"));
    EXPECT_THAT(FailureOf([&] { m_Directory.MakeFile(name, ""); }), HasSubstr("is not the name"));
    EXPECT_THAT(FailureOf([&] { m_Directory.ReplaceFile(name, ""); }),
                HasSubstr("is not the name"));
    EXPECT_THAT(FailureOf([&] { m_Directory.ReadFile(name, 1); }), HasSubstr("is not the name"));
    EXPECT_THAT(FailureOf([&] { m_Directory.RemoveFile(name); }), HasSubstr("is not the name"));
  }
}

TEST_F(SafeDirectoryTest, AFileIsMadeAnew) {
  Write("file", "long old content");
  std::filesystem::create_hard_link(m_Temp / "file", m_Temp / "other name");
  m_Directory.MakeFile("file", "new");
  EXPECT_EQ(Read("file"), "new");
  EXPECT_EQ(Read("other name"), "long old content");
}

TEST_F(SafeDirectoryTest, AFileIsReplaced) {
  m_Directory.ReplaceFile("file", "first");
  EXPECT_EQ(Read("file"), "first");
  m_Directory.ReplaceFile("file", "second");
  EXPECT_EQ(Read("file"), "second");
}

TEST_F(SafeDirectoryTest, ADraftThatAKilledProcessLeftIsNoHindrance) {
  Write(".file.new", "half");
  m_Directory.ReplaceFile("file", "whole");
  EXPECT_EQ(Read("file"), "whole");
  EXPECT_FALSE(std::filesystem::exists(m_Temp / ".file.new"));
}

TEST_F(SafeDirectoryTest, OnlyARegularFileIsWrittenOver) {
  Write("target", "x");
  std::filesystem::create_symlink("target", m_Temp / "link");
  std::filesystem::create_symlink("missing", m_Temp / "dangling");
  std::filesystem::create_directory(m_Temp / "directory");
  ASSERT_EQ(mkfifo((m_Temp / "pipe").c_str(), 0600), 0);
  for (const std::string name : {"link", "dangling", "directory", "pipe"}) {
    const auto before = std::filesystem::symlink_status(m_Temp / name).type();
    EXPECT_THAT(FailureOf([&] { m_Directory.MakeFile(name, "y"); }),
                HasSubstr("not a regular file"));
    EXPECT_THAT(FailureOf([&] { m_Directory.ReplaceFile(name, "y"); }),
                HasSubstr("not a regular file"));
    EXPECT_EQ(std::filesystem::symlink_status(m_Temp / name).type(), before) << name;
  }
  EXPECT_EQ(Read("target"), "x");
  EXPECT_FALSE(std::filesystem::exists(m_Temp / "missing"));
}

TEST_F(SafeDirectoryTest, AFileIsReadUpToTheLimit) {
  Write("file", "12345");
  EXPECT_EQ(m_Directory.ReadFile("file", 5), "12345");
  EXPECT_THAT(FailureOf([&] { m_Directory.ReadFile("file", 4); }),
              HasSubstr("is longer than 4 bytes"));
  EXPECT_EQ(m_Directory.ReadFile("missing", 5), std::nullopt);
}

TEST_F(SafeDirectoryTest, OnlyARegularFileIsRead) {
  Write("target", "x");
  std::filesystem::create_symlink("target", m_Temp / "link");
  std::filesystem::create_directory(m_Temp / "directory");
  ASSERT_EQ(mkfifo((m_Temp / "pipe").c_str(), 0600), 0);
  for (const std::string name : {"link", "directory", "pipe"}) {
    EXPECT_THAT(FailureOf([&] { m_Directory.ReadFile(name, 10); }),
                HasSubstr("not a regular file"));
  }
}

TEST_F(SafeDirectoryTest, AFileIsRemovedAndALinkOnlyItself) {
  Write("target", "x");
  std::filesystem::create_symlink("target", m_Temp / "link");
  m_Directory.RemoveFile("link");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(m_Temp / "link")));
  EXPECT_EQ(Read("target"), "x");
  m_Directory.RemoveFile("target");
  EXPECT_FALSE(std::filesystem::exists(m_Temp / "target"));
  m_Directory.RemoveFile("target");
}

TEST_F(SafeDirectoryTest, ADirectoryIsNotRemoved) {
  std::filesystem::create_directory(m_Temp / "directory");
  EXPECT_THAT(FailureOf([&] { m_Directory.RemoveFile("directory"); }),
              HasSubstr("cannot remove " + (m_Temp / "directory").string()));
  EXPECT_TRUE(std::filesystem::exists(m_Temp / "directory"));
}

}  // namespace
}  // namespace host
