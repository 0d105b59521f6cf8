#include "framework/service_bus.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/utf8.h"
#include "dlog.h"
#include "system/host.h"

namespace host {
namespace {

constexpr int kNameTaken = 5;
constexpr int kNoBus = 8;
constexpr int kNotAllowed = 13;

// For each of the two calls.
constexpr std::uint64_t kReleaseTimeoutInMicroseconds = 1'000'000;

// As the kernel stores it.
constexpr std::size_t kProgramSize = 15;

std::string Describe(const std::string& choice) {
  return choice == "session" || choice == "system" ? "the " + choice + " bus"
                                                   : "the bus at " + choice;
}

}  // namespace

ServiceBus::ServiceBus(const std::string& choice)
    : m_IsSystem(choice == "system"), m_Description(Describe(choice)) {
  int result = bus::Connect(choice, std::nullopt, m_Bus);
  const char* address = nullptr;
  if (result >= 0) {
    result = sd_bus_get_address(m_Bus.get(), &address);
  }
  if (result < 0) {
    FailConnecting(result);
  }
  g_Host.busAddress.Get() = address;
}

void ServiceBus::FailConnecting(int error) const {
  if (error == -ENOMEDIUM) {
    throw StartFailure(kNoBus,
                       "there is no session bus: DBUS_SESSION_BUS_ADDRESS is not set; start the "
                       "service in a session, or name another bus with --bus");
  }
  throw StartFailure(kNoBus, m_Description + " cannot be reached: " + std::strerror(-error) +
                                 "; start it, or name another with --bus");
}

void ServiceBus::TakeName(const std::string& name) {
  const int result = sd_bus_request_name(m_Bus.get(), name.c_str(), 0);
  if (result >= 0) {
    return;
  }
  if (result == -EEXIST) {
    const std::string owner = DescribeOwner(name);
    throw StartFailure(kNameTaken, "the name " + name + " on " + m_Description + " is taken" +
                                       (owner.empty() ? "" : " by " + owner) +
                                       "; end that service first, or use another bus with --bus");
  }
  if (result == -EACCES || result == -EPERM) {
    throw StartFailure(kNotAllowed, m_Description + " does not allow this user to own the name " +
                                        name + "; install the service's bus policy");
  }
  throw StartFailure(
      kNoBus, m_Description + " does not give the name " + name + ": " + std::strerror(-result));
}

// "process 4711 (program)", as far as known.
std::string ServiceBus::DescribeOwner(const std::string& name) const {
  bus::Credentials creds;
  sd_bus_get_name_creds(m_Bus.get(), name.c_str(),
                        SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_AUGMENT,
                        bus::Out(creds));
  pid_t pid = 0;
  if (!creds || sd_bus_creds_get_pid(creds.get(), &pid) < 0) {
    return "";
  }
  const std::string owner = "process " + std::to_string(pid);
  const char* program = nullptr;
  return sd_bus_creds_get_comm(creds.get(), &program) < 0
             ? owner
             : owner + " (" + base::OneLine(program, kProgramSize) + ")";
}

// The bus gives the name to whoever asked for it first, and a service that is restarted finds it
// taken.
void ServiceBus::WarnOfHeir(const std::string& name) const {
  bus::Message reply;
  sd_bus_call_method(m_Bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus", "ListQueuedOwners", nullptr, bus::Out(reply), "s",
                     name.c_str());
  char** waiting = nullptr;
  const char* own = nullptr;
  if (!reply || sd_bus_message_read_strv(reply.get(), &waiting) < 0 ||
      sd_bus_get_unique_name(m_Bus.get(), &own) < 0) {
    return;
  }
  for (const std::string& each : bus::TakeTexts(waiting)) {
    if (each != own) {
      const std::string heir = DescribeOwner(each);
      __dlog_print(LOG_ID_MAIN, DLOG_WARN, "nuvra", "the name %s goes to %s, which waited for it\n",
                   name.c_str(), heir.empty() ? each.c_str() : heir.c_str());
      return;
    }
  }
}

void ServiceBus::ReleaseName(const std::string& name) {
  if (sd_bus_is_open(m_Bus.get()) <= 0) {
    return;
  }
  // The bus answers in order: its answer also says that it has taken everything sent before.
  sd_bus_set_method_call_timeout(m_Bus.get(), kReleaseTimeoutInMicroseconds);
  WarnOfHeir(name);
  const int result = sd_bus_release_name(m_Bus.get(), name.c_str());
  if (result < 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "nuvra", "the name %s was not given back: %s\n",
                 name.c_str(), std::strerror(-result));
  }
}

sd_bus* ServiceBus::Current() {
  const ServiceBus* const current = g_Host.serviceBus.Find();
  return current != nullptr ? current->Get() : nullptr;
}

const std::string& BusAddress() { return g_Host.busAddress.Get(); }

}  // namespace host
