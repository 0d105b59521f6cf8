#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

using fakes::KeyValue;

constexpr char kCount[] = "db/factory/factory_reset_count";
constexpr char kProgressing[] = "memory/menu/general/reset/progressing";
constexpr char kMenuKey[] = "db/menu/auto_power_off";
constexpr char kEcoKey[] = "db/menu/system/eco_solution/auto_power_off";
constexpr char kDefault[] = "com.velmora/featureconf/setting.menuitem.autopoweroff_default_value";

constexpr char kCompose[] =
    R"(ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
)";

// The application of the model's default 2, and the end of the mark that it is under way.
constexpr char kApplied[] =
    R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> 0: 2
  I SettingsService m_SetNewDefaultValue | FMS key value [2]\n
  vconf_set_int("db/menu/auto_power_off", 6) -> 0
  I SettingsService m_SetNewDefaultValue | auto power off default value [6]\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 6) -> 0
  ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
)";

// The sync file holds 2, the set was reset for the third time.
constexpr char kOutdated[] =
    R"(E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsService m_FlagVconfSyncDone | countInVconf[3], countInFile[2]\n
  E SettingsService m_FlagVconfSyncDone | factory reset is true\n
  E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[3]\n
)";

// The file is there and cannot be used.
constexpr char kNotOpened[] =
    R"(E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsService m_FlagVconfSyncDone | Fail to open file\n
)";

// What ends a start in the middle, as a kill does: no step after it happens.
struct CutOff {};
std::exception_ptr Cut() { return std::make_exception_ptr(CutOff()); }

// While it lives, nothing can be written into files, as on a full disk.
class FullDisk {
 public:
  FullDisk() : m_Handler(signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_Before), 0);
    const rlimit nothing{0, m_Before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &nothing), 0);
  }
  ~FullDisk() {
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &m_Before), 0);
    signal(SIGXFSZ, m_Handler);
  }

 private:
  sighandler_t m_Handler;
  rlimit m_Before{};
};

// While it lives, permissions hold for this thread also when the tests are root's.
class NoPrivileges {
 public:
  NoPrivileges() {
    EXPECT_EQ(syscall(SYS_capget, &m_Header, m_Before), 0);
    __user_cap_data_struct without[2] = {m_Before[0], m_Before[1]};
    without[0].effective &= ~(1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH);
    EXPECT_EQ(syscall(SYS_capset, &m_Header, without), 0);
  }
  ~NoPrivileges() { EXPECT_EQ(syscall(SYS_capset, &m_Header, m_Before), 0); }

 private:
  __user_cap_header_struct m_Header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct m_Before[2] = {};
};

class StartupConsistency : public ServiceTest {
 protected:
  StartupConsistency() { fake.SetFeature(kDefault, 2); }

  // Expects the start with these steps about the reset in place of the usual ones.
  void ExpectStart(const std::string& syncSteps, fakes::Place where = fakes::Place::Current()) {
    EXPECT_TRUE(service.t_OnCreate());
    ExpectTrace(StartBut({{kSyncSteps, syncSteps}}), where);
  }

  std::filesystem::path Mark() const { return SyncFilePath().string() + ".unfinished"; }

  void ExpectKeys(std::optional<KeyValue> menu, std::optional<KeyValue> eco) {
    EXPECT_EQ(fake.Key(kMenuKey), menu);
    EXPECT_EQ(fake.Key(kEcoKey), eco);
  }

  void ExpectNotOpenedAtStart() {
    ExpectStart(std::string(kCompose) + kNotOpened + kApplied);
    ExpectKeys(6, 6);
  }
};

TEST_F(StartupConsistency, WritesNothingWhenTheDefaultWasAppliedForThisCount) {
  ExpectStart(kSyncSteps);
  ExpectKeys(std::nullopt, std::nullopt);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultAndMakesTheFileAtTheFirstStart) {
  std::filesystem::remove(SyncFilePath());
  ExpectStart(std::string(kCompose) +
              R"(E SettingsService m_FlagVconfSyncDone | sync file not exist\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[3]\n
  )" + kCompose +
              kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultOnceForEveryReset) {
  std::filesystem::remove(SyncFilePath());
  service.t_OnCreate();
  fake.SetKey(kMenuKey, 8);
  service.t_OnCreate();
  ExpectKeys(8, 6);
  fake.SetKey(kCount, 4);
  service.t_OnCreate();
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "4");
}

