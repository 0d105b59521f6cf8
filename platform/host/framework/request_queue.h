#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bus/bus.h"
#include "nuvra/daemon_service.h"

namespace host {

// How many requests one message may hold, and how many bytes their bodies may total.
inline constexpr std::size_t kMaxRequestsAtOnce = 1024;
inline constexpr std::size_t kMaxTextAtOnce = 1024 * 1024;

// Brings the requests of clients to a service, and its replies back. Each client's are served in
// the order in which it sent them; those of different clients take turns, so that nobody waits for
// everything that another client sent in one go. What need not wait is served on the spot.
// Main-loop thread only.
class RequestQueue {
 public:
  // The service is referenced.
  explicit RequestQueue(Nuvra::TCDaemonService& service) : m_Service(service) {}
  RequestQueue(const RequestQueue&) = delete;
  RequestQueue& operator=(const RequestQueue&) = delete;

  // Take a call with one request, or with a list of them; serve it now or later, and answer it.
  // What they return is for sd-bus. No exception leaves them.
  int TakeRequest(sd_bus_message* call, sd_bus_error* error);
  int TakeRequests(sd_bus_message* call, sd_bus_error* error);

  // The same with a call of another interface, which `serve` answers when its turn has come.
  int Take(sd_bus_message* call, sd_bus_error* error, std::function<void(sd_bus_message*)> serve);

  bool IsEmpty() const { return m_Clients.empty(); }

  // Whether so much is waiting that some of it should be served before more is read.
  bool IsFull() const;

  // To be called before reading messages that arrived together.
  void BeginTurn() { m_ServedOnTheSpot.clear(); }

  // Serves some of what waits, one request of each client in turns, and returns after `limit`,
  // unless a single request takes longer.
  void ServeFor(std::chrono::microseconds limit);

  // Serves everything that waits.
  void ServeAll();

 private:
  struct Request {
    int type;
    const char* text;  // points into the message that the call came in
  };

  // A call that is waiting or being served.
  struct Call {
    explicit Call(sd_bus_message* call) : message(sd_bus_message_ref(call)) {}

    bus::Message message;
    std::function<void(sd_bus_message*)> serve;  // none for a list
    std::vector<Request> requests;               // of a list
    std::size_t served = 0;                      // of those
    bus::Message reply;                          // to a list; none when nobody waits for one
    std::size_t replySize = 0;                   // of its bodies
    std::size_t size = 0;                        // of the bodies of the requests
  };

  // What became of a request.
  struct Outcome {
    const char* error = nullptr;  // the error's name
    std::string message;          // the error's
    int type = 0;
    std::string body;
  };

  Outcome Serve(const char* sender, const Request& request);
  void ServeOne(sd_bus_message* call);
  void ServeNextOf(Call& call);
  void ServeNextClient();
  void Enqueue(Call call);
  bool ServesOnTheSpot(sd_bus_message* call);

  Nuvra::TCDaemonService& m_Service;
  std::map<std::string, std::deque<Call>> m_Clients;  // by their unique names; none without a call
  std::string m_LastServed;                           // of them
  std::size_t m_WaitingCalls = 0;
  std::size_t m_WaitingBytes = 0;
  std::vector<std::string> m_ServedOnTheSpot;  // in this turn
};

}  // namespace host
