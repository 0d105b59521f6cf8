#include "gamebar/SourceDataManager.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>
#include <utility>

#include "Keys.h"
#include "gamebar/ExceptionBorder.h"
#include "gamebar/GameBarLog.h"
#include "gamebar/GameBarUtil.h"
#include "gamebar/GameBarVAPManager.h"
#include "gamebar/Sleep.h"
#include "ormu.h"
#include "vconf.h"

namespace {

using namespace std::chrono_literals;

constexpr char kLogModule[] = "SourceDataManager";

constexpr int kUnknownSource = -1;
constexpr int kUnknownState = -1;
constexpr int kPictureShown = 1;
constexpr int kNothingChanged = -1;
constexpr int kScreen = 0;

constexpr int kPowerOn = 0;
constexpr int kPictureOff = 1;

constexpr auto kPictureSettingPoll = 200ms;
constexpr int kPictureSettingPolls = 10;

// A console that is switched on together with the set needs longer to give a signal.
constexpr char kSlowConsole[] = "PlayStation";
constexpr auto kPowerOnDelay = 2500ms;
constexpr auto kSlowConsoleDelay = 5s;

struct Port {
  int source;
  const char* name;
};

constexpr Port kVideoOutputPorts[] = {
    {13, "SOURCE_TYPE_HDMI1"}, {14, "SOURCE_TYPE_HDMI2"},        {15, "SOURCE_TYPE_HDMI3"},
    {16, "SOURCE_TYPE_HDMI4"}, {33, "SOURCE_TYPE_DISPLAY_PORT"}, {38, "SOURCE_TYPE_HDMI5"},
    {39, "SOURCE_TYPE_HDMI6"}, {41, "SOURCE_TYPE_USB_C"},        {46, "SOURCE_TYPE_HDMI7"},
    {47, "SOURCE_TYPE_HDMI8"},
};

const Port* FindPort(int source) {
  const auto* port = std::find_if(std::begin(kVideoOutputPorts), std::end(kVideoOutputPorts),
                                  [&](const Port& p) { return p.source == source; });
  return port != std::end(kVideoOutputPorts) ? port : nullptr;
}

// In the order in which they are subscribed.
constexpr ESignalType kSignals[] = {
    SIGNAL_EXT_SOURCE_CHANGE_START, SIGNAL_EXT_SOURCE_SIGNAL_OK, SIGNAL_EXT_SOURCE_NOT_SUPPORT,
    SIGNAL_EXT_SOURCE_NO_SIGNAL,    SIGNAL_EXT_SOURCE_UNPLUG,    SIGNAL_EXT_SOURCE_STOP,
    SIGNAL_SOURCE_INFO_CHANGE,
};

// Null for a signal that is not subscribed.
const char* SignalName(ESignalType type) {
  switch (type) {
    case SIGNAL_EXT_SOURCE_CHANGE_START:
      return "SIGNAL_EXT_SOURCE_CHANGE_START";
    case SIGNAL_EXT_SOURCE_SIGNAL_OK:
      return "SIGNAL_EXT_SOURCE_SIGNAL_OK";
    case SIGNAL_EXT_SOURCE_NOT_SUPPORT:
      return "SIGNAL_EXT_SOURCE_NOT_SUPPORT";
    case SIGNAL_EXT_SOURCE_NO_SIGNAL:
      return "SIGNAL_EXT_SOURCE_NO_SIGNAL";
    case SIGNAL_EXT_SOURCE_UNPLUG:
      return "SIGNAL_EXT_SOURCE_UNPLUG";
    case SIGNAL_EXT_SOURCE_STOP:
      return "SIGNAL_EXT_SOURCE_STOP";
    case SIGNAL_SOURCE_INFO_CHANGE:
      return "SIGNAL_SOURCE_INFO_CHANGE";
  }
  return nullptr;
}

// A control of the TV service, given back at the end; so is one that was not created.
template <typename Control, int (*Create)(EProfile, int, Control**)>
class OwnedControl {
 public:
  OwnedControl() : m_Result(Create(PROFILE_MAIN, kScreen, &m_Control)) {}
  ~OwnedControl() { TVServiceAPI::Destroy(m_Control); }
  OwnedControl(const OwnedControl&) = delete;
  OwnedControl& operator=(const OwnedControl&) = delete;

