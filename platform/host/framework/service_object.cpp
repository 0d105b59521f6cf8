#include "framework/service_object.h"

#include <cerrno>
#include <cstring>

#include "dlog.h"
#include "framework/message_text.h"
#include "framework/store_failure.h"
#include "system/exception_border.h"

namespace host {
namespace {

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";
constexpr char kFailed[] = "org.nuvra.Error.Failed";

// Sends the reply. Returns a negative errno when it cannot be sent.
int SendReply(sd_bus_message* request, const Nuvra::TCMessage& reply) {
  const std::string text = WriteBody(reply.body);
  if (text.size() > kMaxSentBodySize) {
    return -EMSGSIZE;
  }
  return sd_bus_reply_method_return(request, "is", reply.type, text.c_str());
}

int Serve(Nuvra::TCDaemonService& service, sd_bus_message* message, sd_bus_error* error) {
  Nuvra::TCMessage request;
  const char* text = nullptr;
  if (sd_bus_message_read(message, "is", &request.type, &text) < 0) {
    return sd_bus_error_set(error, kInvalidMessage, "the message is damaged or not UTF-8");
  }
  std::string fault;
  if (!ParseBody({text, strnlen(text, kMaxBodySize + 1)}, request.body, fault)) {
    return sd_bus_error_set(error, kInvalidMessage, fault.c_str());
  }
  const char* const sender = sd_bus_message_get_sender(message);
  Nuvra::TCMessage reply;
  if (!service.IfMessageReceived(sender != nullptr ? sender : "", &request, &reply, "")) {
    return sd_bus_error_set(error, kFailed, "the service refused the request");
  }
  if (sd_bus_message_get_expect_reply(message) > 0) {
    const int result = SendReply(message, reply);
    if (result < 0) {
      __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "nuvra", "a reply could not be sent: %s\n",
                   std::strerror(-result));
      return sd_bus_error_setf(error, kFailed, "the reply cannot be sent: %s",
                               std::strerror(-result));
    }
  }
  return 1;
}

// No exception may pass through the C code that calls this.
int OnRequest(sd_bus_message* message, void* service, sd_bus_error* error) {
  try {
    return Serve(*static_cast<Nuvra::TCDaemonService*>(service), message, error);
  } catch (...) {
    LogCurrentException("nuvra", "an exception left a request");
    return sd_bus_error_set(error, kFailed, CurrentExceptionText().c_str());
  }
}

constexpr sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    // Who may call is the business of the bus's own rules.
    SD_BUS_METHOD_WITH_NAMES("Request", "is", SD_BUS_PARAM(type) SD_BUS_PARAM(body), "is",
                             SD_BUS_PARAM(type) SD_BUS_PARAM(body), OnRequest,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Signal", "sis",
                             SD_BUS_PARAM(name) SD_BUS_PARAM(type) SD_BUS_PARAM(body), 0),
    SD_BUS_VTABLE_END,
};

int OnFailureAsked(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                   sd_bus_error*) {
  const StoreFailure failure = NewestStoreFailure();
  return sd_bus_message_append(reply, "(ts)", failure.at, failure.text.c_str());
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

ServiceObject::ServiceObject(sd_bus* bus, Nuvra::TCDaemonService& service) {
  const std::string path = ServiceObjectPath(service.ServiceName());
  bus::Check(sd_bus_add_object_vtable(bus, bus::Out(m_Slot), path.c_str(), kServiceInterface,
                                      kVtable, &service),
             ("cannot register " + path).c_str());
  bus::Check(sd_bus_add_object_vtable(bus, bus::Out(m_KeyStoreSlot), path.c_str(),
                                      kKeyStoreInterface, kKeyStoreVtable, nullptr),
             ("cannot register " + path).c_str());
}

}  // namespace host
