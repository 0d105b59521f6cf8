#include <cstring>

#include "app_manager.h"
#include "call.h"

using namespace fakes;

struct app_context_s {
  std::optional<std::string> appID;
};

namespace {

// Calls the callback for the event that came first.
void DeliverAppEvent() {
  std::unique_lock lock(Shared().mutex);
  State& state = Shared().state;
  if (state.appEvents.empty()) {
    return;  // the watch has ended since
  }
  const AppEvent event = state.appEvents.front();
  state.appEvents.pop_front();
  const app_context_event_cb callback = state.appCallback;
  void* const userData = state.appUserData;
  lock.unlock();
  app_context_s context{event.appID};
  callback(&context, event.event, userData);
}

}  // namespace

extern "C" {

int app_manager_set_app_context_event_cb(app_context_event_cb callback, void* user_data) {
  Call call("app_manager_set_app_context_event_cb",
            Pointer{reinterpret_cast<const void*>(callback), "callback"}, Pointer{user_data});
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (callback == nullptr) {
    return call.Returns(-1);
  }
  call->appCallback = callback;
  call->appUserData = user_data;
  return call.Returns(0);
}

void app_manager_unset_app_context_event_cb() {
  Call call("app_manager_unset_app_context_event_cb");
  call.MainLoopThreadOnly();
  call.Failure(0);
  call->appCallback = nullptr;
  call->appEvents.clear();
  call.Ends();
}

int app_context_get_app_id(app_context_h context, char** app_id) {
  Call call("app_context_get_app_id", Verbatim{context == nullptr ? "null" : "context"});
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (context == nullptr || app_id == nullptr) {
    return call.Returns(-1);
  }
  *app_id = context->appID ? strdup(context->appID->c_str()) : nullptr;
  return call.Returns(0, static_cast<const char*>(*app_id));
}

}  // extern "C"

namespace fakes {

void Platform::SendAppEvent(app_context_event_e event, std::optional<std::string> appID) {
  std::lock_guard lock(Shared().mutex);
  if (Shared().state.appCallback != nullptr) {
    Shared().state.appEvents.push_back({event, std::move(appID)});
    PostToMainLoop(DeliverAppEvent);
  }
}

}  // namespace fakes
