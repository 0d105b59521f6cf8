// What many clients send comes through one connection, in one line: a single request of one client
// is stuck behind a thousand of another. So the line is read faster than it is served. Whoever has
// been served in this turn of the main loop waits in a line of its own, and these lines are served
// in turns, one request each.
//
// Who a client is, the bus is asked when a request first depends on it, so that questions cost
// nothing. Until the answer the client's line stands aside.

#include "framework/request_queue.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "framework/before_messages.h"
#include "framework/message_text.h"
#include "framework/name_owners.h"
#include "system/error_log.h"
#include "system/exception_border.h"

namespace host {
namespace {

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";
constexpr char kFailed[] = "org.nuvra.Error.Failed";
constexpr char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

constexpr std::size_t kMaxWaitingCalls = 4096;
constexpr std::size_t kMaxWaitingBytes = 16 * 1024 * 1024;

constexpr int kErrorType = -1;

std::string SenderOf(sd_bus_message* call) {
  const char* const sender = sd_bus_message_get_sender(call);
  return sender != nullptr ? sender : "";
}

std::string Unsent(int error) {
  const char* const problem = std::strerror(-error);
  LogError("nuvra", std::string("a reply could not be sent: ") + problem);
  return std::string("the reply cannot be sent: ") + problem;
}

void ReplyError(sd_bus_message* call, const char* name, const std::string& text) {
  sd_bus_reply_method_errorf(call, name, "%s", text.c_str());
}

std::string ErrorBody(const char* name, const std::string& text) {
  Json::Value body;
  body["error"] = name;
  body["message"] = text;
  return WriteBody(body);
}

// The size of the single request in a call; 0 if it cannot be read.
std::size_t SizeOf(sd_bus_message* call) {
  int type = 0;
  const char* text = nullptr;
  const std::size_t size = sd_bus_message_read(call, "is", &type, &text) > 0 ? strlen(text) : 0;
  sd_bus_message_rewind(call, true);
  return size;
}

}  // namespace

RequestQueue::RequestQueue(const ServiceBus& bus, const Access& access,
                           Nuvra::TCDaemonService& service)
    : m_Access(access),
      m_Service(service),
      m_Callers(bus.Get(), bus.IsSystem(), [this](const std::string& client) { Resume(client); }) {
  if (NameOwners* const owners = NameOwners::Current()) {
    owners->ListenToEnds([this](const std::string& connection) { Forget(connection); });
  }
}

RequestQueue::~RequestQueue() {
  if (NameOwners* const owners = NameOwners::Current()) {
    owners->ListenToEnds({});
  }
}

int RequestQueue::TakeRequest(sd_bus_message* call, sd_bus_error* error) {
  return TakeCall(call, error, [this](sd_bus_message* taken) { return ServeOne(taken); });
}

int RequestQueue::Take(sd_bus_message* call, sd_bus_error* error,
                       std::function<void(sd_bus_message*)> serve) {
  return TakeCall(call, error, [serve = std::move(serve)](sd_bus_message* taken) {
    serve(taken);
    return true;
  });
}

int RequestQueue::TakeCall(sd_bus_message* call, sd_bus_error* error, ServeCall serve) {
  try {
    const bool isOnTheSpot = ServesOnTheSpot(call);
    if (!isOnTheSpot || !serve(call)) {
      Call waits(call);
      waits.serve = std::move(serve);
      waits.size = SizeOf(call);
      Enqueue(std::move(waits));
      if (isOnTheSpot) {
        Postpone(SenderOf(call));
      }
    }
    return 1;
  } catch (...) {
    return sd_bus_error_set(error, kFailed, CurrentExceptionText().c_str());
  }
}

int RequestQueue::TakeRequests(sd_bus_message* call, sd_bus_error* error) {
  try {
    Call list(call);
    int result = sd_bus_message_enter_container(call, 'a', "(is)");
    Request request{};
    while (result >= 0 &&
           (result = sd_bus_message_read(call, "(is)", &request.type, &request.text)) > 0) {
      list.requests.push_back(request);
      list.size += strlen(request.text);
      if (list.requests.size() > kMaxRequestsAtOnce) {
        return sd_bus_error_set(error, kInvalidMessage, "there are more than 1024 requests");
      }
      if (list.size > kMaxTextAtOnce) {
        return sd_bus_error_set(error, kInvalidMessage, "the bodies are larger than 1 MiB in all");
      }
    }
    if (result < 0) {
      return sd_bus_error_set(error, kInvalidMessage, "the message is damaged or not UTF-8");
    }
    if (sd_bus_message_get_expect_reply(call) > 0) {
      bus::Check(sd_bus_message_new_method_return(call, bus::Out(list.reply)), "no reply");
      bus::Check(sd_bus_message_open_container(list.reply.get(), 'a', "(is)"), "no reply");
    }
    Enqueue(std::move(list));
    return 1;
  } catch (...) {
    return sd_bus_error_set(error, kFailed, CurrentExceptionText().c_str());
  }
}

bool RequestQueue::IsFull() const {
  return m_WaitingCalls >= kMaxWaitingCalls || m_WaitingBytes >= kMaxWaitingBytes;
}

bool RequestQueue::ServesOnTheSpot(sd_bus_message* call) {
  std::string sender = SenderOf(call);
  if (!IsEmpty() || m_Unknown.contains(sender) ||
      std::find(m_ServedOnTheSpot.begin(), m_ServedOnTheSpot.end(), sender) !=
          m_ServedOnTheSpot.end()) {
    return false;
  }
  m_ServedOnTheSpot.push_back(std::move(sender));
  return true;
}

void RequestQueue::Enqueue(Call call) {
  m_WaitingBytes += call.size;
  ++m_WaitingCalls;
  const std::string sender = SenderOf(call.message.get());
  (m_Unknown.contains(sender) ? m_Unknown : m_Clients)[sender].push_back(std::move(call));
}

void RequestQueue::Postpone(const std::string& client) {
  m_Unknown.insert(m_Clients.extract(client));
  m_Callers.Ask(client);
}

void RequestQueue::Resume(const std::string& client) {
  if (!m_Callers.Find(client)->isKnown) {
    m_Ended.insert(client);
  }
  if (m_Unknown.contains(client)) {
    m_Clients.insert(m_Unknown.extract(client));
  }
}

void RequestQueue::Forget(const std::string& connection) {
  if (m_Clients.contains(connection) || m_Unknown.contains(connection)) {
    m_Ended.insert(connection);
  } else {
    m_Callers.Forget(connection);
  }
}

void RequestQueue::ServeFor(std::chrono::microseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!IsEmpty()) {
    ServeNextClient();
    if (std::chrono::steady_clock::now() >= end) {
      break;
    }
  }
}

