#include "SettingsService.h"

#include <Ecore.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "KeyText.h"
#include "Keys.h"
#include "Log.h"
#include "ProtectionModeService.h"
#include "SettingsServiceCommand.h"
#include "SyncFile.h"
#include "active_net_speaker.h"
#include "app_manager.h"
#include "cpu_inheritance.h"
#include "deadlock_watchdog.h"
#include "gamebar/GameBarService.h"
#include "lwipc.h"
#include "menu_audio_util.h"
#include "settings_item_info_api.h"
#include "system_info.h"
#include "vconf.h"

namespace {

constexpr char kLogModule[] = "SettingsService";

constexpr char kReadyEvent[] = "/tmp/settings-service_ready";
constexpr int kWatchdogLevel = 100;
constexpr unsigned kWatchdogPeriodMs = 15000;

// The value of auto power off that a model's default, given as a code, stands for.
int AutoPowerOffValue(int code) {
  switch (code) {
    case 1:
      return 4;
    case 2:
      return 6;
    case 3:
      return 8;
    default:
      return 0;
  }
}

// The library's record of disabled items; empty when none is. Nothing when it was never written.
std::optional<std::string> ReadDisabledItems() { return ReadKeyText(kDisabledItemsKey); }

// The start-up has touched much memory that the service will not need again: give it back.
void do_swap_and_cach_drop_memory() {
  std::FILE* reclaim = std::fopen("/proc/self/reclaim", "w");
  if (reclaim == nullptr) {
    SETTINGS_INFO("[%d][fail to open (%d)]", getpid(), errno);
    return;
  }
  int written = std::fprintf(reclaim, "%s", "3");
  SETTINGS_INFO("[%d][success to open][%d]", getpid(), written);
  std::fclose(reclaim);
}

// What the handler of a method is given.
using RequestAndReply = void (*)(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
using RequestOnly = void (*)(const Nuvra::TCMessage& request);
using ReplyOnly = void (*)(Nuvra::TCMessage& reply);
using DataOnly = void (*)(const Json::Value& data);

struct Call {
  const Nuvra::TCMessage& request;
  Nuvra::TCMessage& reply;

  void operator()(RequestAndReply handler) const { handler(request, reply); }
  void operator()(RequestOnly handler) const { handler(request); }
  void operator()(ReplyOnly handler) const { handler(reply); }
  void operator()(DataOnly handler) const { handler(request.body["data"]); }
};

// What becomes of the watch over terminating applications after a method.
enum class AppTerminateWatch { kLeave, kRegister, kUnregister };

struct Method {
  std::string_view name;
  std::variant<RequestAndReply, RequestOnly, ReplyOnly, DataOnly> handler;
  AppTerminateWatch after = AppTerminateWatch::kLeave;
};

using Command = SettingsServiceCommand;

// Compared from top to bottom.
constexpr Method kMethods[] = {
    {"GetItemDisplayName", Command::GetItemDisplayName},
    {"GetItemDisplayID", Command::GetItemDisplayID},
    {"GetItemEnable", Command::GetItemEnable},
    {"GetItemVisible", Command::GetItemVisible},
    {"GetItemVisibleAsync", Command::GetItemVisibleAsync},
    {"GetItemPathEnable", Command::GetItemPathEnable},
    {"GetItemPathEnableAsync", Command::GetItemPathEnableAsync},
    {"GetItemPathVisible", Command::GetItemPathVisible},
    {"GetItemValueName", Command::GetItemValueName},
    {"GetItemValue", Command::GetItemValue},
    {"SetItemValue", Command::SetItemValue},
    {"GetItemChildList", Command::GetItemChildList},
    {"GetItemDataList", Command::GetItemDataList},
    {"GetItemDataEnable", Command::GetItemDataEnable},
    {"GetItemDataVisible", Command::GetItemDataVisible},
    {"GetItemPath", Command::GetItemPath},
    {"GetItemMinMaxStepValue", Command::GetItemMinMaxStepValue},
    {"DisableItem", Command::DisableItem, AppTerminateWatch::kRegister},
    {"EnableItem", Command::EnableItem, AppTerminateWatch::kUnregister},
    {"RemoveDisabledItemsByAppname", Command::RemoveDisabledItemsByAppname,
     AppTerminateWatch::kUnregister},
    {"DisableItemsByList", Command::DisableItemsByList, AppTerminateWatch::kRegister},
    {"IsItemEnabled", Command::IsItemEnabled},
    {"GetDisablerAppNamesByMenuId", Command::GetDisablerAppNamesByMenuId},
    {"GetDisabledItemsList", Command::GetDisabledItemsList},
};

}  // namespace

SettingsService::SettingsService() : Nuvra::TCDaemonService(SETTINGS_SERVICE_NAME) {
  SETTINGS_ERROR("SettingsService constructor!!");
}

SettingsService::~SettingsService() { SETTINGS_ERROR("SettingsService destructor!!"); }

bool SettingsService::t_OnCreate() {
  SETTINGS_INFO("t_OnCreate!");
  ecore_init();
  smart_deadlock_register_watchdog_service(kWatchdogLevel);
  if (m_WatchdogAlarm.IsCreated()) {
    m_WatchdogAlarm.Reset(kWatchdogPeriodMs, Nuvra::NUVRA_INFINITY);
  } else {
    m_WatchdogAlarm.Create(this, kWatchdogPeriodMs, Nuvra::NUVRA_INFINITY);
    m_WatchdogAlarm.SetAlarmCallback(m_OnWatchdogAlarmCallback, this);
  }
  m_Initialize();
  do_swap_and_cach_drop_memory();
  return true;
}

void SettingsService::m_Initialize() {
  SETTINGS_ERROR("m_Initialize!");

  vconf_notify_key_changed(kLanguageKey, SettingsServiceCommand::UpdateLanguage, nullptr);
  vconf_notify_key_changed(kGeneralResetKey, SettingsServiceCommand::GeneralResetCB, nullptr);

  pid_t pid = getpid();
  SETTINGS_ERROR("pid:%d", pid);
  resource_register_cpu_inheritance_destination(SETTINGS_SERVICE_NAME, pid);

  SettingsServiceCommand::UpdateLanguage(nullptr, nullptr);

  if (sound_manager_set_speaker_changed_cb(m_SpeakerStatusChangedCB, this) != 0) {
    SETTINGS_ERROR("sound_manager_set_speaker_changed_cb failed");
  }

  m_SyncAutoPowerOffVconf();

  if (LwipcEventDone(kReadyEvent) < 0) {
    SETTINGS_ERROR("failed to send event, setting service ready");
  }

  m_RegisterAppTerminateCB();
  m_LoadDisableMenuItem();

  char activeSpksDisplayName[NET_SPEAKER_DISPLAY_NAME_SIZE] = {};
  char activeSpksSpeakerType[NET_SPEAKER_TYPE_SIZE] = {};
  std::vector<std::string> activeSpks;
  int activeSpkCount =
      GetActiveNetSpkInfo(activeSpksDisplayName, activeSpksSpeakerType, activeSpks);
  if (activeSpkCount > 0) {
    SETTINGS_INFO("activeSpksDisplayName[%s], activeSpksSpeakerType[%s]\n", activeSpksDisplayName,
                  activeSpksSpeakerType);
  }

  bool isSupportGameBar = false;
  system_info_get_custom_bool("com.velmora/featureconf/game_bar.support", &isSupportGameBar);
  SETTINGS_ERROR("[GameBarService] isSupportGameBar: %d", isSupportGameBar);
  if (isSupportGameBar) {
    CGameBarService::GetInstance()->Init();
  }

  bool isSupportOutdoor = false;
  if (system_info_get_custom_bool("com.velmora/featureconf/outdoor_tv_product_image_support",
                                  &isSupportOutdoor) != 0) {
    SETTINGS_INFO("get Outdoor value failed");
  } else {
    // The number of active speakers, not the flag (docs/lifecycle.md).
    SETTINGS_INFO("Outdoor supported[%d]", activeSpkCount);
  }
  if (isSupportOutdoor) {
    vconf_notify_key_changed(kProtectionKey, CProtectionModeService::m_VconfCB,
                             CProtectionModeService::GetInstance());
  }

  CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
}

void SettingsService::m_OnWatchdogAlarm() {
  SETTINGS_INFO("smart_deadlock_notify!");
  smart_deadlock_watchdog_notify();
}

bool SettingsService::m_OnWatchdogAlarmCallback(void* userData) {
  if (userData == nullptr) {
    return false;
  }
  SETTINGS_LOG_AS(DLOG_INFO, "m_OnWatchdogAlarm", "smart_deadlock_notify!");
  smart_deadlock_watchdog_notify();
  return true;
}

void SettingsService::t_OnTerminate() {
  SETTINGS_INFO("t_OnTerminate!!");
  m_Finalize();
}

void SettingsService::m_Finalize() {
  SETTINGS_ERROR("m_Finalize!");
  if (m_AppTerminateCBRegistered) {
    app_manager_unset_app_context_event_cb();
    m_AppTerminateCBRegistered = false;
  }
  vconf_ignore_key_changed(kGeneralResetKey, SettingsServiceCommand::GeneralResetCB);
  vconf_ignore_key_changed(kLanguageKey, SettingsServiceCommand::UpdateLanguage);
}

void SettingsService::m_SpeakerStatusChangedCB(sound_tv_output_route_e, void*) {
  SETTINGS_INFO("m_SpeakerStatusChangedCB");
  CMenuAudioUtil::FreshSpeakerType();
}

void SettingsService::m_SyncAutoPowerOffVconf() {
  SETTINGS_INFO("");
  // A start that was cut off may have written the count but not the default.
  if (m_FlagVconfSyncDone() && !SyncFile().IsMarked()) {
    return;
  }
  const int value = m_SetNewDefaultValue();
  if (vconf_set_int(kEcoAutoPowerOffKey, value) != 0) {
    SETTINGS_ERROR("failed");
  }
  SyncFile().EndApplying();
}

bool SettingsService::m_FlagVconfSyncDone() {
  const SyncFile file;
  if (!file.Exists()) {
    SETTINGS_ERROR("sync file not exist");
    SettingsServiceCommand::UpdateHistoryFile(SettingsServiceCommand::kPresentResetCount);
    return false;
  }
  SETTINGS_ERROR("sync file exists");
  int countInVconf = -1;
  if (vconf_get_int(kFactoryResetCountKey, &countInVconf) != 0) {
    SETTINGS_ERROR("vconf get fails");
    return false;
  }
  int countInFile = -1;
  if (!file.Read(countInFile)) {
    SETTINGS_ERROR("Fail to open file");
    return false;
  }
  SETTINGS_ERROR("countInVconf[%d], countInFile[%d]", countInVconf, countInFile);
  if (countInVconf == countInFile) {
    SETTINGS_ERROR("sync is done");
    return true;
  }
  SETTINGS_ERROR("factory reset is true");
  SettingsServiceCommand::UpdateHistoryFile(countInVconf);
  return false;
}

int SettingsService::m_SetNewDefaultValue() {
  int code = 0;
  if (system_info_get_custom_int(
          "com.velmora/featureconf/setting.menuitem.autopoweroff_default_value", &code) != 0) {
    SETTINGS_ERROR("get value failed");
    return 0;
  }
  SETTINGS_INFO("FMS key value [%d]", code);
  const int value = AutoPowerOffValue(code);
  if (vconf_set_int(kAutoPowerOffKey, value) != 0) {
    SETTINGS_ERROR("failed");
    return 0;
  }
  SETTINGS_INFO("auto power off default value [%d]", value);
  return value;
}

bool SettingsService::IfMessageReceived(const char* sender, const Nuvra::TCMessage* request,
                                        Nuvra::TCMessage* reply, const char*) {
  SETTINGS_INFO("IfMessageReceived!! message: [from:%s] [rsp:%p] [message:%s]", sender,
                static_cast<void*>(reply), request->GetMessage().c_str());
  reply->body["return_data"] = "";

  const std::string name = request->body["method"].asString();
  const auto* method = std::find_if(std::begin(kMethods), std::end(kMethods),
                                    [&](const Method& m) { return m.name == name; });
  AppTerminateWatch after = AppTerminateWatch::kLeave;
  if (method != std::end(kMethods)) {
    std::visit(Call{*request, *reply}, method->handler);
    after = method->after;
  } else {
    SETTINGS_ERROR("There is no matched method");
  }

  const std::string returned = reply->body["return_data"].asString();
  if (!returned.empty()) {
    SETTINGS_INFO("ret_data = %s", returned.c_str());
  }

  if (after == AppTerminateWatch::kRegister) {
    m_RegisterAppTerminateCB();
  } else if (after == AppTerminateWatch::kUnregister) {
    m_UnRegisterAppTerminateCB();
  }
  return true;
}

bool SettingsService::m_FlagDisableItemEmpty() {
  const std::optional<std::string> disabledItems = ReadDisabledItems();
  if (!disabledItems || disabledItems->empty()) {
    SETTINGS_ERROR("fail to check disabled items.");
    return true;
  }
  SETTINGS_INFO("Disable[%s]", disabledItems->c_str());
  return false;
}

bool SettingsService::m_RegisterAppTerminateCB() {
  if (m_AppTerminateCBRegistered) {
    SETTINGS_INFO("already done");
    return false;
  }
  if (m_FlagDisableItemEmpty()) {
    SETTINGS_INFO("No any disable RQ");
    return false;
  }
  const int error =
      app_manager_set_app_context_event_cb(SettingsServiceCommand::AppContextEventCB, nullptr);
  if (error != 0) {
    SETTINGS_ERROR("Failed app_manager_set_app_context_event_cb [%d]", error);
    return false;
  }
  m_AppTerminateCBRegistered = true;
  SETTINGS_INFO("Finish");
  return true;
}

bool SettingsService::m_UnRegisterAppTerminateCB() {
  if (!m_AppTerminateCBRegistered) {
    SETTINGS_INFO("no CB");
    return false;
  }
  if (!m_FlagDisableItemEmpty()) {
    SETTINGS_INFO("No empty disable");
    return false;
  }
  app_manager_unset_app_context_event_cb();
  m_AppTerminateCBRegistered = false;
  SETTINGS_INFO("Finish");
  return true;
}

void SettingsService::m_LoadDisableMenuItem() {
  SETTINGS_ERROR("m_LoadDisableMenuItem");
  const std::optional<std::string> disabledItems = ReadDisabledItems();
  if (!disabledItems) {
    SETTINGS_ERROR("fail to check disabled items.");
    return;
  }
  if (disabledItems->empty()) {
    SETTINGS_ERROR("Empty DisableItem");
    return;
  }
  SETTINGS_ERROR("Disable[%s]", disabledItems->c_str());
  SettingsServiceCommand::UpdateDisabledItemList();
  if (vconf_set_int(kRefreshMenuKey, 1) != 0) {
    SETTINGS_ERROR("Failed to vconf_set_int for menu refresh");
    return;
  }
  SETTINGS_ERROR("Refresh Menu");
}