TEST_F(StartupConsistency, MakesNoFileWhileTheCountCannotBeRead) {
  std::filesystem::remove(SyncFilePath());
  fake.Fail("vconf_get_int", {.on = kCount});
  ExpectStart(std::string(kCompose) +
              R"(E SettingsService m_FlagVconfSyncDone | sync file not exist\n
  vconf_get_int("db/factory/factory_reset_count") -> -1
  E SettingsServiceCommand UpdateHistoryFile | vconf get fails\n
)" + kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), std::nullopt);
}

TEST_F(StartupConsistency, AppliesTheDefaultAtEveryStartWhileTheCountCannotBeRead) {
  fake.SetKey(kCount, "3");
  ExpectStart(std::string(kCompose) + R"(E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> -1
  E SettingsService m_FlagVconfSyncDone | vconf get fails\n
)" + kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
  fake.SetKey(kMenuKey, 8);
  service.t_OnCreate();
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultWhenTheCountDiffers) {
  WriteSyncFile("2");
  ExpectStart(std::string(kCompose) + kOutdated + kCompose + kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultWhenTheCountIsLowerThanBefore) {
  WriteSyncFile("1000000");
  service.t_OnCreate();
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultAfterAGeneralReset) {
  WriteSyncFile("-2");
  ExpectStart(std::string(kCompose) +
              R"(E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsService m_FlagVconfSyncDone | countInVconf[3], countInFile[-2]\n
  E SettingsService m_FlagVconfSyncDone | factory reset is true\n
  E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[3]\n
  )" + kCompose +
              kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, TakesACountOfMinusOneForTheFilesMissingNumber) {
  fake.SetKey(kCount, -1);
  WriteSyncFile("");
  service.t_OnCreate();
  EXPECT_TRUE(fake.WaitForTrace("countInVconf[-1], countInFile[-1]", {}));
  ExpectKeys(std::nullopt, std::nullopt);
}

TEST_F(StartupConsistency, ReadsTheNumberThatTheFileBeginsWith) {
  const std::pair<std::string, std::string> files[] = {
      {"3\n", "3"},
      {" \t\n3", "3"},
      {"+3", "3"},
      {"003", "3"},
      {"3 4", "3"},
      {"3x", "3"},
      {"-2147483648", "-2147483648"},
      {"2147483647", "2147483647"},
      // What is no number that the file can have held counts as none.
      {"", "-1"},
      {"x3", "-1"},
      {"-", "-1"},
      {std::string("\0003", 2), "-1"},
      {"2147483648", "-1"},
      {"-2147483649", "-1"},
      {"4294967299", "-1"},
      {"99999999999999999999", "-1"},
      {std::string(1 << 20, '9'), "-1"},
      {std::string(1 << 20, '0') + "3", "0"},
      {std::string(1 << 20, ' ') + "3", "-1"},
  };
  for (const auto& [text, number] : files) {
    WriteSyncFile(text);
    service.t_OnCreate();
    EXPECT_TRUE(fake.WaitForTrace("countInVconf[3], countInFile[" + number + "]", {}))
        << text.substr(0, 30);
    EXPECT_EQ(SyncFileText(), number == "3" ? text : "3");
    fake.TakeTrace();
  }
}

TEST_F(StartupConsistency, ReadsNoMoreOfAHugeFileThanItsBeginning) {
  constexpr std::uintmax_t kHuge = std::uintmax_t{1} << 36;
  std::filesystem::resize_file(SyncFilePath(), kHuge);
  service.t_OnCreate();
  EXPECT_TRUE(fake.WaitForTrace("sync is done", {}));
  EXPECT_EQ(std::filesystem::file_size(SyncFilePath()), kHuge);
  WriteSyncFile("2");
  std::filesystem::resize_file(SyncFilePath(), kHuge);
  service.t_OnCreate();
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, WritesAShorterNumberOverALongerOne) {
  WriteSyncFile("123456789");
  service.t_OnCreate();
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, AppliesTheDefaultAtEveryStartWhileADirectoryIsInTheWay) {
  std::filesystem::remove(SyncFilePath());
  std::filesystem::create_directory(SyncFilePath());
  ExpectNotOpenedAtStart();
  EXPECT_TRUE(std::filesystem::is_directory(SyncFilePath()));
  fake.SetKey(kMenuKey, 8);
  service.t_OnCreate();
  ExpectKeys(6, 6);
}

TEST_F(StartupConsistency, DoesNotWaitAtAPipe) {
  std::filesystem::remove(SyncFilePath());
  ASSERT_EQ(mkfifo(SyncFilePath().c_str(), 0600), 0);
  ExpectNotOpenedAtStart();
}

TEST_F(StartupConsistency, WritesNothingIntoAPipeThatSomebodyReads) {
  std::filesystem::remove(SyncFilePath());
  ASSERT_EQ(mkfifo(SyncFilePath().c_str(), 0600), 0);
  const int reader = open(SyncFilePath().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  SettingsServiceCommand::UpdateHistoryFile(-2);
  char byte;
  EXPECT_LE(read(reader, &byte, 1), 0);
  close(reader);
  EXPECT_TRUE(fake.WaitForTrace("Fail to open file", {}));
}

TEST_F(StartupConsistency, DoesNotFollowALink) {
  const auto other = fake.AppDataDirectory() / "other";
  std::ofstream(other) << "2";
  std::filesystem::remove(SyncFilePath());
  std::filesystem::create_symlink(other, SyncFilePath());
  ExpectNotOpenedAtStart();
  EXPECT_EQ(SyncFileText(), "2");
  EXPECT_TRUE(std::filesystem::is_symlink(SyncFilePath()));
}

TEST_F(StartupConsistency, MakesNoFileThroughALinkToNothing) {
  std::filesystem::remove(SyncFilePath());
  std::filesystem::create_symlink(fake.AppDataDirectory() / "other", SyncFilePath());
  ExpectNotOpenedAtStart();
  SettingsServiceCommand::UpdateHistoryFile(-2);
  EXPECT_FALSE(std::filesystem::exists(fake.AppDataDirectory() / "other"));
  EXPECT_TRUE(std::filesystem::is_symlink(SyncFilePath()));
}

TEST_F(StartupConsistency, AppliesTheDefaultThoughTheFileHasNoPath) {
  fake.Fail("ComposePlatformPath");
  ExpectStart(R"(ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> ""
  E SettingsService m_FlagVconfSyncDone | sync file not exist\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[3]\n
  ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> ""
  E SettingsServiceCommand UpdateHistoryFile | Fail to open file\n
)" + std::regex_replace(kApplied, std::regex("-> app data.*"), "-> \"\""));
  ExpectKeys(6, 6);
}

