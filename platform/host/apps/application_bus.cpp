#include "apps/application_bus.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <vector>

#include "apps/application_id.h"
#include "bus/bus.h"
#include "framework/service_bus.h"
#include "system/host.h"
#include "thread_safety.h"

// All threads share one connection that no main loop reads: it is opened by the first call and
// looked after by the calls themselves, so it costs nothing while nobody asks.
//
// It stays open after a launch. The bus keeps an activation until the application has taken its
// name, but drops it if the sender is gone by then.
//
// An activation asks for no reply. A reply would have to be awaited or collected, and a hung
// application never sends one: the bus counts those still expected against us until nothing can be
// sent at all. So whether an application exists is asked beforehand. That leaves a moment in which
// it may go; then its activation is lost, as with an application that is killed before it could
// read it.

namespace host {
namespace {

// A bus may disconnect a client for a message that it finds too large.
constexpr std::size_t kMostExtraData = 1024 * 1024;

// Only the bus itself is ever waited for, and it answers immediately unless the whole set hangs.
constexpr std::chrono::seconds kPatience{2};

int Settle(sd_bus* bus) { return bus::Settle(bus, bus::Deadline(kPatience)); }

int IsActivatable(sd_bus* bus, const std::string& name) {
  char** names = nullptr;
  const int result = sd_bus_list_names(bus, nullptr, &names);
  if (result < 0) {
    return result;
  }
  const std::vector<std::string> activatable = bus::TakeTexts(names);
  return std::find(activatable.begin(), activatable.end(), name) != activatable.end();
}

int IsInstalled(sd_bus* bus, const std::string& id) {
  const int running = bus::HasOwner(bus, id);
  return running != 0 ? running : IsActivatable(bus, id);
}

int AppendExtraData(sd_bus_message* message, const std::map<std::string, std::string>& extraData) {
  int result = sd_bus_message_open_container(message, 'a', "{sv}");
  for (auto each = extraData.begin(); result >= 0 && each != extraData.end(); ++each) {
    result = sd_bus_message_append(message, "{sv}", each->first.c_str(), "s", each->second.c_str());
  }
  return result < 0 ? result : sd_bus_message_close_container(message);
}

int MakeActivation(sd_bus* bus, const std::string& id,
                   const std::map<std::string, std::string>& extraData, bus::Message& message) {
  const int result = sd_bus_message_new_method_call(bus, bus::Out(message), id.c_str(),
                                                    ApplicationObjectPath(id).c_str(),
                                                    "org.freedesktop.Application", "Activate");
  return result < 0 ? result : AppendExtraData(message.get(), extraData);
}

int Activate(sd_bus* bus, const std::string& id,
             const std::map<std::string, std::string>& extraData) {
  bus::Message activation;
  const int made = MakeActivation(bus, id, extraData, activation);
  if (made < 0) {
    return made;
  }
  const int installed = IsInstalled(bus, id);
  if (installed <= 0) {
    return installed < 0 ? installed : -ENOPKG;
  }
  // Without a cookie sd-bus marks the call as one that needs no reply.
  const int sent = sd_bus_send(bus, activation.get(), nullptr);
  return sent < 0 ? sent : Settle(bus);
}

std::size_t SizeOf(const std::map<std::string, std::string>& extraData) {
  std::size_t size = 0;
  for (const auto& [key, value] : extraData) {
    size += key.size() + value.size();
  }
  return size;
}

}  // namespace

class ApplicationBus {
 public:
  // Runs `body` with the connection. Returns its result, or a negative errno without a connection.
  template <typename Body>
  int Use(Body body) {
    const guarded::Lock lock(m_Mutex);
    const int usable = MakeUsable();
    return usable < 0 ? usable : body(m_Connection.get());
  }

 private:
  // Opens the connection, or handles what has arrived since its last use.
  int MakeUsable() REQUIRES(m_Mutex) {
    if (m_Connection) {
      const int settled = Settle(m_Connection.get());
      if (sd_bus_is_open(m_Connection.get()) > 0) {
        return settled;
      }
    }
    return bus::Connect(BusAddress(), kPatience, m_Connection);
  }

  guarded::Mutex m_Mutex;
  bus::Connection m_Connection GUARDED_BY(m_Mutex);
};

int ActivateApplication(const std::string& id,
                        const std::map<std::string, std::string>& extraData) {
  if (!bus::IsApplicationId(id)) {
    return -EINVAL;
  }
  if (SizeOf(extraData) > kMostExtraData) {
    return -E2BIG;
  }
  return g_Host.applicationBus.Get().Use([&](sd_bus* bus) { return Activate(bus, id, extraData); });
}

int IsApplicationRunning(const std::string& id) {
  if (!bus::IsApplicationId(id)) {
    return -EINVAL;
  }
  return g_Host.applicationBus.Get().Use([&](sd_bus* bus) { return bus::HasOwner(bus, id); });
}

}  // namespace host
