#include "gamebar/GameBarUtil.h"

#include <optional>
#include <stdexcept>

#include "KeyText.h"
#include "Keys.h"
#include "app_control.h"
#include "aul.h"
#include "gamebar/GameBarLog.h"
#include "gamebar/JsonText.h"
#include "ormu.h"
#include "system_info.h"

namespace {

constexpr char kLogModule[] = "GameBarUtil";

constexpr char kGameBar[] = "com.velmora.tv.gamebar";
constexpr char kCSFS[] = "com.velmora.tv.csfs";
constexpr char kMultiScreenLauncher[] = "com.velmora.tv.multiscreenlauncher";
constexpr char kTVViewer[] = "org.pavix.tv-viewer";

constexpr char kMode[] = "mode";

constexpr int kNeverLaunch = 0;
constexpr int kUnknownLaunchType = 100;

// Bit n is set when n stands for a game.
constexpr unsigned kGameDetections = 0x6FEE;
constexpr unsigned kMaxDetection = 14;

// Application states, see aul.h.
bool CanBeSeen(int status) { return status == 2 || status == 3; }
bool IsAlive(int status) { return status >= 0 && status != 5 && status != 9; }

// The value of "mode" for a launch; null when there is none.
const char* LaunchModeText(int mode) {
  switch (mode) {
    case GAME_BAR_FOR_GAME_MODE:
      return "auto_internal_game_mode_on";
    case GAME_BAR_FOR_GAME_ITEM:
      return "auto_game_item_on";
    case GAME_BAR_FOR_SOURCE:
      return "auto_source_change";
    case GAME_BAR_IN_BACKGROUND:
      return "auto_background";
    default:
      return nullptr;
  }
}

app_control_h CreateGameBarRequest() {
  app_control_h control = nullptr;
  app_control_create(&control);
  app_control_set_app_id(control, kGameBar);
  return control;
}

void SendRequest(const char* function, app_control_h control) {
  const int ret = app_control_send_launch_request(control, nullptr, nullptr);
  if (ret != 0) {
    GAMEBAR_LOG_AS(DLOG_ERROR, function, "Failed to launch bulit in app upgrader, ret = %d", ret);
  }
}

void DestroyRequest(app_control_h control) {
  if (control != nullptr) {
    app_control_destroy(control);
  }
}

// The text of a key that the TV viewer writes when it starts. Without it nothing can be said about
// the viewer; the exception says that to whoever asked.
std::string ReadViewerText(const char* key) {
  std::optional<std::string> text = ReadKeyText(key);
  if (!text) {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return *std::move(text);
}

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

void CGameBarUtil::LaunchGameBarApp(int mode) {
  GAMEBAR_ERROR("  LaunchGameBarApp: Auto Mode");
  if (GetAutoLaunchType() == kNeverLaunch) {
    GAMEBAR_ERROR(" Never Auto Launch!");
    return;
  }
  if (GetMultiScreenStatus() == "on") {
    GAMEBAR_ERROR(" MultiScreen is Showing, Gamebar app can not be launched in this case!");
    return;
  }
  if (IsCSFSRunning() || IsMultiScreenLauncherRunning()) {
    GAMEBAR_ERROR(" CSFS or MultiScreenLauncher is Running, Gamebar app can not be launched!");
    return;
  }

  const app_control_h control = CreateGameBarRequest();
  const char* modeText = LaunchModeText(mode);
  if (modeText == nullptr) {
    return;
  }
  app_control_add_extra_data(control, kMode, modeText);
  SendRequest(__func__, control);
  GAMEBAR_INFO("Success to launch update client");
  DestroyRequest(control);
}

void CGameBarUtil::TerminateGameBarApp() {
  GAMEBAR_ERROR("TerminateGameBarApp!");
  const app_control_h control = CreateGameBarRequest();
  app_control_add_extra_data(control, "__NO_RAISE_WINDOW", "enable");
  app_control_add_extra_data(control, kMode, "Terminate");
  SendRequest(__func__, control);
  DestroyRequest(control);
}

int CGameBarUtil::GetAutoLaunchType() {
  int value = kUnknownLaunchType;
  if (system_info_get_custom_int("com.velmora/featureconf/game_bar.auto_launch_support_type",
                                 &value) != 0) {
    GAMEBAR_ERROR("get value failed");
    return kUnknownLaunchType;
  }
  GAMEBAR_INFO("FMS key value [%d]", value);
  return value;
}

bool CGameBarUtil::CheckGameVconf(int value) {
  const auto detection = static_cast<unsigned>(value);
  return detection <= kMaxDetection && (kGameDetections >> detection & 1U) != 0;
}

bool CGameBarUtil::IsFocusOnDisplayModePopup() {
  const std::string state = ReadViewerText(kViewerStateKey);
  const std::string banners = ReadViewerText(kVisibleBannersKey);
  GAMEBAR_ERROR("tv-viewer state / visible banner: %s, %s", state.c_str(), banners.c_str());
  return Contains(state, "resume_focus") && Contains(banners, "screen_ratio");
}

bool CGameBarUtil::IsTVViewerResume() {
  const std::string state = ReadViewerText(kViewerStateKey);
  const int status = aul_app_get_status(kTVViewer);
  GAMEBAR_ERROR("tv-viewer state: %s, %d", state.c_str(), status);
  return Contains(state, "resume") && CanBeSeen(status);
}

bool CGameBarUtil::IsGameBarAlive() {
  const int status = aul_app_get_status(kGameBar);
  GAMEBAR_ERROR("gamebar state: %d", status);
  return IsAlive(status);
}

bool CGameBarUtil::IsMultiScreenLauncherRunning() {
  const int status = aul_app_get_status(kMultiScreenLauncher);
  GAMEBAR_ERROR("multiscreenlauncher state: %d", status);
  return CanBeSeen(status);
}

bool CGameBarUtil::IsCSFSRunning() {
  const int status = aul_app_get_status(kCSFS);
  GAMEBAR_ERROR("csfs state: %d", status);
  return CanBeSeen(status);
}

bool CGameBarUtil::isGameModeOn() {
  int value = 0;
  const int nRet = ormu_get_real_game_mode(1, &value);
  SETTINGS_ERROR("Game Mode GET value( %d)(0: OFF, 1: ON)", value);
  if (nRet != 0) {
    SETTINGS_ERROR("Get game mode failed. nRet: %d", nRet);
  }
  return value == 1;
}

int CGameBarUtil::GetGameModeValue() {
  int value = 0;
  const int nRet = ormu_get_game_mode(0, 1, &value);
  if (nRet != 0) {
    SETTINGS_ERROR("Get game mode failed. nRet: %d", nRet);
  }
  return value;
}

std::string CGameBarUtil::GetMultiScreenStatus() {
  const std::optional<std::string> info = ReadKeyText(kMultiScreenKey);
  if (!info) {
    SETTINGS_ERROR("fail to get memory/multiscreen/info.");
    return "";
  }
  std::string mode = ParseJsonVal(*info, kMode);
  SETTINGS_ERROR("mode value is %s", mode.c_str());
  return mode;
}

std::string CGameBarUtil::ParseJsonVal(const std::string& json, const std::string& key) {
  const std::optional<Json::Value> root = ParseJsonText(json);
  if (!root) {
    SETTINGS_INFO("json parse error");
    return "error";
  }
  return (*root)[key].asString();
}
