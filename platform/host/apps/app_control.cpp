#include "app_control.h"

#include <cerrno>
#include <map>
#include <new>
#include <string>

#include "apps/application_bus.h"
#include "system/exception_border.h"

struct app_control_s {
  std::string appId;
  std::map<std::string, std::string> extraData;
};

extern "C" {

int app_control_create(app_control_h* control) {
  if (control == nullptr) {
    return -EINVAL;
  }
  *control = new (std::nothrow) app_control_s();
  return *control != nullptr ? 0 : -ENOMEM;
}

int app_control_set_app_id(app_control_h control, const char* app_id) {
  if (control == nullptr || app_id == nullptr) {
    return -EINVAL;
  }
  return host::Guarded("apps", __func__, -ENOMEM, [&] {
    control->appId = app_id;
    return 0;
  });
}

int app_control_add_extra_data(app_control_h control, const char* key, const char* value) {
  if (control == nullptr || key == nullptr || value == nullptr) {
    return -EINVAL;
  }
  return host::Guarded("apps", __func__, -ENOMEM, [&] {
    control->extraData.insert_or_assign(key, value);
    return 0;
  });
}

int app_control_send_launch_request(app_control_h control, app_control_reply_cb, void*) {
  if (control == nullptr) {
    return -EINVAL;
  }
  return host::Guarded("apps", __func__, -ENOMEM, [&] {
    return host::ActivateApplication(control->appId, control->extraData);
  });
}

int app_control_destroy(app_control_h control) {
  if (control == nullptr) {
    return -EINVAL;
  }
  delete control;
  return 0;
}

}  // extern "C"
