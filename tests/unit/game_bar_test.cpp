#include "game_bar_test.h"

#include <mutex>

#include "gamebar/GameBarService.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/GameModeDataManager.h"
#include "gamebar/SourceDataManager.h"

// A worker holds its lock to its end, and nobody else can tell when that is.
template <typename Manager, auto Lock>
struct LockOf {
  friend std::mutex& WorkerLock(Manager& manager) { return manager.*Lock; }
};
std::mutex& WorkerLock(CSourceDataManager& manager);
std::mutex& WorkerLock(CGameModeDataManager& manager);
template struct LockOf<CSourceDataManager, &CSourceDataManager::m_WorkerLock>;
template struct LockOf<CGameModeDataManager, &CGameModeDataManager::m_WorkerLock>;

namespace {

// The names of the source that the test begins with, and of the others.
struct SourceText {
  int id;
  const char* port;
  const char* editName;
  const char* detectedName;
  int type;
};

constexpr SourceText kSources[] = {
    {13, "SOURCE_TYPE_HDMI1", "XBOX One", "Console", 1},
    {14, "SOURCE_TYPE_HDMI2", "PC", "Computer", 2},
    {15, "SOURCE_TYPE_HDMI3", "Blu-ray", "Player", 3},
};

const SourceText* Find(int source) {
  for (const SourceText& text : kSources) {
    if (text.id == source) {
      return &text;
    }
  }
  return nullptr;
}

}  // namespace

GameBarTest::GameBarTest() {
  fake.SetAppStatus(kViewer, 2);
  fake.SetKey(kViewerState, "resume_focus");
  fake.SetKey(kBanners, "");
  fake.SetKey(kScreensInfo, R"({"mode":"off"})");
  fake.SetKey(kRotation, 0);
  fake.SetKey(kAimStatus, 0);
  fake.SetFeature(kLaunchType, 1);
  fake.SetFeature(kShowsBrightness, false);
  std::multimap<int, CSourceItem> sources;
  for (const SourceText& text : kSources) {
    sources.insert(
        {text.id,
         {.sourceId = text.id, .editName = text.editName, .detectedName = text.detectedName}});
  }
  fake.SetSources(sources);
  ShowSource(kConsole);
  fake.HoldSleeps();
}

GameBarTest::~GameBarTest() {
  CGameBarService::GetInstance();
  CGameBarService::ReleaseInstance();
}

void GameBarTest::ShowSource(int source) {
  fake.SetPicture({.source = source, .sourceBeforePreview = source, .width = 1920, .height = 1080});
}

void GameBarTest::CreateSourceDataManager() {
  fake.Name(CSourceDataManager::GetInstance(), "sourceDataManager");
  fake.TakeTrace();
}

void GameBarTest::CreateGameModeDataManager() {
  fake.Name(CGameModeDataManager::GetInstance(), "gameModeDataManager");
  fake.TakeTrace();
}

void GameBarTest::CreateVAPManager(int rotation) {
  fake.SetKey(kRotation, rotation);
  GameBarVAPManager::GetInstance();
  fake.TakeTrace();
}

void GameBarTest::EndSleep() {
  ASSERT_TRUE(fake.WaitForSleepers(1));
  ASSERT_TRUE(fake.StepSleep());
}

void GameBarTest::JoinSourceWorker() {
  std::lock_guard lock(WorkerLock(*CSourceDataManager::GetInstance()));
}

void GameBarTest::FinishSourceWorker() {
  EndSleep();
  JoinSourceWorker();
}

void GameBarTest::JoinGameModeWorker() {
  std::lock_guard lock(WorkerLock(*CGameModeDataManager::GetInstance()));
}

void GameBarTest::FinishGameModeWorker() {
  EndSleep();
  JoinGameModeWorker();
}

std::string But(std::string trace, const Differences& differences, fakes::Place where) {
  for (const auto& [usual, other] : differences) {
    const auto at = trace.find(usual);
    if (at == std::string::npos || at != trace.rfind(usual)) {
      ADD_FAILURE_AT(where.file, where.line) << "not once in the trace: " << usual;
      return trace;
    }
    trace.replace(at, usual.size(), other);
  }
  return trace;
}

std::string LaunchTrace(const std::string& mode) {
  return R"(
    E GameBarUtil LaunchGameBarApp | [GameBarService]   LaunchGameBarApp: Auto Mode\n
    system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type") -> 0: 1
    I GameBarUtil GetAutoLaunchType | [GameBarService] FMS key value [1]\n
  )" + MultiScreenTrace() +
         R"(
    aul_app_get_status("com.velmora.tv.csfs") -> -1
    E GameBarUtil IsCSFSRunning | [GameBarService] csfs state: -1\n
    aul_app_get_status("com.velmora.tv.multiscreenlauncher") -> -1
    E GameBarUtil IsMultiScreenLauncherRunning | [GameBarService] multiscreenlauncher state: -1\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "com.velmora.tv.gamebar") -> 0
    app_control_add_extra_data(appControl, "mode", ")" +
         mode + R"(") -> 0
    app_control_send_launch_request(appControl, null, null) -> 0
    I GameBarUtil LaunchGameBarApp | [GameBarService] Success to launch update client\n
    app_control_destroy(appControl) -> 0
  )";
}