void RequestQueue::ServeAll() {
  while (!IsIdle()) {
    if (IsEmpty()) {
      const std::string client = m_Unknown.begin()->first;
      m_Callers.AskAndWait(client);
      Resume(client);
    }
    ServeNextClient();
  }
}

void RequestQueue::ServeNextClient() {
  auto client = m_Clients.upper_bound(m_LastServed);
  if (client == m_Clients.end()) {
    client = m_Clients.begin();
  }
  m_LastServed = client->first;
  Call& call = client->second.front();
  bool isServed = true;
  bool isDone = true;
  CatchUpBeforeMessage();
  if (!Guarded("nuvra", "an exception left a request", [&] {
        if (call.serve) {
          isServed = call.serve(call.message.get());
        } else {
          isServed = ServeNextOf(call);
          isDone = call.served == call.requests.size();
        }
      })) {
    ReplyError(call.message.get(), kFailed, "the reply could not be made");
  }
  if (!isServed) {
    Postpone(m_LastServed);
  } else if (isDone) {
    --m_WaitingCalls;
    m_WaitingBytes -= call.size;
    client->second.pop_front();
    if (client->second.empty()) {
      if (m_Ended.erase(client->first) > 0) {
        m_Callers.Forget(client->first);
      }
      m_Clients.erase(client);
    }
  }
}

