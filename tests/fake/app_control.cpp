#include "app_control.h"

#include <algorithm>

#include "aul.h"
#include "call.h"

using namespace fakes;

namespace {

AppControl* Control(app_control_h handle) { return reinterpret_cast<AppControl*>(handle); }

Verbatim HandleText(app_control_h handle) { return {handle == nullptr ? "null" : "appControl"}; }

// Whether the call can act on the handle.
bool IsUsable(Call& call, app_control_h handle) {
  if (handle == nullptr) {
    return false;
  }
  if (Control(handle)->destroyed) {
    call.Complain("destroyed already");
    return false;
  }
  return true;
}

}  // namespace

extern "C" {

int app_control_create(app_control_h* control) {
  Call call("app_control_create");
  *control = nullptr;
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  *control = reinterpret_cast<app_control_h>(&call->appControls.emplace_back());
  return call.Returns(0, HandleText(*control));
}

int app_control_set_app_id(app_control_h control, const char* app_id) {
  Call call("app_control_set_app_id", HandleText(control), app_id);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsUsable(call, control) || app_id == nullptr) {
    return call.Returns(-1);
  }
  Control(control)->request.appID = app_id;
  return call.Returns(0);
}

int app_control_add_extra_data(app_control_h control, const char* key, const char* value) {
  Call call("app_control_add_extra_data", HandleText(control), key, value);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsUsable(call, control) || key == nullptr || value == nullptr) {
    return call.Returns(-1);
  }
  Control(control)->request.extraData[key] = value;
  return call.Returns(0);
}

int app_control_send_launch_request(app_control_h control, app_control_reply_cb callback,
                                    void* user_data) {
  Call call("app_control_send_launch_request", HandleText(control),
            Pointer{reinterpret_cast<const void*>(callback), "callback"}, Pointer{user_data});
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsUsable(call, control) || Control(control)->request.appID.empty()) {
    return call.Returns(-1);
  }
  call->launches.push_back(Control(control)->request);
  return call.Returns(0);
}

int app_control_destroy(app_control_h control) {
  Call call("app_control_destroy", HandleText(control));
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (!IsUsable(call, control)) {
    return call.Returns(-1);
  }
  Control(control)->destroyed = true;
  return call.Returns(0);
}

int aul_app_get_status(const char* app_id) {
  Call call("aul_app_get_status", app_id);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  const auto status = call->appStatuses.find(app_id);
  return call.Returns(status == call->appStatuses.end() ? -1 : status->second);
}

}  // extern "C"

namespace fakes {

void Platform::SetAppStatus(std::string appID, int status) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.appStatuses[std::move(appID)] = status;
}

std::vector<Launch> Platform::TakeLaunches() {
  std::lock_guard lock(Shared().mutex);
  return std::exchange(Shared().state.launches, {});
}

int Platform::AppControls() const {
  std::lock_guard lock(Shared().mutex);
  const auto& controls = Shared().state.appControls;
  return static_cast<int>(std::count_if(controls.begin(), controls.end(),
                                        [](const auto& each) { return !each.destroyed; }));
}

}  // namespace fakes
