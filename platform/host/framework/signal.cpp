#include "nuvra/signal.h"

#include <cerrno>
#include <cstring>

#include "dlog.h"
#include "framework/message_text.h"
#include "framework/service_bus.h"
#include "framework/service_object.h"

namespace Nuvra {

bool SendSignal(const char* serviceName, const char* signalName, const TCMessage* message) {
  if (serviceName == nullptr || signalName == nullptr || message == nullptr) {
    return false;
  }
  sd_bus* const bus = host::ServiceBus::Current();
  const int result =
      bus == nullptr ? -ENOTCONN
                     : sd_bus_emit_signal(bus, host::ServiceObjectPath(serviceName).c_str(),
                                          host::kServiceInterface, "Signal", "sis", signalName,
                                          message->type, host::WriteBody(message->body).c_str());
  if (result < 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "nuvra", "the signal %s of %s could not be sent: %s\n",
                 signalName, serviceName, std::strerror(-result));
  }
  return result >= 0;
}

}  // namespace Nuvra
