#include "nuvra/signal.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "dlog.h"
#include "framework/message_text.h"
#include "framework/service_bus.h"
#include "framework/service_object.h"

namespace Nuvra {
namespace {

// Returns a negative errno when the signal cannot be sent.
int Emit(const char* serviceName, const char* signalName, const TCMessage& message) {
  sd_bus* const bus = host::ServiceBus::Current();
  if (bus == nullptr) {
    return -ENOTCONN;
  }
  const std::string text = host::WriteBody(message.body);
  if (text.size() > host::kMaxSentBodySize) {
    return -EMSGSIZE;
  }
  return sd_bus_emit_signal(bus, host::ServiceObjectPath(serviceName).c_str(),
                            host::kServiceInterface, "Signal", "sis", signalName, message.type,
                            text.c_str());
}

}  // namespace

bool SendSignal(const char* serviceName, const char* signalName, const TCMessage* message) {
  if (serviceName == nullptr || signalName == nullptr || message == nullptr) {
    return false;
  }
  const int result = Emit(serviceName, signalName, *message);
  if (result < 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "nuvra", "the signal %s of %s could not be sent: %s\n",
                 signalName, serviceName, std::strerror(-result));
  }
  return result >= 0;
}

}  // namespace Nuvra
