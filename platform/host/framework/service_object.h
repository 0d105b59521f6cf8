#pragma once

#include <string>

#include "bus/bus.h"
#include "framework/request_queue.h"
#include "nuvra/daemon_service.h"

namespace host {

inline constexpr char kServiceInterface[] = "org.nuvra.Service1";
inline constexpr char kKeyStoreInterface[] = "org.nuvra.KeyStore1";

std::string ServiceBusName(const std::string& serviceName);
std::string ServiceObjectPath(const std::string& serviceName);

// Makes a service an object on a connection: requests that arrive there go to the service, and
// their replies back. Main-loop thread only.
class ServiceObject {
 public:
  // The service is referenced. Throws std::system_error when the object cannot be registered.
  ServiceObject(sd_bus* bus, Nuvra::TCDaemonService& service);

  // The requests that arrived and wait; for the pump of the connection.
  RequestQueue& Requests() { return m_Requests; }

 private:
  RequestQueue m_Requests;
  bus::Slot m_Slot;
  bus::Slot m_KeyStoreSlot;
};

}  // namespace host
