#include "framework/service_object.h"

#include <cerrno>
#include <utility>

#include "base/utf8.h"
#include "framework/store_failure.h"
#include "system/environment.h"
#include "system/exception_border.h"

namespace host {
namespace {

int OnRequest(sd_bus_message* message, void* requests, sd_bus_error* error) {
  return static_cast<RequestQueue*>(requests)->TakeRequest(message, error);
}

int OnRequestAll(sd_bus_message* message, void* requests, sd_bus_error* error) {
  return static_cast<RequestQueue*>(requests)->TakeRequests(message, error);
}

constexpr sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    // Who may call is up to the bus's own rules, and what up to Access.
    SD_BUS_METHOD_WITH_NAMES("Request", "is", SD_BUS_PARAM(type) SD_BUS_PARAM(body), "is",
                             SD_BUS_PARAM(type) SD_BUS_PARAM(body), OnRequest,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("RequestAll", "a(is)", SD_BUS_PARAM(requests), "a(is)",
                             SD_BUS_PARAM(replies), OnRequestAll, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Signal", "sis",
                             SD_BUS_PARAM(name) SD_BUS_PARAM(type) SD_BUS_PARAM(body), 0),
    SD_BUS_VTABLE_END,
};

int OnFailureAsked(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                   sd_bus_error*) {
  return Guarded("nuvra", "an exception left a property", -ENOMEM, [reply] {
    const StoreFailure failure = NewestStoreFailure();
    return sd_bus_message_append(reply, "(ts)", failure.at, base::ValidUtf8(failure.text).c_str());
  });
}

constexpr sd_bus_vtable kKeyStoreVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Failure", "(ts)", OnFailureAsked, 0, 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

std::string ServiceBusName(const std::string& serviceName) {
  return "org.nuvra.service." + serviceName;
}

std::string ServiceObjectPath(const std::string& serviceName) {
  return "/org/nuvra/service/" + serviceName;
}

ServiceObject::ServiceObject(const ServiceBus& bus, Nuvra::TCDaemonService& service)
    : m_Bus(bus.Get()),
      m_Path(ServiceObjectPath(service.ServiceName())),
      m_Access(GetEnvironment().configDir / "access.json"),
      m_Requests(bus, m_Access, service) {
  Add(kServiceInterface, kVtable, &m_Requests);
  Add(kKeyStoreInterface, kKeyStoreVtable, nullptr);
}

void ServiceObject::Add(const char* interface, const sd_bus_vtable* vtable, void* userData) {
  bus::Slot slot;
  bus::Check(
      sd_bus_add_object_vtable(m_Bus, bus::Out(slot), m_Path.c_str(), interface, vtable, userData),
      ("cannot register " + m_Path).c_str());
  m_Slots.push_back(std::move(slot));
}

}  // namespace host