  int Result() const { return m_Result; }
  explicit operator bool() const { return m_Result == 0 && m_Control != nullptr; }
  Control* operator->() const { return m_Control; }

 private:
  Control* m_Control = nullptr;
  int m_Result;
};

using SourceControl = OwnedControl<ISourceControl, TVServiceAPI::CreateSourceControl>;
using VideoControl = OwnedControl<IVideoControl, TVServiceAPI::CreateVideoControl>;

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

SingletonPointer<CSourceDataManager> CSourceDataManager::m_pSourceDataManager;

CSourceDataManager* CSourceDataManager::GetInstance() {
  return m_pSourceDataManager.GetOrCreate([] { return new CSourceDataManager; });
}

void CSourceDataManager::ReleaseInstance() {
  if (CSourceDataManager* manager = m_pSourceDataManager.Get()) {
    manager->Destory();
    m_pSourceDataManager.Delete();
  }
}

CSourceDataManager::CSourceDataManager()
    : m_GameConsoleNames{"XBOX",          "XBOX One",      "XBOX One X",     "XBOX 360",
                         "XBOX Series",   "XBOX Series X", "PlayStation",    "PlayStation 3",
                         "PlayStation 4", "PlayStation 5", "NintendoSwitch", "Nintendo Switch"},
      m_DeviceNames(std::make_shared<const DeviceNames>()) {
  GAMEBAR_ERROR("CSourceDataManager constructor!!");
}

CSourceDataManager::~CSourceDataManager() {
  GAMEBAR_ERROR("CSourceDataManager destructor!!");
  // Not to wait for a worker, but to come after all that an ended one did.
  const std::unique_lock lock(m_WorkerLock, std::try_to_lock);
}

void CSourceDataManager::InitData() {
  CSourceAPI::Get()->RegisterSourceAPICallback(m_SourceListChanged, this);
  m_PictureSettingCallbackId =
      ormu_register_callback_id("picture-setting-period", m_PictureSettingPeriod, this);
  device_power_subscribe_state_changed_event(m_OnPowerStateChanged, this);
  m_RegisterExtSignalHandle();
  m_RefreshSourceList();
  m_RefreshSourceAndGameItem();
  m_CurrentSource = m_GetCurrentSourceBeforePreview();
  if (CurrentGameDeviceType != GAME_DEVICE_NONE && m_GameItemMode == 1) {
    GAMEBAR_ERROR("Launch gamebar due to source change");
    CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_SOURCE);
  }
}

void CSourceDataManager::Destory() {
  if (m_SignalSubscriber != nullptr) {
    for (const ESignalType signal : kSignals) {
      m_SignalSubscriber->Unsubscribe(signal, PROFILE_MAIN, m_OnTvsSignaled);
    }
  }
  CSourceAPI::Get()->UnregisterSourceAPICallback(this);
  ormu_unregister_callback_id(m_PictureSettingCallbackId);
  device_power_unsubscribe_state_changed_event(m_OnPowerStateChanged);
}

void CSourceDataManager::m_RegisterExtSignalHandle() {
  TVServiceAPI::CreateSignalSubscriber(m_OnTvsSignaled, &m_SignalSubscriber);
  if (m_SignalSubscriber == nullptr) {
    GAMEBAR_ERROR("Failed to CreateSignalSubscriber");
    return;
  }
  for (const ESignalType signal : kSignals) {
    m_SignalSubscriber->Subscribe(signal, this, PROFILE_MAIN);
  }
}

