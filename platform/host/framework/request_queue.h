#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
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
// the others do not. What a client may not request, and what it sends while it has too much waiting
// already, is answered without the service. What clients leave behind that end is served as that of
// one client, and dropped where it would be too much. One at a time. Main-loop thread only.
class RequestQueue {
 public:
  // How much there is, or may be.
  struct Load {
    std::size_t requests = 0;
    std::size_t bytes = 0;
  };

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

  // Takes the news that a name has another owner, while this is not idle. The NameOwners of the
  // service hear it once all calls that were taken before it are served, and before any call that
  // is taken after it is. While there is too much, no request waits for what the bus says.
  void TakeNews(sd_bus_message* news);

  // Whether so many replies wait for the bus that nothing should be served or read meanwhile.
  bool IsStuck() const;

  // Whether there is something to do now.
  bool IsReady() const { return !IsEmpty() && !IsStuck(); }

  // Whether nothing waits, not for an answer of the bus either.
  bool IsIdle() const { return IsEmpty() && m_Lines.front().aside.empty(); }

  // Whether so much news is waiting that some should be told before more is read.
  bool IsFull() const;

  // To be called before reading messages that arrived together.
  void BeginTurn() {
    m_ServedOnTheSpot.clear();
    m_HasRefused = false;
    m_HasTakenSince = false;
  }

  // Whether in this turn a call was refused because too much waits, and after that one taken of a
  // client that had nothing waiting.
  bool HasTakenSinceRefusal() const { return m_HasTakenSince; }

  // Whether there was such a refusal in the last 50 ms.
  bool HasRefusedLately() const;

  // Serves some of what waits, one request of each client in turns, and returns after `limit`,
  // unless a single request or piece of news takes longer.
  void ServeFor(std::chrono::microseconds limit);

 private:
  struct Request {
    int type;
    const char* text;  // points into the message that the call came in
  };

  // Serves and answers a call. False, with nothing done, while the caller must become known first.
  using ServeCall = std::function<bool(sd_bus_message*)>;

  // How much is waiting.
  struct Waiting : Load {
    bool isFull = false;  // since something was refused; until half of what may be is left
  };

  // How much of a client.
  struct Client : Waiting {
    bool hasEnded = false;
    bool isForgotten = false;  // by m_Callers, after its last call
  };

  // A call that is waiting or being served.
  struct Call {
    explicit Call(sd_bus_message* call) : message(sd_bus_message_ref(call)) {}

    bus::Message message;
    ServeCall serve;                // none for a list
    std::vector<Request> requests;  // of a list
    std::size_t served = 0;         // of those
    bus::Message reply;             // to a list; none when nobody waits for one
    std::size_t replySize = 0;      // of its bodies
    Load load;
  };

  // What became of a request.
  struct Outcome {
    bool isUnknown = false;       // nothing: the caller must be known first
    const char* error = nullptr;  // the error's name
    std::string message;          // the error's
    int type = 0;
    std::string body;
  };

  using Calls = std::list<Call>;

  // What a client, or all those that ended, have waiting; at least one call.
  struct Line {
    std::string client;  // its unique name, or kEnded
    Calls calls;
    bool isAside = false;  // where it stands
  };
  using Ring = std::list<Line>;

  // What was taken between two pieces of news.
  struct Lines {
    Ring ring;   // whose first has its turn, and then goes to the end
    Ring aside;  // those whose clients the bus was asked about
    std::map<std::string, Ring::iterator> clients;  // of both
    bus::Message news;                              // that came after them; none behind the last
  };

  bool IsEmpty() const {
    return m_Lines.front().ring.empty() &&
           (m_Lines.front().news == nullptr || !m_Lines.front().aside.empty());
  }
  int TakeCall(sd_bus_message* call, sd_bus_error* error, ServeCall serve);
  Outcome Serve(const std::string& sender, const Request& request);
  bool ServeOne(sd_bus_message* call);
  bool ServeNextOf(Call& call);
  void ServeNextClient();
  void TellNews();
  void Postpone(Ring::iterator line);
  void Resume(const std::string& client);
  void Forget(const std::string& connection);
  static void Append(Lines& lines, const std::string& client, Calls& calls);
  static void Remove(Lines& lines, Ring::iterator line);
  void Enqueue(Call call);
  void Leave(const std::string& client, const Load& load);
  bool ServesOnTheSpot(sd_bus_message* call);
  bool IsTooMuch(Waiting& waiting, const Load& more, const Load& most);
  int Refuse(const std::string& client, const Load& more, sd_bus_error* error);
  static void Add(Waiting& waiting, const Load& more);
  static void Subtract(Waiting& waiting, const Load& less, const Load& most);

  sd_bus* const m_Bus;
  const Access& m_Access;
  Nuvra::TCDaemonService& m_Service;
  Callers m_Callers;
  std::deque<Lines> m_Lines{1};             // of which the first are served
  std::map<std::string, Client> m_Waiting;  // each client that has a call in m_Lines
  Waiting m_WaitingOfAll;                   // but of those that ended
  Waiting m_WaitingOfEnded;
  std::vector<std::string> m_ServedOnTheSpot;  // in this turn, as the next two
  bool m_HasRefused = false;
  bool m_HasTakenSince = false;
  std::chrono::steady_clock::time_point m_LastRefusal;  // long ago if never
};

}  // namespace host
