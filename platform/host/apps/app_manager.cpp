#include "app_manager.h"

#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "apps/living_applications.h"
#include "bus/bus.h"
#include "framework/before_messages.h"
#include "framework/name_owners.h"
#include "system/exception_border.h"
#include "system/host.h"

// An application lives while it owns its name. The bus announces owners on the connection on which
// the requests come, and that puts both into one order.

struct app_context_s {
  std::string appId;
};

namespace host {

class ApplicationWatcher {
 public:
  int Set(app_context_event_cb callback, void* userData) {
    NameOwners* const owners = NameOwners::Current();
    if (owners == nullptr) {
      return -ENOTCONN;
    }
    owners->Listen([this](const std::string& name, const std::string& oldOwner,
                          const std::string& newOwner) { Deliver(name, oldOwner, newOwner); });
    m_Callback = callback;
    m_UserData = userData;
    return 0;
  }

  // What it has not heard yet does not concern a later one, which would take it for the end of an
  // instance that has begun since.
  void Unset() {
    m_Callback = nullptr;
    m_MissedEnds.clear();
  }

  void OnBegin(std::function<void(const std::string& app)> begin) { m_Begin = std::move(begin); }

  // That the application ended while nobody watched.
  void AddMissedEnd(const std::string& app) { m_MissedEnds.push_back(app); }

 private:
  void Deliver(const std::string& name, const std::string& oldOwner, const std::string& newOwner) {
    if (!bus::IsApplicationId(name)) {
      return;
    }
    if (!oldOwner.empty()) {
      DeliverEvent(name, APP_CONTEXT_EVENT_TERMINATED);
    }
    if (!newOwner.empty()) {
      if (m_Begin) {
        m_Begin(name);
      }
      DeliverEvent(name, APP_CONTEXT_EVENT_LAUNCHED);
    }
  }

  void DeliverMissedEnds() {
    while (m_Callback != nullptr && !m_MissedEnds.empty()) {
      const std::string app = std::move(m_MissedEnds.front());
      m_MissedEnds.pop_front();
      DeliverEvent(app, APP_CONTEXT_EVENT_TERMINATED);
    }
  }

  // A callback may set another one or none.
  void DeliverEvent(const std::string& app, app_context_event_e kind) {
    if (m_Callback == nullptr) {
      return;
    }
    app_context_s context{app};
    Guarded("apps", "an exception left the callback for applications",
            [&] { m_Callback(&context, kind, m_UserData); });
  }

  app_context_event_cb m_Callback = nullptr;
  void* m_UserData = nullptr;
  std::function<void(const std::string& app)> m_Begin;
  std::deque<std::string> m_MissedEnds;
  BeforeMessages m_BeforeMessages{[this] { DeliverMissedEnds(); }};
};

namespace {

ApplicationWatcher& Watcher() { return g_Host.applicationWatcher.Get(); }

}  // namespace

std::string LivingInstance(const std::string& app) {
  const NameOwners* const owners = NameOwners::Current();
  const std::string owner = owners != nullptr ? owners->OwnerOf(app) : "";
  return owner.empty() ? "" : owners->BusId() + owner;
}

void ReportEndUnlessLiving(const std::string& app, const std::string& instance) {
  if (LivingInstance(app) != instance) {
    Watcher().AddMissedEnd(app);
  }
}

void OnInstanceBegin(std::function<void(const std::string& app)> begin) {
  Watcher().OnBegin(std::move(begin));
}

}  // namespace host

extern "C" {

int app_manager_set_app_context_event_cb(app_context_event_cb callback, void* user_data) {
  if (callback == nullptr) {
    return -EINVAL;
  }
  return host::Guarded("apps", "applications cannot be watched", -EIO,
                       [&] { return host::Watcher().Set(callback, user_data); });
}

void app_manager_unset_app_context_event_cb() {
  if (host::ApplicationWatcher* const watcher = host::g_Host.applicationWatcher.Find()) {
    watcher->Unset();
  }
}

int app_context_get_app_id(app_context_h context, char** app_id) {
  if (context == nullptr || app_id == nullptr) {
    return -EINVAL;
  }
  char* const copy = ::strdup(context->appId.c_str());
  if (copy == nullptr) {
    return -ENOMEM;
  }
  *app_id = copy;
  return 0;
}

}  // extern "C"