void CSourceDataManager::GetVideoControlSize(int& x, int& y, int& w, int& h) {
  x = y = w = h = 0;
  const VideoControl control;
  SETTINGS_INFO("get video control ret=[%d]", control.Result());
  if (control) {
    const int ret = control->GetVideoWindow(x, y, h, w);
    SETTINGS_INFO("get size ret=[%d], x,y,w,h=[%d,%d,%d,%d]", ret, x, y, w, h);
  }
}

const char* CSourceDataManager::m_GetPortString(int source) {
  const Port* port = FindPort(source);
  return port != nullptr ? port->name : "NOT_VALID";
}

bool CSourceDataManager::m_IsVideoOutputSource(int source) {
  GAMEBAR_ERROR("source is %s", m_GetPortString(source));
  return FindPort(source) != nullptr;
}

int CSourceDataManager::m_GetGameDeviceType(const std::string& name) const {
  if (std::any_of(m_GameConsoleNames.begin(), m_GameConsoleNames.end(),
                  [&](const std::string& console) { return Contains(name, console); }) ||
      Contains(name, "Game Console")) {
    return GAME_DEVICE_CONSOLE;
  }
  return Contains(name, "PC") ? GAME_DEVICE_PC : GAME_DEVICE_OTHER;
}

bool CSourceDataManager::m_GetGameDeviceExist(const std::shared_ptr<SourceList>& list) {
  if (list == nullptr) {
    return false;
  }
  for (const auto& [id, item] : *list) {
    GAMEBAR_ERROR("editName : %s", item.editName.c_str());
    if (m_IsVideoOutputSource(item.sourceId)) {
      return true;
    }
  }
  return false;
}

bool CSourceDataManager::m_ReadCurrentSource(int* id) {
  // The lines are those of the one who asks for the kind of the device.
  constexpr char kFunction[] = "m_GetCurrentSouceDeviceType";
  m_SourceState = kUnknownState;
  const SourceControl control;
  if (!control) {
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "Create Source Control failed");
    return false;
  }
  int state = kUnknownState;
  control->GetSourceState(&state);
  m_SourceState = state;
  GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "m_SourceState: %d", state);
  if (control->GetCurrentSource(id) < 1) {
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "Get Source Info failed");
    return false;
  }
  if (!m_IsVideoOutputSource(*id)) {
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction,
                   "Current source is not video output source, no need to handle!");
    return false;
  }
  return true;
}

int CSourceDataManager::m_GetCurrentSouceDeviceType() {
  int id = kUnknownSource;
  if (!m_ReadCurrentSource(&id)) {
    return GAME_DEVICE_NONE;
  }
  if (const std::shared_ptr<SourceList> list = m_SourceList.Load()) {
    const auto entry = std::find_if(list->begin(), list->end(),
                                    [&](const auto& e) { return e.second.sourceId == id; });
    if (entry != list->end()) {
      const CSourceItem& item = entry->second;
      m_DeviceNames.Store(
          std::make_shared<const DeviceNames>(DeviceNames{item.editName, item.detectedName}));
      GAMEBAR_ERROR("find the source");
    }
  }
  // A source that is not in the list keeps the names of the one before.
  const std::shared_ptr<const DeviceNames> names = m_DeviceNames.Load();
  GAMEBAR_ERROR("deviceDetectName: %s | deviceEditName: %s", names->detectedName.c_str(),
                names->editName.c_str());
  return m_GetGameDeviceType(names->editName);
}

void CSourceDataManager::m_RefreshSourceAndGameItem() {
  const int deviceType = m_GetCurrentSouceDeviceType();
  CurrentGameDeviceType = deviceType;
  const int gameItemMode = CGameBarUtil::GetGameModeValue();
  m_GameItemMode = gameItemMode;
  GAMEBAR_ERROR("CurrentGameDeviceType: %d", deviceType);
  GAMEBAR_ERROR("m_GameItemMode: %d", gameItemMode);
}

