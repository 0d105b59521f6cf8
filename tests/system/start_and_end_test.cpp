#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "system_test.h"

namespace {

using support::ReadFile;
using testing::Contains;
using testing::ElementsAreArray;

const std::string kLastStartMessage = access("/proc/self/reclaim", W_OK) == 0
                                          ? "[PID][success to open][1]"
                                          : "[PID][fail to open (2)]";

void Append(std::vector<LogLine>& to, const std::vector<LogLine>& lines) {
  to.insert(to.end(), lines.begin(), lines.end());
}

// The part of the game bar's automation, with the tuner on the screen.
const std::vector<LogLine> kGameBarStartLines = {
    {'E', "GameBarService", "CGameBarService", "[GameBarService] CGameBarService constructor!!"},
    {'E', "GameBarService", "Init", "[GameBarService] Init!!"},
    {'E', "GameModeDataManager", "CGameModeDataManager",
     "[GameBarService] CGameModeDataManager constructor!!"},
    {'E', "SourceDataManager", "CSourceDataManager",
     "[GameBarService] CSourceDataManager constructor!!"},
    {'E', "SourceDataManager", "m_RefreshSourceList",
     "[GameBarService]******** detectedName : , editName  : TV ********"},
    {'E', "SourceDataManager", "m_GetCurrentSouceDeviceType", "[GameBarService] m_SourceState: 1"},
    {'E', "SourceDataManager", "m_IsVideoOutputSource", "[GameBarService] source is NOT_VALID"},
    {'E', "SourceDataManager", "m_GetCurrentSouceDeviceType",
     "[GameBarService] Current source is not video output source, no need to handle!"},
    {'E', "SourceDataManager", "m_RefreshSourceAndGameItem",
     "[GameBarService] CurrentGameDeviceType: 0"},
    {'E', "SourceDataManager", "m_RefreshSourceAndGameItem", "[GameBarService] m_GameItemMode: 0"},
    {'E', "GameBarVAPManager", "GameBarVAPManager",
     "[GameBarService] GameBarVAPManager constructor!!"},
    {'E', "GameBarVAPManager", "GetVAPData", "[GameBarService] VAP data = []"},
    {'E', "GameBarVAPManager", "ParseVAPData", "[GameBarService] json parse error"},
    {'I', "GameBarVAPManager", "ParseVAPData", "[GameBarService] VAP data=[]"},
    {'E', "GameBarUtil", "isGameModeOn", "Game Mode GET value( 0)(0: OFF, 1: ON)"},
};

// What the first start-up on a fresh set logs, without network speakers and where nothing is
// disabled: the model "full" with all its automations, or "basic" without any.
std::vector<LogLine> StartLines(bool full, const std::string& outdoor) {
  std::vector<LogLine> lines = {
      {'I', "SettingsService", "main", "main start!!"},
      {'E', "SettingsService", "SettingsService", "SettingsService constructor!!"},
      {'I', "SettingsService", "t_OnCreate", "t_OnCreate!"},
      {'E', "SettingsService", "m_Initialize", "m_Initialize!"},
      {'E', "SettingsService", "m_Initialize", "pid:PID"},
      {'I', "SettingsServiceCommand", "UpdateLanguage", "UpdateLanguage"},
      {'I', "SettingsServiceCommand", "UpdateLanguage", "New language : [(null)]"},
      {'I', "SettingsService", "m_SyncAutoPowerOffVconf", ""},
      {'E', "SettingsService", "m_FlagVconfSyncDone", "sync file not exist"},
      {'E', "SettingsServiceCommand", "UpdateHistoryFile", "factory_reset_count[0]"},
      {'I', "SettingsService", "m_SetNewDefaultValue",
       std::string("FMS key value ") + (full ? "[2]" : "[3]")},
      {'I', "SettingsService", "m_SetNewDefaultValue",
       std::string("auto power off default value ") + (full ? "[6]" : "[8]")},
      {'E', "SettingsService", "m_FlagDisableItemEmpty", "fail to check disabled items."},
      {'I', "SettingsService", "m_RegisterAppTerminateCB", "No any disable RQ"},
      {'E', "SettingsService", "m_LoadDisableMenuItem", "m_LoadDisableMenuItem"},
      {'E', "SettingsService", "m_LoadDisableMenuItem", "fail to check disabled items."},
      {'E', "SettingsService", "m_Initialize",
       std::string("[GameBarService] isSupportGameBar: ") + (full ? "1" : "0")},
  };
  if (full) {
    Append(lines, kGameBarStartLines);
  }
  lines.push_back({'I', "SettingsService", "m_Initialize", outdoor});
  if (full) {
    lines.push_back({'E', "ProtectionModeService", "CProtectionModeService",
                     "[ProtectionModeService] CProtectionModeService constructor!!"});
  }
  lines.push_back({'I', "SettingsService", "do_swap_and_cach_drop_memory", kLastStartMessage});
  return lines;
}

const std::vector<LogLine> kEndLines = {
    {'I', "SettingsService", "t_OnTerminate", "t_OnTerminate!!"},
    {'E', "SettingsService", "m_Finalize", "m_Finalize!"},
};

std::vector<LogLine> RequestLines(const std::string& request, std::vector<LogLine> lines) {
  lines.insert(lines.begin(),
               {'I', "SettingsService", "IfMessageReceived",
                "IfMessageReceived!! message: [from:SENDER] [rsp:PTR] [message:" + request + "]"});
  return lines;
}

TEST(StartAndEnd, OneStartOneRequestOfEachKindAndOneEndAreLoggedLineForLine) {
  TelevisionSet set("full");
  set.StartDaemon();
  const std::string get = R"({"data":{"menuID":"picturemode"},"method":"GetItemValue"})";
  const std::string getName = R"({"data":{"menuID":"picturemode"},"method":"GetItemValueName"})";
  const std::string store =
      R"({"data":{"PreViewFlag":false,"Value":"movie","menuID":"picturemode"},)"
      R"("method":"SetItemValue"})";
  const std::string unknown = R"({"method":"NoSuchMethod"})";
  for (const std::string& request : {get, getName, store, unknown}) {
    ASSERT_EQ(set.Run({"settingsctl", "request", request}).status, 0);
  }
  EXPECT_EQ(set.EndDaemon(), 0);

  std::vector<LogLine> expected = StartLines(true, "Outdoor supported[0]");
  Append(expected,
         RequestLines(get, {{'I', "SettingsServiceCommand", "GetItemValue", " Enter GetItemValue "},
                            {'I', "SettingsServiceCommand", "GetItemValue", "0 [standard]"},
                            {'I', "SettingsService", "IfMessageReceived", "ret_data = standard"}}));
  Append(
      expected,
      RequestLines(getName,
                   {{'I', "SettingsServiceCommand", "GetItemValueName", " Enter GetItemValueName "},
                    {'I', "SettingsServiceCommand", "GetItemValueName", "0 [Standard]"},
                    {'I', "SettingsService", "IfMessageReceived", "ret_data = Standard"}}));
  Append(
      expected,
      RequestLines(store, {{'I', "SettingsServiceCommand", "SetItemValue", " Enter SetItemValue "},
                           {'I', "SettingsServiceCommand", "SetItemValue", "MenuID = picturemode"},
                           {'I', "SettingsService", "IfMessageReceived", "ret_data = true"}}));
  Append(expected, RequestLines(unknown, {{'E', "SettingsService", "IfMessageReceived",
                                           "There is no matched method"}}));
  Append(expected, kEndLines);
  EXPECT_THAT(set.LogLines(), ElementsAreArray(expected));
}

TEST(StartAndEnd, WithoutTheFeaturesAllRequestsAreStillServed) {
  TelevisionSet set("basic");
  set.StartDaemon();
  ASSERT_TRUE(set.WaitForLog(kLastStartMessage));
  EXPECT_THAT(set.LogLines(), ElementsAreArray(StartLines(false, "Outdoor supported[0]")));
  EXPECT_EQ(set.Run({"settingsctl", "get", "picturemode"}).out, "standard (Standard)\n");
}

TEST(StartAndEnd, TheOutdoorLinePrintsTheNumberOfNetworkSpeakers) {
  TelevisionSet set("basic");
  set.StartDaemon();
  ASSERT_EQ(set.Run({"setctl", "key", "set", "memory/set/network_speakers",
                     R"([{"id":"a","name":"Kitchen","type":"wifi"},)"
                     R"({"id":"b","name":"Attic","type":"wifi"}])"})
                .status,
            0);
  EXPECT_EQ(set.EndDaemon(), 0);
  set.StartDaemon();
  ASSERT_TRUE(set.WaitForLog("Outdoor supported[2]"));
  EXPECT_THAT(set.LogLines(),
              Contains(LogLine{'I', "SettingsService", "m_Initialize",
                               "activeSpksDisplayName[Kitchen], activeSpksSpeakerType[wifi]"}));
  EXPECT_THAT(set.LogLines(),
              Contains(LogLine{'I', "SettingsService", "m_Initialize", "Outdoor supported[2]"}));
}

TEST(StartAndEnd, ASymbolicLinkInPlaceOfTheReadyEventIsNotFollowedAndRequestsAreServed) {
  TelevisionSet set("basic");
  const std::filesystem::path victim = set.Root() / "victim";
  std::ofstream(victim) << "precious";
  std::filesystem::create_directory(set.Root() / "tmp");
  std::filesystem::create_symlink(victim, set.Root() / "tmp/settings-service_ready");

  // Without its event nobody is told when the service is ready.
  support::Process daemon({SETTINGS_BINARY_DIRECTORY "/settings-service"}, set.Variables(),
                          {"/dev/null", "/dev/null", set.Root() / "daemon.log"});
  ASSERT_TRUE(set.WaitForLog("failed to send event, setting service ready"));
  EXPECT_EQ(set.Run({"settingsctl", "get", "picturemode"}).status, 0);
  EXPECT_EQ(ReadFile(victim), "precious");
  daemon.Signal(SIGTERM);
  EXPECT_EQ(daemon.Wait(), 0);
  EXPECT_EQ(ReadFile(victim), "precious");
}

TEST(StartAndEnd, TheReadyEventIsGoneAfterARegularEnd) {
  TelevisionSet set("basic");
  set.StartDaemon();
  EXPECT_TRUE(std::filesystem::exists(set.Root() / "tmp/settings-service_ready"));
  EXPECT_EQ(set.EndDaemon(), 0);
  EXPECT_FALSE(std::filesystem::exists(set.Root() / "tmp/settings-service_ready"));
}

TEST(StartAndEnd, InterruptEndsTheDaemonRegularlyToo) {
  TelevisionSet set("basic");
  set.StartDaemon();
  set.Daemon().Signal(SIGINT);
  EXPECT_EQ(set.Daemon().Wait(), 0);
  std::vector<LogLine> expected = StartLines(false, "Outdoor supported[0]");
  Append(expected, kEndLines);
  EXPECT_THAT(set.LogLines(), ElementsAreArray(expected));
}

TEST(StartAndEnd, ASecondDaemonOnTheBusSaysThatTheNameIsTakenAndLeavesTheFirstAlone) {
  TelevisionSet set("basic");
  set.StartDaemon();
  const support::Outcome second = set.Run({"settings-service", "--log", "/dev/null"});
  EXPECT_EQ(second.status, 5);
  EXPECT_THAT(second.err, testing::HasSubstr("org.nuvra.service.settings_service"));
  EXPECT_EQ(std::count(second.err.begin(), second.err.end(), '\n'), 1) << second.err;
  EXPECT_TRUE(std::filesystem::exists(set.Root() / "tmp/settings-service_ready"));
  EXPECT_EQ(set.Run({"settingsctl", "get", "picturemode"}).status, 0);
}

TEST(StartAndEnd, TheLogShowsARequestAsSoonAsItIsAnswered) {
  TelevisionSet set("basic");
  const std::filesystem::path log = set.Root() / "var/log/settings-service.log";
  std::filesystem::create_directories(log.parent_path());
  support::Process daemon({SETTINGS_BINARY_DIRECTORY "/settings-service", "--log", log},
                          set.Variables(), {"/dev/null", "/dev/null", set.Root() / "daemon.log"});
  ASSERT_TRUE(support::WaitUntil(
      [&] { return std::filesystem::exists(set.Root() / "tmp/settings-service_ready"); }));
  for (int number = 0; number < 20; ++number) {
    const std::string method = "NoSuchMethod" + std::to_string(number);
    ASSERT_EQ(set.Run({"settingsctl", "request", R"({"method":")" + method + "\"}"}).status, 0);
    EXPECT_THAT(set.Run({"setctl", "log", "--lines", "9"}).out, testing::HasSubstr(method + '"'));
  }
  daemon.Signal(SIGTERM);
  EXPECT_EQ(daemon.Wait(), 0);
}

TEST(StartAndEnd, WithoutABusTheDaemonSaysSo) {
  TelevisionSet set("basic");
  const support::Outcome outcome =
      set.Run({"settings-service", "--bus", "unix:path=" + (set.Root() / "nobody").string(),
               "--log", "/dev/null"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_THAT(outcome.err, testing::HasSubstr("nobody"));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

}  // namespace
