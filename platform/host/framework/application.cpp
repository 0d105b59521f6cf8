#include "nuvra/application.h"

#include <stdexcept>

#include "nuvra/daemon_service.h"
#include "nuvra/handler.h"

namespace Nuvra {

TCApplication::~TCApplication() = default;
bool TCApplication::IfTransferMessage(const char*, const TCMessage*, TCEventIO*&) { return false; }
bool TCApplication::IfMessageReceived(const char*, const TCMessage*, TCMessage*, const char*) {
  return false;
}
void TCApplication::IfMessageReplied(const char*, const TCMessage*) {}
void TCApplication::t_OnPrepare() {}
bool TCApplication::t_OnCreate() { return true; }
void TCApplication::t_OnService() {}
void TCApplication::t_OnPause() {}
void TCApplication::t_OnResume() {}
void TCApplication::t_OnTerminate() {}
void TCApplication::t_OnLangChanged() {}

TCHandler::~TCHandler() = default;
void TCHandler::t_OnMEvent(const TCMEvent*) {}
void TCHandler::t_ClearMEvent() {}

TCDaemonService::TCDaemonService(const char* serviceName)
    : m_ServiceName(serviceName != nullptr ? serviceName : "") {
  if (m_ServiceName.empty()) {
    throw std::invalid_argument("a service needs a name");
  }
}

TCDaemonService::~TCDaemonService() = default;

const std::string& TCDaemonService::ServiceName() const { return m_ServiceName; }

}  // namespace Nuvra
