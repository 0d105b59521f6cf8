#include "gamebar/GameModeDataManager.h"

#include <chrono>
#include <thread>

#include "Keys.h"
#include "gamebar/ExceptionBorder.h"
#include "gamebar/GameBarLog.h"
#include "gamebar/GameBarUtil.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/Sleep.h"
#include "gamebar/SourceDataManager.h"
#include "ormu.h"
#include "system_info.h"

namespace {

using namespace std::chrono_literals;

constexpr char kLogModule[] = "GameModeDataManager";

constexpr int kGameItemOn = 1;
constexpr int kSecondGameState = 2;

constexpr auto kGameModeDelay = 500ms;

int GameDeviceType() { return CSourceDataManager::GetInstance()->GetCurrentGameDeviceType(); }

void ShowAimPoint() { GameBarVAPManager::GetInstance()->SetVAP(); }

void CloseAimPoint() { GameBarVAPManager::GetInstance()->CloseVAP(); }

void Unregister(int& id) {
  if (id != 0) {
    ormu_unregister_callback_id(id);
    id = 0;
  }
}

}  // namespace

SingletonPointer<CGameModeDataManager> CGameModeDataManager::m_pGameModeDataManager;

CGameModeDataManager* CGameModeDataManager::GetInstance() {
  return m_pGameModeDataManager.GetOrCreate([] { return new CGameModeDataManager; });
}

void CGameModeDataManager::ReleaseInstance() {
  if (CGameModeDataManager* manager = m_pGameModeDataManager.Get()) {
    manager->Destory();
    m_pGameModeDataManager.Delete();
  }
}

CGameModeDataManager::CGameModeDataManager() {
  GAMEBAR_ERROR("CGameModeDataManager constructor!!");
}

CGameModeDataManager::~CGameModeDataManager() {
  GAMEBAR_ERROR("CGameModeDataManager destructor!!");
  // Not to wait for a worker, but to come after all that an ended one did.
  const std::unique_lock lock(m_WorkerLock, std::try_to_lock);
}

void CGameModeDataManager::InitData() {
  m_CurrentGameItemMode = CGameBarUtil::GetGameModeValue();
  m_RegisterGameModeHandle();
  vconf_notify_key_changed(kLaunchByERBrightnessKey, OnERBrightnessChanged, this);
}

void CGameModeDataManager::Destory() {
  GAMEBAR_ERROR("GameModeDataManager Destory");
  Unregister(m_GameItemCallbackId);
  Unregister(m_GameModeCallbackId);
  vconf_ignore_key_changed(kLaunchByERBrightnessKey, OnERBrightnessChanged);
}

void CGameModeDataManager::m_RegisterGameModeHandle() {
  m_GameItemCallbackId = ormu_register_callback_id("game-item-changed", m_GameItemChanged, this);
  if (m_GameItemCallbackId == 0) {
    SETTINGS_ERROR("[GameBarService]subscribe game item change failed.");
  }
  m_GameModeCallbackId = ormu_register_callback_id("game-mode-changed", m_GameModeChanged, this);
  if (m_GameModeCallbackId == 0) {
    SETTINGS_ERROR("[GameBarService]subscribe game mode change failed.");
  }
}

void CGameModeDataManager::m_ReadFlagERBrightness(const char* function) {
  bool flag = m_FlagERBrightness;
  if (system_info_get_custom_bool("com.velmora/featureconf/oobe.show_energy_regulation_brightness",
                                  &flag) != 0) {
    SETTINGS_LOG_AS(
        DLOG_ERROR, function,
        "get value of com.velmora/featureconf/oobe.show_energy_regulation_brightness is failed");
    return;
  }
  m_FlagERBrightness = flag;
}