TEST_F(StartupConsistency, LeavesNoFileOpen) {
  const auto openFiles = [] {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const auto before = openFiles();
  for (int start = 0; start < 3; ++start) {
    WriteSyncFile("2");
    service.t_OnCreate();
    std::filesystem::remove(SyncFilePath());
    std::filesystem::create_directory(SyncFilePath());
    service.t_OnCreate();
    std::filesystem::remove(SyncFilePath());
    ASSERT_EQ(mkfifo(SyncFilePath().c_str(), 0600), 0);
    service.t_OnCreate();
    std::filesystem::remove(SyncFilePath());
  }
  EXPECT_EQ(openFiles(), before);
}

TEST_F(StartupConsistency, AppliesTheDefaultAtTheNextStartWhereverThisOneWasCutOff) {
  struct Call {
    const char* name;
    std::string on;
    int after;
  };
  const Call calls[] = {{"vconf_get_int", kCount, 0},
                        {"ComposePlatformPath", "", 1},
                        {"system_info_get_custom_int", kDefault, 0},
                        {"vconf_set_int", kMenuKey, 0},
                        {"vconf_set_int", kEcoKey, 0},
                        {"ComposePlatformPath", "", 2}};
  for (const std::optional<std::string>& file : {std::optional<std::string>(), {"2"}, {"-2"}}) {
    for (const Call& call : calls) {
      SCOPED_TRACE(file.value_or("no file") + ", cut off at " + call.name + " " + call.on);
      std::filesystem::remove(SyncFilePath());
      if (file) {
        WriteSyncFile(*file);
      }
      fake.SetKey(kMenuKey, 8);
      fake.SetKey(kEcoKey, 8);
      fake.Fail(call.name, {.on = call.on, .after = call.after, .times = 1, .exception = Cut()});
      EXPECT_THROW(service.t_OnCreate(), CutOff);
      service.t_OnCreate();
      ExpectKeys(6, 6);
      EXPECT_EQ(SyncFileText(), "3");
      fake.SetKey(kMenuKey, 8);
      service.t_OnCreate();
      ExpectKeys(8, 6);
      fake.TakeTrace();
    }
  }
}

TEST_F(StartupConsistency, AppliesTheDefaultWhenTheFileIsMarkedThoughTheCountsAreEqual) {
  std::ofstream(Mark()).close();
  fake.SetKey(kMenuKey, 8);
  ExpectStart(std::string(kSyncSteps) + kApplied);
  ExpectKeys(6, 6);
  EXPECT_EQ(SyncFileText(), "3");
  EXPECT_FALSE(std::filesystem::exists(Mark()));
  fake.SetKey(kMenuKey, 8);
  service.t_OnCreate();
  ExpectKeys(8, 6);
}

TEST_F(StartupConsistency, AppliesTheDefaultWhenTheFileIsMarkedWhateverTheCount) {
  for (const std::string count : {"0", "-1", "-2"}) {
    WriteSyncFile(count);
    std::ofstream(Mark()).close();
    fake.SetKey(kCount, std::stoi(count));
    fake.SetKey(kMenuKey, 8);
    service.t_OnCreate();
    EXPECT_TRUE(fake.WaitForTrace("sync is done", {})) << count;
    ExpectKeys(6, 6);
    EXPECT_EQ(SyncFileText(), count);
    EXPECT_FALSE(std::filesystem::exists(Mark()));
    fake.TakeTrace();
  }
}

TEST_F(StartupConsistency, MarksTheFileWithEveryCountThatItWrites) {
  for (const int count : {-2, -1, 4}) {
    std::filesystem::remove(Mark());
    SettingsServiceCommand::UpdateHistoryFile(count);
    EXPECT_TRUE(std::filesystem::exists(Mark())) << count;
  }
}

TEST_F(StartupConsistency, TakesALinkToNothingForAMark) {
  std::filesystem::create_symlink(fake.AppDataDirectory() / "other", Mark());
  fake.SetKey(kMenuKey, 8);
  service.t_OnCreate();
  ExpectKeys(6, 6);
  EXPECT_FALSE(std::filesystem::is_symlink(Mark()));
  EXPECT_FALSE(std::filesystem::exists(fake.AppDataDirectory() / "other"));
}

TEST_F(StartupConsistency, AppliesTheDefaultWhileItCannotMarkItsBeginningOrItsEnd) {
  std::filesystem::create_directory(Mark());
  for (int start = 0; start < 2; ++start) {
    fake.SetKey(kMenuKey, 8);
    service.t_OnCreate();
    ExpectKeys(6, 6);
  }
  std::filesystem::remove(Mark());
  std::filesystem::create_symlink(fake.AppDataDirectory() / "other", Mark());
  WriteSyncFile("2");
  service.t_OnCreate();
  EXPECT_FALSE(std::filesystem::exists(fake.AppDataDirectory() / "other"));
  EXPECT_FALSE(std::filesystem::is_symlink(Mark()));
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, LeavesOnlyTheFileBehind) {
  WriteSyncFile("2");
  service.t_OnCreate();
  std::vector<std::filesystem::path> left;
  for (const auto& entry : std::filesystem::directory_iterator(SyncFilePath().parent_path())) {
    left.push_back(entry.path());
  }
  EXPECT_EQ(left, std::vector{SyncFilePath()});
}

TEST_F(StartupConsistency, LeavesTheFileAloneWhenItMayNotBeReadAndWritten) {
  using std::filesystem::perms;
  for (const perms allowed : {perms::none, perms::owner_read, perms::owner_write}) {
    std::filesystem::permissions(SyncFilePath(), allowed);
    {
      const NoPrivileges none;
      service.t_OnCreate();
    }
    EXPECT_TRUE(fake.WaitForTrace(R"(m_FlagVconfSyncDone | Fail to open file\n)", {}));
    ExpectKeys(6, 6);
    std::filesystem::permissions(SyncFilePath(), perms::owner_all);
    EXPECT_EQ(SyncFileText(), "3");
    fake.TakeTrace();
  }
}

TEST_F(StartupConsistency, WritesTheSameValueToBothKeysForEveryCode) {
  const std::pair<int, int> values[] = {{1, 4}, {2, 6}, {3, 8},  {0, 0},
                                        {4, 0}, {7, 0}, {-1, 0}, {2147483647, 0}};
  for (const auto& [code, value] : values) {
    WriteSyncFile("2");
    fake.SetKey(kMenuKey, 99);
    fake.SetKey(kEcoKey, 99);
    fake.SetFeature(kDefault, code);
    service.t_OnCreate();
    ExpectKeys(value, value);
    EXPECT_TRUE(fake.WaitForTrace("FMS key value [" + std::to_string(code) + "]", {}));
    EXPECT_TRUE(
        fake.WaitForTrace("auto power off default value [" + std::to_string(value) + "]", {}));
    fake.TakeTrace();
  }
}

TEST_F(StartupConsistency, LeavesTheMenuKeyAloneWhenTheDefaultIsNotKnown) {
  WriteSyncFile("2");
  fake.SetKey(kMenuKey, 8);
  fake.SetFeature(kDefault, true);
  ExpectStart(
      std::string(kCompose) + kOutdated + kCompose +
      R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> -1
  E SettingsService m_SetNewDefaultValue | get value failed\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 0) -> 0
  )" + kCompose);
  ExpectKeys(8, 0);
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(StartupConsistency, TakesAPositiveResultOfTheDefaultForAFailure) {
  WriteSyncFile("2");
  fake.Fail("system_info_get_custom_int", {.on = kDefault, .code = 4});
  service.t_OnCreate();
  ExpectKeys(std::nullopt, 0);
}

TEST_F(StartupConsistency, WritesZeroToTheEcoKeyWhenTheMenuKeyCannotBeWritten) {
  WriteSyncFile("2");
  fake.Fail("vconf_set_int", {.on = kMenuKey});
  ExpectStart(
      std::string(kCompose) + kOutdated + kCompose +
      R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> 0: 2
  I SettingsService m_SetNewDefaultValue | FMS key value [2]\n
  vconf_set_int("db/menu/auto_power_off", 6) -> -1
  E SettingsService m_SetNewDefaultValue | failed\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 0) -> 0
  )" + kCompose);
  ExpectKeys(std::nullopt, 0);
}