std::string TerminateTrace() {
  return R"(
    E GameBarUtil TerminateGameBarApp | [GameBarService] TerminateGameBarApp!\n
    app_control_create() -> 0: appControl
    app_control_set_app_id(appControl, "com.velmora.tv.gamebar") -> 0
    app_control_add_extra_data(appControl, "__NO_RAISE_WINDOW", "enable") -> 0
    app_control_add_extra_data(appControl, "mode", "Terminate") -> 0
    app_control_send_launch_request(appControl, null, null) -> 0
    app_control_destroy(appControl) -> 0
  )";
}

std::string MultiScreenTrace(const std::string& mode) {
  return R"(
    vconf_get_str("memory/multiscreen/info") -> "{"mode":")" +
         mode + R"("}"
    E GameBarUtil GetMultiScreenStatus | mode value is )" +
         mode + R"(\n
  )";
}

std::string ViewerTrace(const std::string& state, int status) {
  const std::string number = std::to_string(status);
  return R"(
    vconf_get_str("memory/tv-viewer/viewer_state") -> ")" +
         state + R"("
    aul_app_get_status("org.pavix.tv-viewer") -> )" +
         number + R"(
    E GameBarUtil IsTVViewerResume | [GameBarService] tv-viewer state: )" +
         state + ", " + number + R"(\n
  )";
}

std::string PopupTrace(const std::string& state, const std::string& banners) {
  return R"(
    vconf_get_str("memory/tv-viewer/viewer_state") -> ")" +
         state + R"("
    vconf_get_str("memory/tv-viewer/visible_banners") -> ")" +
         banners + R"("
    E GameBarUtil IsFocusOnDisplayModePopup | [GameBarService] tv-viewer state / visible banner: )" +
         state + ", " + banners + R"(\n
  )";
}

std::string AliveTrace(int status) {
  const std::string number = std::to_string(status);
  return R"(
    aul_app_get_status("com.velmora.tv.gamebar") -> )" +
         number + R"(
    E GameBarUtil IsGameBarAlive | [GameBarService] gamebar state: )" +
         number + R"(\n
  )";
}

std::string RealGameModeTrace(int mode) {
  const std::string number = std::to_string(mode);
  return R"(
    ormu_get_real_game_mode(1) -> 0: )" +
         number + R"(
    E GameBarUtil isGameModeOn | Game Mode GET value( )" +
         number + R"()(0: OFF, 1: ON)\n
  )";
}

std::string CreateVAPTrace() {
  return R"(
    E GameBarVAPManager GameBarVAPManager | [GameBarService] GameBarVAPManager constructor!!\n
    vconf_get_int("db/sysman/rotation_state") -> 0: 0
  )";
}

std::string RotatedTrace() {
  return MultiScreenTrace() + R"(
    E GameBarVAPManager SetVAP | [GameBarService] Rotate, virtual aim point can not be showing in this case!\n
  )";
}

std::string AlreadyClosedTrace() {
  return R"(
    vconf_get_int("memory/menu/virtualaim/status") -> 0: 0
    I GameBarVAPManager CloseVAP | [GameBarService] already closed aim!!\n
  )";
}

std::string SourceListTrace() {
  return R"(
    CSourceAPI::GetSourceList() -> 0: {13 "XBOX One" "Console", 14 "PC" "Computer", 15 "Blu-ray" "Player"}
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : Console, editName  : XBOX One ********\n
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : Computer, editName  : PC ********\n
    E SourceDataManager m_RefreshSourceList | [GameBarService]******** detectedName : Player, editName  : Blu-ray ********\n
  )";
}

std::string RefreshTrace(int gameItem, int source, int sourceState) {
  const SourceText* const text = Find(source);
  const std::string state = std::to_string(sourceState);
  const std::string item = std::to_string(gameItem);
  const std::string port = text == nullptr ? "NOT_VALID" : text->port;
  const std::string type = std::to_string(text == nullptr ? 0 : text->type);
  std::string trace = R"(
    TVServiceAPI::CreateSourceControl(1, 0) -> 0: sourceControl
    ISourceControl::GetSourceState() -> 0: )" +
                      state + R"(
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] m_SourceState: )" +
                      state + R"(\n
    ISourceControl::GetCurrentSource() -> 1: )" +
                      std::to_string(source) + R"(
    E SourceDataManager m_IsVideoOutputSource | [GameBarService] source is )" +
                      port + R"(\n
  )";
  if (text == nullptr) {
    trace += R"(
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] Current source is not video output source, no need to handle!\n
    TVServiceAPI::Destroy(sourceControl)
  )";
  } else {
    trace += R"(
    TVServiceAPI::Destroy(sourceControl)
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] find the source\n
    E SourceDataManager m_GetCurrentSouceDeviceType | [GameBarService] deviceDetectName: )" +
             std::string(text->detectedName) + " | deviceEditName: " + text->editName + R"(\n
  )";
  }
  return trace + R"(
    ormu_get_game_mode(0, 1) -> 0: )" +
         item + R"(
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] CurrentGameDeviceType: )" +
         type + R"(\n
    E SourceDataManager m_RefreshSourceAndGameItem | [GameBarService] m_GameItemMode: )" +
         item + R"(\n
  )";
}
