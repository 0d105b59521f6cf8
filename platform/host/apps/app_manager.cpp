#include "app_manager.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "apps/application_id.h"
#include "apps/bus_connection.h"
#include "dlog.h"
#include "framework/exception_border.h"
#include "framework/main_loop.h"

// An application lives while it owns its name, and the bus tells who owns what. This has a
// connection of its own: on one that is also used for calls, a call would take the news off the
// socket while it waits for its reply, and the main loop would not learn of them.

struct app_context_s {
  std::string appId;
};

namespace host {
namespace {

void LogError(const char* what, const std::string& reason) {
  __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "apps", "%s: %s\n", what, reason.c_str());
}

class ApplicationWatcher {
 public:
  int Set(app_context_event_cb callback, void* userData) {
    if (!m_Bus) {
      const int subscribed = Subscribe();
      if (subscribed < 0) {
        return subscribed;
      }
    }
    m_Callback = callback;
    m_UserData = userData;
    return 0;
  }

  void Unset() {
    m_Watch.reset();
    m_Bus.reset();
    m_Events.clear();
  }

 private:
  struct Event {
    std::string appId;
    app_context_event_e kind;
  };

  // The bus knows the subscription when this returns. What it then has to tell waits in the
  // socket: sd-bus takes one message at a time from it, and stopped at the bus's answer.
  int Subscribe() {
    BusConnection bus;
    int result = Connect(bus);
    if (result >= 0) {
      result =
          sd_bus_match_signal(bus.get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                              "org.freedesktop.DBus", "NameOwnerChanged", OnNameOwnerChanged, this);
    }
    if (result >= 0) {
      result = sd_bus_get_fd(bus.get());
    }
    if (result < 0) {
      return result;
    }
    m_Watch = std::make_unique<FdWatch>(result, [this] { TakeNews(); });
    m_Bus = std::move(bus);
    return 0;
  }

  static int OnNameOwnerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    const int read = sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner);
    if (read < 0) {
      return read;
    }
    static_cast<ApplicationWatcher*>(self)->NoteChange(name, *oldOwner != '\0', *newOwner != '\0');
    return 0;
  }

  void NoteChange(const std::string& name, bool hadOwner, bool hasOwner) {
    if (!IsApplicationId(name)) {
      return;
    }
    if (hadOwner) {
      m_Events.push_back({name, APP_CONTEXT_EVENT_TERMINATED});
    }
    if (hasOwner) {
      m_Events.push_back({name, APP_CONTEXT_EVENT_LAUNCHED});
    }
  }

  // Takes a bounded number of messages, so that the main loop gets on with its other work when
  // names come and go without end; the others keep the socket readable.
  void TakeNews() {
    constexpr int kMostMessages = 100;
    for (int taken = 0; m_Bus && taken < kMostMessages; ++taken) {
      const int handled = sd_bus_process(m_Bus.get(), nullptr);
      if (handled < 0) {
        LogError("the bus ended, applications are no longer watched", std::strerror(-handled));
        Unset();
      }
      if (handled <= 0) {
        return;
      }
      DeliverEvents();
    }
  }

  // A callback may set another one or end the subscription, and the events with it.
  void DeliverEvents() {
    while (!m_Events.empty()) {
      app_context_s context{std::move(m_Events.front().appId)};
      const app_context_event_e kind = m_Events.front().kind;
      m_Events.pop_front();
      try {
        m_Callback(&context, kind, m_UserData);
      } catch (...) {
        LogError("an exception left the callback for applications", CurrentExceptionText());
      }
    }
  }

  app_context_event_cb m_Callback = nullptr;
  void* m_UserData = nullptr;
  std::deque<Event> m_Events;
  BusConnection m_Bus;
  std::unique_ptr<FdWatch> m_Watch;  // of m_Bus's socket; both or none
};

// Never destroyed: the main loop it is tied to ends before the process does.
ApplicationWatcher& Watcher() {
  static auto* const watcher = new ApplicationWatcher();
  return *watcher;
}

}  // namespace
}  // namespace host

extern "C" {

int app_manager_set_app_context_event_cb(app_context_event_cb callback, void* user_data) {
  if (callback == nullptr) {
    return -EINVAL;
  }
  try {
    return host::Watcher().Set(callback, user_data);
  } catch (const std::exception& error) {
    host::LogError("applications cannot be watched", error.what());
    return -EIO;
  }
}

void app_manager_unset_app_context_event_cb() { host::Watcher().Unset(); }

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
