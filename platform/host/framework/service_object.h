#pragma once

#include <string>
#include <vector>

#include "bus/bus.h"
#include "framework/access.h"
#include "framework/request_queue.h"
#include "framework/service_bus.h"
#include "nuvra/daemon_service.h"

namespace host {

inline constexpr char kServiceInterface[] = "org.nuvra.Service1";
inline constexpr char kKeyStoreInterface[] = "org.nuvra.KeyStore1";

std::string ServiceBusName(const std::string& serviceName);
std::string ServiceObjectPath(const std::string& serviceName);

// Makes a service an object on a connection: requests that arrive there, and that their callers may
// make, go to the service, and their replies back. Main-loop thread only.
class ServiceObject {
 public:
  // Bus and service are referenced; there must be a main loop. Throws std::system_error when the
  // object cannot be registered.
  ServiceObject(const ServiceBus& bus, Nuvra::TCDaemonService& service);

  // Adds an interface. `vtable` and `userData`, which its functions get, must outlive the object.
  // Throws std::system_error when it cannot be registered.
  void Add(const char* interface, const sd_bus_vtable* vtable, void* userData);

  // The requests that arrived and wait; for the pump of the connection, and for interfaces whose
  // calls must not overtake the requests of the same client.
  RequestQueue& Requests() { return m_Requests; }

  // Its path on the bus.
  const std::string& Path() const { return m_Path; }

 private:
  sd_bus* const m_Bus;
  const std::string m_Path;
  Access m_Access;
  RequestQueue m_Requests;
  std::vector<bus::Slot> m_Slots;
};

}  // namespace host
