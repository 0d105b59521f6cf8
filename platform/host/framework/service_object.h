#pragma once

#include <systemd/sd-bus.h>

#include <string>

#include "nuvra/daemon_service.h"

namespace host {

inline constexpr char kServiceInterface[] = "org.nuvra.Service1";

std::string ServiceBusName(const std::string& serviceName);
std::string ServiceObjectPath(const std::string& serviceName);

// Makes a service an object on a connection: requests that arrive there go to the service, and
// their replies back. Main-loop thread only.
class ServiceObject {
 public:
  // The service is referenced. Throws std::system_error when the object cannot be registered.
  ServiceObject(sd_bus* bus, Nuvra::TCDaemonService& service);
  ~ServiceObject();
  ServiceObject(const ServiceObject&) = delete;
  ServiceObject& operator=(const ServiceObject&) = delete;

 private:
  sd_bus_slot* m_Slot = nullptr;
};

}  // namespace host