TEST_F(StartupConsistency, LogsThatTheEcoKeyCannotBeWritten) {
  WriteSyncFile("2");
  fake.Fail("vconf_set_int", {.on = kEcoKey});
  ExpectStart(
      std::string(kCompose) + kOutdated + kCompose +
      R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> 0: 2
  I SettingsService m_SetNewDefaultValue | FMS key value [2]\n
  vconf_set_int("db/menu/auto_power_off", 6) -> 0
  I SettingsService m_SetNewDefaultValue | auto power off default value [6]\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 6) -> -1
  E SettingsService m_SyncAutoPowerOffVconf | failed\n
  )" + kCompose);
}

TEST_F(StartupConsistency, LogsThatNeitherKeyCanBeWritten) {
  WriteSyncFile("2");
  fake.Fail("vconf_set_int");
  ExpectStart(
      std::string(kCompose) + kOutdated + kCompose +
      R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> 0: 2
  I SettingsService m_SetNewDefaultValue | FMS key value [2]\n
  vconf_set_int("db/menu/auto_power_off", 6) -> -1
  E SettingsService m_SetNewDefaultValue | failed\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 0) -> -1
  E SettingsService m_SyncAutoPowerOffVconf | failed\n
  )" + kCompose);
}

TEST_F(StartupConsistency, LogsThatTheDefaultIsNotKnownAndTheEcoKeyCannotBeWritten) {
  WriteSyncFile("2");
  fake.Fail("system_info_get_custom_int", {.on = kDefault});
  fake.Fail("vconf_set_int", {.on = kEcoKey});
  ExpectStart(
      std::string(kCompose) + kOutdated + kCompose +
      R"(system_info_get_custom_int("com.velmora/featureconf/setting.menuitem.autopoweroff_default_value") -> -1
  E SettingsService m_SetNewDefaultValue | get value failed\n
  vconf_set_int("db/menu/system/eco_solution/auto_power_off", 0) -> -1
  E SettingsService m_SyncAutoPowerOffVconf | failed\n
  )" + kCompose);
}

