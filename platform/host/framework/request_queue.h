#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bus/bus.h"
#include "framework/access.h"
#include "framework/callers.h"
#include "framework/service_bus.h"
#include "nuvra/daemon_service.h"

namespace host {

// How many requests one message may hold, and how many bytes their bodies may total.
inline constexpr std::size_t kMaxRequestsAtOnce = 1024;
inline constexpr std::size_t kMaxTextAtOnce = 1024 * 1024;

// Brings the requests of clients to a service, and its replies back. Each client's are served in
// the order in which it sent them; those of different clients take turns, so that nobody waits for
// everything that another client sent in one go. What need not wait is served on the spot. A client
// whose next request nobody may make without being known waits until the bus has said who it is;
// the others do not. What a client may not request is answered without the service. One at a time.
// Main-loop thread only.
class RequestQueue {
 public:
  // All are referenced.
  RequestQueue(const ServiceBus& bus, const Access& access, Nuvra::TCDaemonService& service);
  ~RequestQueue();
  RequestQueue(const RequestQueue&) = delete;
  RequestQueue& operator=(const RequestQueue&) = delete;

  // Take a call with one request, or with a list of them; serve it now or later, and answer it.
  // What they return is for sd-bus. No exception leaves them.
  int TakeRequest(sd_bus_message* call, sd_bus_error* error);
  int TakeRequests(sd_bus_message* call, sd_bus_error* error);

  // The same with a call of another interface, which `serve` answers when its turn has come.
  int Take(sd_bus_message* call, sd_bus_error* error, std::function<void(sd_bus_message*)> serve);

  // Whether there is nothing to serve now, and whether nothing waits for an answer of the bus
  // either.
  bool IsEmpty() const { return m_Clients.empty(); }
  bool IsIdle() const { return IsEmpty() && m_Unknown.empty(); }

  // Whether so much is waiting that some of it should be served before more is read.
  bool IsFull() const;

  // To be called before reading messages that arrived together.
  void BeginTurn() { m_ServedOnTheSpot.clear(); }

  // Serves some of what waits, one request of each client in turns, and returns after `limit`,
  // unless a single request takes longer.
  void ServeFor(std::chrono::microseconds limit);

  // Serves everything that waits, and waits for the bus when it must.
  void ServeAll();

 private:
  struct Request {
    int type;
    const char* text;  // points into the message that the call came in
  };

  // Serves and answers a call. False, with nothing done, while the caller must become known first.
  using ServeCall = std::function<bool(sd_bus_message*)>;

  // A call that is waiting or being served.
  struct Call {
    explicit Call(sd_bus_message* call) : message(sd_bus_message_ref(call)) {}

    bus::Message message;
    ServeCall serve;                // none for a list
    std::vector<Request> requests;  // of a list
    std::size_t served = 0;         // of those
    bus::Message reply;             // to a list; none when nobody waits for one
    std::size_t replySize = 0;      // of its bodies
    std::size_t size = 0;           // of the bodies of the requests
  };

  // What became of a request.
  struct Outcome {
    bool isUnknown = false;       // nothing: the caller must be known first
    const char* error = nullptr;  // the error's name
    std::string message;          // the error's
    int type = 0;
    std::string body;
  };

  using Calls = std::deque<Call>;
  using Clients = std::map<std::string, Calls>;  // by their unique names; none without a call

  int TakeCall(sd_bus_message* call, sd_bus_error* error, ServeCall serve);
  Outcome Serve(const std::string& sender, const Request& request);
  bool ServeOne(sd_bus_message* call);
  bool ServeNextOf(Call& call);
  void ServeNextClient();
  void Postpone(const std::string& client);
  void Resume(const std::string& client);
  void Forget(const std::string& connection);
  void Enqueue(Call call);
  bool ServesOnTheSpot(sd_bus_message* call);

  const Access& m_Access;
  Nuvra::TCDaemonService& m_Service;
  Callers m_Callers;
  Clients m_Clients;
  Clients m_Unknown;              // those that the bus was asked about
  std::set<std::string> m_Ended;  // those of both that are to be forgotten after their last call
  std::string m_LastServed;       // of m_Clients
  std::size_t m_WaitingCalls = 0;
  std::size_t m_WaitingBytes = 0;
  std::vector<std::string> m_ServedOnTheSpot;  // in this turn
};

}  // namespace host
