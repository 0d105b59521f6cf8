#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "bus/bus.h"
#include "settings/client.h"

// What the parts of the client share.
namespace settings {

inline constexpr char kBusName[] = "org.nuvra.service.settings_service";
inline constexpr char kObject[] = "/org/nuvra/service/settings_service";
inline constexpr char kInterface[] = "org.nuvra.Service1";
inline constexpr char kItemsInterface[] = "org.nuvra.Items1";
inline constexpr char kKeyStoreInterface[] = "org.nuvra.KeyStore1";

struct Client::Impl {
  // Calls `take` for each broadcast that fits the rule, which names its sender. By a well-known
  // name: the bus follows it from one owner to the next.
  Subscription SubscribeTo(const std::string& rule, std::function<void(sd_bus_message*)> take);

  // Calls `take` when another owner has the service's name, or nobody any more.
  Subscription SubscribeOwner(std::function<void(bool isThere)> take);

  bus::Connection bus;
  std::chrono::microseconds timeout{};
  std::exception_ptr thrownByCallback;

  // What batches have sent and the service may still have, in that order, awaited or not.
  struct OnTheWay {
    std::size_t requests = 0;
    std::size_t text = 0;
    bool isAwaited = true;
  };
  std::list<OnTheWay> onTheWay;
};

// Returns `result`, or throws the Error that a negative one stands for.
int Check(int result);

// Writes the texts of requests. Making one takes longer than writing a request.
class RequestWriter {
 public:
  RequestWriter();

  // std::invalid_argument unless both are objects.
  std::string Text(const std::string& method, const Json::Value& data,
                   const Json::Value& members = Json::objectValue);

 private:
  std::unique_ptr<Json::StreamWriter> m_Writer;
};

// A call of the service's method.
bus::Message NewCall(sd_bus* bus, const char* method, const char* interface = kInterface);

// What an answering message holds. Throws Error when it holds something else.
Message ReadMessage(sd_bus_message* reply);
Reply ReadReply(Message message);

// The error of a failed call; `name` and `text` are those of the error reply.
Error ErrorFromCall(sd_bus* bus, const std::string& name, const std::string& text);

// Errors: a message cannot hold the text of a request, and an answer does not fit the request.
Error UnreadableRequest();
Error UnexpectedForm();

}  // namespace settings
