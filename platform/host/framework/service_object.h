#pragma once

#include <string>

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
  ServiceObject(const ServiceBus& serviceBus, Nuvra::TCDaemonService& service);

  // The requests that arrived and wait; for the pump of the connection.
  RequestQueue& Requests() { return m_Requests; }

 private:
  Access m_Access;
  RequestQueue m_Requests;
  bus::Slot m_Slot;
  bus::Slot m_KeyStoreSlot;
};

}  // namespace host
