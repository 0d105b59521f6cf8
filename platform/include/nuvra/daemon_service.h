#pragma once

#include <string>

#include "nuvra/application.h"
#include "nuvra/event_io.h"
#include "nuvra/handler.h"

namespace Nuvra {

// Base of a program that answers requests under a service name and has no window. Requests, starts
// and ends of applications (app_manager.h) and changes of keys (vconf.h) reach it in the order in
// which they happened: when a request is served, everything that happened before it was sent has
// been reported.
class TCDaemonService : public TCApplication, public TCEventIO, public TCHandler {
 public:
  // `serviceName` (copied) is the name under which clients address requests and under which
  // signals are sent. Throws std::invalid_argument when it is null or empty.
  explicit TCDaemonService(const char* serviceName);
  ~TCDaemonService() override;

  const std::string& ServiceName() const;

 private:
  std::string m_ServiceName;
};

}  // namespace Nuvra