void CSourceDataManager::m_RefreshSourceList() {
  std::shared_ptr<SourceList> fresh;
  if (CSourceAPI::Get()->GetSourceList(fresh) == 0) {
    m_SourceList.Store(fresh);
  }
  const std::shared_ptr<SourceList> list = m_SourceList.Load();
  if (list == nullptr) {
    return;
  }
  for (const auto& [id, item] : *list) {
    SETTINGS_ERROR("[GameBarService]******** detectedName : %s, editName  : %s ********",
                   item.detectedName.c_str(), item.editName.c_str());
  }
}

int CSourceDataManager::m_GetCurrentSourceBeforePreview() {
  int id = kUnknownSource;
  const SourceControl control;
  if (!control) {
    GAMEBAR_ERROR("Create Source Control failed");
  } else if (control->GetSourceBeforePreview(&id) < 1) {
    GAMEBAR_ERROR("Get Source Info failed");
  }
  return id;
}

void CSourceDataManager::m_SourceListChanged(int event, void* userData) try {
  GAMEBAR_ERROR("m_SourceListChanged");
  if (event == kNothingChanged) {
    return;
  }
  if (userData == nullptr) {
    GAMEBAR_ERROR("pUserData is NULL");
    return;
  }
  auto* manager = static_cast<CSourceDataManager*>(userData);
  manager->m_RefreshSourceList();
  if (!m_GetGameDeviceExist(manager->m_SourceList.Load()) && CGameBarUtil::IsGameBarAlive()) {
    CGameBarUtil::TerminateGameBarApp();
  }
  GameBarVAPManager::GetInstance()->OnSourceListChange(manager->m_SourceList.Load());
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

void CSourceDataManager::m_PictureSettingPeriod(void*, int value, void* userData) try {
  GAMEBAR_ERROR("m_PictureSettingPeriod: %d", value);
  if (userData == nullptr) {
    GAMEBAR_ERROR("pUserData is NULL");
    return;
  }
  if (value == 0) {
    static_cast<CSourceDataManager*>(userData)->m_PictureSettingDone = true;
  }
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

int CSourceDataManager::m_OnTvsSignaled(ESignalType type, EProfile, unsigned short, TSSignalData,
                                        void* userData) try {
  if (userData == nullptr) {
    GAMEBAR_ERROR("pUserData is NULL");
    return 0;
  }
  auto* manager = static_cast<CSourceDataManager*>(userData);
  if (const char* name = SignalName(type)) {
    GAMEBAR_ERROR("Receive %s", name);
  }
  switch (type) {
    case SIGNAL_EXT_SOURCE_CHANGE_START:
      manager->m_ChangeStart = true;
      manager->m_PictureSettingDone = false;
      break;
    case SIGNAL_EXT_SOURCE_SIGNAL_OK:
      if (manager->m_ChangeStart.exchange(false)) {
        m_HandleExtSignalOk(manager);
      } else {
        GAMEBAR_ERROR("Not receive SIGNAL_EXT_SOURCE_CHANGE_START, do not handle!");
      }
      break;
    case SIGNAL_SOURCE_INFO_CHANGE: {
      manager->m_ChangeStart = false;
      const int source = manager->m_GetCurrentSourceBeforePreview();
      if (source == manager->m_CurrentSource) {
        GAMEBAR_ERROR("same source, just preview source change");
      } else {
        GAMEBAR_ERROR("real source change, new soure[%d]", source);
        manager->m_CurrentSource = source;
        manager->m_LaunchCount = 0;
      }
      break;
    }
    default:
      // There is no picture, whatever else happened.
      manager->m_PictureSettingDone = false;
      break;
  }
  return 0;
} catch (...) {
  LogEscapedException(kLogModule, __func__);
  return 0;
}

void CSourceDataManager::m_HandleExtSignalOk(CSourceDataManager* manager) {
  std::thread(&CSourceDataManager::m_RunExtSignalOk, manager).detach();
}

// What a worker logs stands under the name of the function that starts it.

void CSourceDataManager::m_RunExtSignalOk() {
  std::lock_guard lock(m_WorkerLock);
  m_LaunchAfterSourceChange();
  m_PictureSettingDone = false;
}

void CSourceDataManager::m_LaunchAfterSourceChange() {
  constexpr char kFunction[] = "m_HandleExtSignalOk";
  try {
    m_WaitForPictureSetting();
    m_RefreshSourceAndGameItem();
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "m_GameItemMode:%d", m_GameItemMode.load());
    int gameVconf = 1;
    vconf_get_int(kGameDetectionKey, &gameVconf);
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "game vconf is %d", gameVconf);
    if (!m_IsLaunchWanted(gameVconf)) {
      return;
    }
    GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "Launch gamebar due to source change");
    const int launchCount = m_LaunchCount;
    if (launchCount < 1) {
      ++m_LaunchCount;
      CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_SOURCE);
      GameBarVAPManager::GetInstance()->SetVAP();
    } else {
      GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "m_LaunchCount [%d] > 0, return", launchCount);
      if (!CGameBarUtil::IsGameBarAlive()) {
        CGameBarUtil::LaunchGameBarApp(GAME_BAR_IN_BACKGROUND);
      }
    }
  } catch (...) {
    LogEscapedException(kLogModule, kFunction);
  }
}