void CGameModeDataManager::m_GameItemChanged(void*, int value, void* userData) try {
  GAMEBAR_ERROR("m_GameItemChanged: %d", value);
  if (userData == nullptr) {
    SETTINGS_ERROR("pUserData is NULL");
    return;
  }
  auto* manager = static_cast<CGameModeDataManager*>(userData);
  manager->m_CurrentGameItemMode = value;
  const bool isGame =
      value == kGameItemOn || (value == kSecondGameState && CGameBarUtil::isGameModeOn());
  if (!isGame) {
    CloseAimPoint();
    return;
  }
  const int deviceType = GameDeviceType();
  GAMEBAR_ERROR("  GameDeviceType : %d", deviceType);
  manager->m_ReadFlagERBrightness(__func__);
  const bool flagERBrightness = manager->m_FlagERBrightness;
  SETTINGS_ERROR("pThis -> m_FlagERBrightness = %d", flagERBrightness);
  if (deviceType != GAME_DEVICE_NONE && CGameBarUtil::IsTVViewerResume() && !flagERBrightness) {
    CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_GAME_ITEM);
  }
  ShowAimPoint();
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

void CGameModeDataManager::m_GameModeChanged(void*, int value, void* userData) try {
  GAMEBAR_ERROR("m_GameModeChanged: %d", value);
  if (userData == nullptr) {
    SETTINGS_ERROR("pUserData is NULL");
    return;
  }
  if (value == 1) {
    auto* manager = static_cast<CGameModeDataManager*>(userData);
    std::thread(&CGameModeDataManager::m_RunGameModeOn, manager).detach();
  } else {
    CloseAimPoint();
  }
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

// What the worker logs stands under the name of the function that starts it.
namespace {
constexpr char kWorkerFunction[] = "m_GameModeChanged";
}

void CGameModeDataManager::m_RunGameModeOn() try {
  std::lock_guard lock(m_WorkerLock);
  SleepFor(kGameModeDelay);
  const int gameItemMode = CGameBarUtil::GetGameModeValue();
  m_CurrentGameItemMode = gameItemMode;
  GAMEBAR_LOG_AS(DLOG_ERROR, kWorkerFunction, "m_CurrentGameItemMode is %d", gameItemMode);
  if (!m_LaunchForGameMode() && !CGameBarUtil::IsGameBarAlive()) {
    GAMEBAR_LOG_AS(DLOG_ERROR, kWorkerFunction, "launch gamebar in background");
    CGameBarUtil::LaunchGameBarApp(GAME_BAR_IN_BACKGROUND);
  }
  ShowAimPoint();
} catch (...) {
  LogEscapedException(kLogModule, kWorkerFunction);
}

bool CGameModeDataManager::m_LaunchForGameMode() {
  if (m_CurrentGameItemMode != kSecondGameState) {
    return false;
  }
  const int deviceType = GameDeviceType();
  if (deviceType == GAME_DEVICE_NONE || deviceType == GAME_DEVICE_PC) {
    return false;
  }
  int gameVconf = 1;
  vconf_get_int(kGameDetectionKey, &gameVconf);
  GAMEBAR_LOG_AS(DLOG_ERROR, kWorkerFunction, "game vconf is %d", gameVconf);
  m_ReadFlagERBrightness(kWorkerFunction);
  const bool flagERBrightness = m_FlagERBrightness;
  SETTINGS_LOG_AS(DLOG_ERROR, kWorkerFunction, "p -> m_FlagERBrightness = %d", flagERBrightness);
  if (!CGameBarUtil::CheckGameVconf(gameVconf) || !CGameBarUtil::IsTVViewerResume() ||
      flagERBrightness) {
    return false;
  }
  CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_GAME_MODE);
  return true;
}

void CGameModeDataManager::OnERBrightnessChanged(keynode_t*, void* userData) try {
  GAMEBAR_ERROR("ERBrightness vconf changed!");
  if (userData == nullptr) {
    SETTINGS_ERROR("pUserData is NULL");
    return;
  }
  const int gameItemMode = CGameBarUtil::GetGameModeValue();
  static_cast<CGameModeDataManager*>(userData)->m_CurrentGameItemMode = gameItemMode;
  int vconfValue = 0;
  vconf_get_int(kLaunchByERBrightnessKey, &vconfValue);
  GAMEBAR_ERROR("ERBrightness vconfValue: %d", vconfValue);
  if (gameItemMode != kGameItemOn || vconfValue != 1) {
    return;
  }
  // The wish is consumed before it is fulfilled: nobody is to see it twice.
  vconf_set_int(kLaunchByERBrightnessKey, 0);
  if (GameDeviceType() != GAME_DEVICE_NONE && CGameBarUtil::IsTVViewerResume()) {
    CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_GAME_ITEM);
  }
  ShowAimPoint();
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}
