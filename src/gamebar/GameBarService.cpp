#include "gamebar/GameBarService.h"

#include "Keys.h"
#include "gamebar/ExceptionBorder.h"
#include "gamebar/GameBarLog.h"
#include "gamebar/GameBarUtil.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/GameModeDataManager.h"
#include "gamebar/SourceDataManager.h"
#include "vconf.h"

namespace {

constexpr char kLogModule[] = "GameBarService";

}  // namespace

SingletonPointer<CGameBarService> CGameBarService::m_pGameBarService;

CGameBarService* CGameBarService::GetInstance() {
  return m_pGameBarService.GetOrCreate([] { return new CGameBarService; });
}

void CGameBarService::ReleaseInstance() {
  if (CGameBarService* service = m_pGameBarService.Get()) {
    service->Destory();
    GameBarVAPManager::ReleaseInstance();
    m_pGameBarService.Delete();
  }
}

CGameBarService::CGameBarService() { GAMEBAR_ERROR("CGameBarService constructor!!"); }

CGameBarService::~CGameBarService() { GAMEBAR_ERROR("CGameBarService destructor!!"); }

void CGameBarService::Init() {
  GAMEBAR_ERROR("Init!!");
  // The game mode is watched before the current source is judged, and the aim point comes last.
  for (const auto initialise : {m_InitGameMode, m_InitSource, m_InitVAP}) {
    try {
      initialise();
    } catch (...) {
      LogEscapedException(kLogModule, __func__);
    }
  }
}

void CGameBarService::m_InitGameMode() {
  CGameModeDataManager* manager = CGameModeDataManager::GetInstance();
  manager->m_CurrentGameItemMode = CGameBarUtil::GetGameModeValue();
  manager->m_RegisterGameModeHandle();
  vconf_notify_key_changed(kLaunchByERBrightnessKey, CGameModeDataManager::OnERBrightnessChanged,
                           manager);
}

void CGameBarService::m_InitSource() { CSourceDataManager::GetInstance()->InitData(); }

void CGameBarService::m_InitVAP() { GameBarVAPManager::GetInstance()->InitData(); }

void CGameBarService::Destory() {
  GAMEBAR_ERROR("Destory!!");
  CGameModeDataManager::ReleaseInstance();
  CSourceDataManager::ReleaseInstance();
}