RequestQueue::Outcome RequestQueue::Serve(const std::string& sender, const Request& request) {
  Outcome outcome;
  const auto failed = [&](const char* error, std::string message) {
    outcome.error = error;
    outcome.message = std::move(message);
    return std::move(outcome);
  };
  try {
    Nuvra::TCMessage message;
    message.type = request.type;
    std::string fault;
    if (!ParseBody({request.text, strnlen(request.text, kMaxBodySize + 1)}, message.body, fault)) {
      return failed(kInvalidMessage, fault);
    }
    Judgement judgement = m_Access.Judge(sender, m_Callers.Find(sender), message.body);
    if (judgement.kind == Judgement::Kind::kRefused) {
      return failed(kAccessDenied, std::move(judgement.reason));
    }
    outcome.isUnknown = judgement.kind == Judgement::Kind::kNeedsCaller;
    if (outcome.isUnknown) {
      return outcome;
    }
    Nuvra::TCMessage reply;
    if (!m_Service.IfMessageReceived(sender.c_str(), &message, &reply, "")) {
      return failed(kFailed, "the service refused the request");
    }
    outcome.type = reply.type;
    outcome.body = WriteBody(reply.body);
    return outcome;
  } catch (...) {
    LogCurrentException("nuvra", "an exception left a request");
    return failed(kFailed, CurrentExceptionText());
  }
}

// False, with nothing done, while the caller must become known first.
bool RequestQueue::ServeOne(sd_bus_message* call) {
  Request request{};
  if (sd_bus_message_read(call, "is", &request.type, &request.text) < 0) {
    ReplyError(call, kInvalidMessage, "the message is damaged or not UTF-8");
    return true;
  }
  const Outcome outcome = Serve(SenderOf(call), request);
  if (outcome.isUnknown) {
    sd_bus_message_rewind(call, true);
    return false;
  }
  if (outcome.error != nullptr) {
    ReplyError(call, outcome.error, outcome.message);
    return true;
  }
  if (sd_bus_message_get_expect_reply(call) > 0) {
    const int result =
        outcome.body.size() > kMaxSentBodySize
            ? -EMSGSIZE
            : sd_bus_reply_method_return(call, "is", outcome.type, outcome.body.c_str());
    if (result < 0) {
      ReplyError(call, kFailed, Unsent(result));
    }
  }
  return true;
}

// One request of a list, as ServeOne does; after the last one the reply is sent.
bool RequestQueue::ServeNextOf(Call& call) {
  if (call.served < call.requests.size()) {
    const Request& request = call.requests[call.served];
    Outcome outcome = Serve(SenderOf(call.message.get()), request);
    if (outcome.isUnknown) {
      return false;
    }
    ++call.served;
    if (call.reply == nullptr) {
      return true;
    }
    if (outcome.error == nullptr && call.replySize + outcome.body.size() > kMaxSentBodySize) {
      outcome.error = kFailed;
      outcome.message = Unsent(-EMSGSIZE);
    }
    if (outcome.error != nullptr) {
      outcome.type = kErrorType;
      outcome.body = ErrorBody(outcome.error, outcome.message);
    }
    call.replySize += outcome.body.size();
    bus::Check(sd_bus_message_append(call.reply.get(), "(is)", outcome.type, outcome.body.c_str()),
               "a reply could not be made");
  }
  if (call.reply != nullptr && call.served == call.requests.size()) {
    int result = sd_bus_message_close_container(call.reply.get());
    if (result >= 0) {
      result = sd_bus_send(nullptr, call.reply.get(), nullptr);
    }
    if (result < 0) {
      ReplyError(call.message.get(), kFailed, Unsent(result));
    }
  }
  return true;
}

}  // namespace host
