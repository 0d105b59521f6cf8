#include "SettingsService.h"

#include <Ecore.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "Log.h"
#include "SettingsServiceCommand.h"
#include "active_net_speaker.h"
#include "cpu_inheritance.h"
#include "deadlock_watchdog.h"
#include "lwipc.h"
#include "settings_item_info_api.h"
#include "system_info.h"

namespace {

constexpr char kLogModule[] = "SettingsService";

constexpr char kReadyEvent[] = "/tmp/settings-service_ready";
constexpr int kWatchdogLevel = 100;
constexpr unsigned kWatchdogPeriodMs = 15000;

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

using Handler = void (*)(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);

struct Method {
  std::string_view name;
  Handler handler;
};

// Compared from top to bottom.
constexpr Method kMethods[] = {
    {"GetItemValueName", SettingsServiceCommand::GetItemValueName},
    {"GetItemValue", SettingsServiceCommand::GetItemValue},
    {"SetItemValue", SettingsServiceCommand::SetItemValue},
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

  pid_t pid = getpid();
  SETTINGS_ERROR("pid:%d", pid);
  resource_register_cpu_inheritance_destination(SETTINGS_SERVICE_NAME, pid);

  if (LwipcEventDone(kReadyEvent) < 0) {
    SETTINGS_ERROR("failed to send event, setting service ready");
  }

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

  bool isSupportOutdoor = false;
  if (system_info_get_custom_bool("com.velmora/featureconf/outdoor_tv_product_image_support",
                                  &isSupportOutdoor) != 0) {
    SETTINGS_INFO("get Outdoor value failed");
  } else {
    // The number of active speakers, not the flag: readers of the log know the line as it is.
    SETTINGS_INFO("Outdoor supported[%d]", activeSpkCount);
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

void SettingsService::m_Finalize() { SETTINGS_ERROR("m_Finalize!"); }

bool SettingsService::IfMessageReceived(const char* sender, const Nuvra::TCMessage* request,
                                        Nuvra::TCMessage* reply, const char*) {
  SETTINGS_INFO("IfMessageReceived!! message: [from:%s] [rsp:%p] [message:%s]", sender,
                static_cast<void*>(reply), request->GetMessage().c_str());
  reply->body["return_data"] = "";

  const std::string name = request->body["method"].asString();
  const auto* method = std::find_if(std::begin(kMethods), std::end(kMethods),
                                    [&](const Method& m) { return m.name == name; });
  if (method != std::end(kMethods)) {
    method->handler(*request, *reply);
  } else {
    SETTINGS_ERROR("There is no matched method");
  }

  const std::string returned = reply->body["return_data"].asString();
  if (!returned.empty()) {
    SETTINGS_INFO("ret_data = %s", returned.c_str());
  }
  return true;
}