TEST_F(StartupConsistency, AppliesTheDefaultAtEveryStartWhileTheFileCannotBeWritten) {
  const FullDisk full;
  fake.SetKey(kCount, 4);
  for (int start = 0; start < 2; ++start) {
    fake.SetKey(kMenuKey, 8);
    service.t_OnCreate();
    ExpectKeys(6, 6);
    EXPECT_TRUE(fake.WaitForTrace("Fail to write file", {}));
    EXPECT_EQ(SyncFileText(), "");
    fake.TakeTrace();
  }
}

class HistoryFile : public ServiceTest {};

TEST_F(HistoryFile, IsEmptyWhenItCannotBeWritten) {
  const FullDisk full;
  SettingsServiceCommand::UpdateHistoryFile(-2);
  ExpectTrace(R"(
    E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[-2]\n
    ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
    E SettingsServiceCommand UpdateHistoryFile | Fail to write file\n
  )");
  EXPECT_EQ(SyncFileText(), "");
}

TEST_F(HistoryFile, TakesEveryCountButMinusOneAsItIs) {
  for (const int count : {-2, 0, 5, -2147483647 - 1, 2147483647}) {
    Let("count", std::to_string(count));
    SettingsServiceCommand::UpdateHistoryFile(count);
    ExpectTrace(R"(
      E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[{count}]\n
      ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
    )");
    EXPECT_EQ(SyncFileText(), std::to_string(count));
  }
}

