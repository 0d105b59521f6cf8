#include "ProtectionModeService.h"

#include "Keys.h"
#include "Log.h"
#include "app_control.h"

namespace {

constexpr char kLogModule[] = "ProtectionModeService";

constexpr int kProtectionOn = 1;

}  // namespace

SingletonPointer<CProtectionModeService> CProtectionModeService::m_pProtectionModeService;

CProtectionModeService* CProtectionModeService::GetInstance() {
  return m_pProtectionModeService.GetOrCreate([] { return new CProtectionModeService; });
}

void CProtectionModeService::ReleaseInstance() {
  if (m_pProtectionModeService.Get() != nullptr) {
    Destory();
    m_pProtectionModeService.Delete();
  }
}

CProtectionModeService::CProtectionModeService() {
  SETTINGS_ERROR("[ProtectionModeService] CProtectionModeService constructor!!");
}

CProtectionModeService::~CProtectionModeService() {
  SETTINGS_ERROR("[ProtectionModeService] CProtectionModeService destructor!!");
}

void CProtectionModeService::InitService() {
  vconf_notify_key_changed(kProtectionKey, m_VconfCB, this);
}

void CProtectionModeService::Destory() { vconf_ignore_key_changed(kProtectionKey, m_VconfCB); }

void CProtectionModeService::m_VconfCB(keynode_t* node, void* userData) {
  if (node == nullptr) {
    return;
  }
  if (userData == nullptr) {
    SETTINGS_ERROR("[ProtectionModeService] pUserData is NULL");
    return;
  }
  int mode = 0;
  if (vconf_get_int(kProtectionKey, &mode) != 0) {
    SETTINGS_ERROR("vconf get failed.");
    return;
  }
  SETTINGS_ERROR("Protection Mode : %d", mode);
  if (mode == kProtectionOn) {
    m_LaunchMenuApp();
  }
}

void CProtectionModeService::m_LaunchMenuApp() {
  SETTINGS_ERROR("Protection Mode value changed");
  app_control_h control = nullptr;
  app_control_create(&control);
  app_control_set_app_id(control, "org.pavix.menu");
  app_control_add_extra_data(control, "type", "protection-popup");
  const int error = app_control_send_launch_request(control, nullptr, nullptr);
  if (error != 0) {
    SETTINGS_ERROR("[ProtectionModeService] Failed to launch menu, ret = %d", error);
  }
  // After a failure too (docs/lifecycle.md).
  SETTINGS_INFO("[ProtectionModeService] Success to launch menu");
  if (control != nullptr) {
    app_control_destroy(control);
  }
}