bool CSourceDataManager::m_IsLaunchWanted(int gameVconf) const {
  const int gameItemMode = m_GameItemMode;
  const bool isGame =
      gameItemMode == 1 || (gameItemMode == 2 && CGameBarUtil::CheckGameVconf(gameVconf));
  return CurrentGameDeviceType != GAME_DEVICE_NONE && isGame && CGameBarUtil::IsTVViewerResume() &&
         !CGameBarUtil::IsFocusOnDisplayModePopup();
}

void CSourceDataManager::m_WaitForPictureSetting() {
  for (int loop = 0; loop < kPictureSettingPolls; ++loop) {
    SleepFor(kPictureSettingPoll);
    if (m_PictureSettingDone) {
      return;
    }
    GAMEBAR_LOG_AS(DLOG_ERROR, "m_HandleExtSignalOk", "Ormu Picture Setting not finished, loop: %d",
                   loop);
  }
}

void CSourceDataManager::m_OnPowerStateChanged(_device_power_state_info* info, void* userData) try {
  const int previous = info->previous_state;
  const int current = info->current_state;
  GAMEBAR_ERROR("power state is changed from %d to %d", previous, current);
  if (current != kPowerOn || previous == kPowerOn) {
    return;
  }
  if (previous == kPictureOff) {
    GAMEBAR_ERROR("power resume from picture off, ignore!");
    return;
  }
  if (userData == nullptr) {
    GAMEBAR_ERROR("pUserData is NULL");
    return;
  }
  auto* manager = static_cast<CSourceDataManager*>(userData);
  manager->m_RefreshSourceAndGameItem();
  std::thread(&CSourceDataManager::m_RunPowerOn, manager).detach();
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

void CSourceDataManager::m_RunPowerOn() {
  constexpr char kFunction[] = "m_OnPowerStateChanged";
  try {
    std::lock_guard lock(m_WorkerLock);
    const std::shared_ptr<const DeviceNames> names = m_DeviceNames.Load();
    if (Contains(names->detectedName, kSlowConsole) || Contains(names->editName, kSlowConsole)) {
      GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "PlayStation detect!");
      SleepFor(kSlowConsoleDelay);
    } else {
      SleepFor(kPowerOnDelay);
    }
    m_RefreshSourceAndGameItem();
    if (CurrentGameDeviceType != GAME_DEVICE_NONE && m_GameItemMode == 1 &&
        m_SourceState == kPictureShown && CGameBarUtil::IsTVViewerResume()) {
      GAMEBAR_LOG_AS(DLOG_ERROR, kFunction, "Launch gamebar due to soft power off/on");
      CGameBarUtil::LaunchGameBarApp(GAME_BAR_FOR_SOURCE);
    }
  } catch (...) {
    LogEscapedException(kLogModule, kFunction);
  }
}