TEST_F(HistoryFile, TakesThePresentCountForMinusOneWhateverItIs) {
  for (const int count : {7, -1, -2}) {
    fake.SetKey(kCount, count);
    SettingsServiceCommand::UpdateHistoryFile(-1);
    EXPECT_EQ(SyncFileText(), std::to_string(count));
  }
}

TEST_F(HistoryFile, StaysAsItIsWhenThePresentCountCannotBeRead) {
  fake.Fail("vconf_get_int", {.on = kCount});
  SettingsServiceCommand::UpdateHistoryFile(-1);
  ExpectTrace(R"(
    vconf_get_int("db/factory/factory_reset_count") -> -1
    E SettingsServiceCommand UpdateHistoryFile | vconf get fails\n
  )");
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(HistoryFile, DoesNotWaitForTheReaderOfAPipe) {
  std::filesystem::remove(SyncFilePath());
  ASSERT_EQ(mkfifo(SyncFilePath().c_str(), 0600), 0);
  SettingsServiceCommand::UpdateHistoryFile(-2);
  ExpectTrace(R"(
    E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[-2]\n
    ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
    E SettingsServiceCommand UpdateHistoryFile | Fail to open file\n
  )");
}

TEST_F(HistoryFile, IsReadableForAllAndWritableForTheServiceAlone) {
  const mode_t before = umask(022);
  std::filesystem::remove(SyncFilePath());
  SettingsServiceCommand::UpdateHistoryFile(1);
  umask(before);
  EXPECT_EQ(static_cast<int>(std::filesystem::status(SyncFilePath()).permissions()), 0644);
}

class GeneralReset : public CreatedServiceTest {
 protected:
  void Change(KeyValue progressing) {
    fake.SetKey(kProgressing, std::move(progressing));
    fake.RunMainLoop();
  }
};

TEST_F(GeneralReset, MakesTheFileOutdatedWhenItBegins) {
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/menu/general/reset/progressing") -> 0: 1
    E SettingsServiceCommand GeneralResetCB | general reset is progressing\n
    E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[-2]\n
    ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
  )");
  EXPECT_EQ(SyncFileText(), "-2");
}

TEST_F(GeneralReset, LeavesTheFileAloneForEveryOtherState) {
  for (const int progressing : {0, 2, -1}) {
    Change(progressing);
    Let("progressing", std::to_string(progressing));
    ExpectTrace(R"(vconf_get_int("memory/menu/general/reset/progressing") -> 0: {progressing})");
  }
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(GeneralReset, LogsThatItsStateCannotBeRead) {
  Change("1");
  ExpectTrace(R"(
    vconf_get_int("memory/menu/general/reset/progressing") -> -1
    E SettingsServiceCommand GeneralResetCB | get value failed\n
  )");
  EXPECT_EQ(SyncFileText(), "3");
}

TEST_F(GeneralReset, LogsThatTheFileCannotBeOpened) {
  std::filesystem::remove(SyncFilePath());
  std::filesystem::create_directory(SyncFilePath());
  Change(1);
  ExpectTrace(R"(
    vconf_get_int("memory/menu/general/reset/progressing") -> 0: 1
    E SettingsServiceCommand GeneralResetCB | general reset is progressing\n
    E SettingsServiceCommand UpdateHistoryFile | factory_reset_count[-2]\n
    ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
    E SettingsServiceCommand UpdateHistoryFile | Fail to open file\n
  )");
}

TEST_F(GeneralReset, LeadsToTheDefaultAtTheNextStart) {
  fake.SetFeature(kDefault, 1);
  Change(1);
  Change(0);
  service.t_OnCreate();
  EXPECT_EQ(fake.Key(kMenuKey), KeyValue(4));
  EXPECT_EQ(fake.Key(kEcoKey), KeyValue(4));
  EXPECT_EQ(SyncFileText(), "3");
}

}  // namespace
