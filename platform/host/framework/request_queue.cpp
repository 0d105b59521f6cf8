// What many clients send comes through one connection, in one line: a single request of one client
// is stuck behind a thousand of another. So the line is read faster than it is served. Whoever has
// been served in this turn of the main loop waits in a line of its own, and these lines are served
// in turns, one request each. It is read whatever comes, because the bus turns everybody away while
// the service leaves too much with it; so what would make a client's line too long is refused. Only
// while the bus does not take the replies there is no use in reading more.
//
// Turns go by when a line began, not by names: the bus gives new clients names that no cursor has
// passed, so those that come and go without end would have all turns.
//
// Nobody waits for what a client left behind that ended, and a connection costs little, so those
// that come, send what they may and go would grow without end. It stands in one line for all of
// them, and what would make that too long is dropped. To refuse others meanwhile would shut them
// out.
//
// The lines hold what was sent before an application came or went. What is read later waits in
// lines of its own, behind that news.
//
// Who a client is, the bus is asked when a request first depends on it, so that questions cost
// nothing. Until the answer the client's line stands aside.

#include "framework/request_queue.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "base/utf8.h"
#include "framework/before_messages.h"
#include "framework/message_text.h"
#include "framework/name_owners.h"
#include "system/error_log.h"
#include "system/exception_border.h"

namespace host {
namespace {

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";
constexpr char kUnreadable[] = "the message is damaged or not UTF-8";
constexpr char kFailed[] = "org.nuvra.Error.Failed";
constexpr char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

constexpr char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

// What may wait of one client, which is four full lists, and of all together.
constexpr RequestQueue::Load kMostOfClient{4 * kMaxRequestsAtOnce, 5 * kMaxTextAtOnce};
constexpr RequestQueue::Load kMostOfAll{16 * kMostOfClient.requests, 16 * kMostOfClient.bytes};

// What may wait of all when a client begins with more than one request. The bus drops the news that
// a connection ended while it has too much for the service, so some that ended count as clients.
constexpr RequestQueue::Load kMostWithNew{2 * kMostOfAll.requests, 2 * kMostOfAll.bytes};

// What may wait of all that ended, which is sixteen full lists; and the name of their line.
constexpr RequestQueue::Load kMostOfEnded{4 * kMostOfClient.requests, 4 * kMostOfClient.bytes};
constexpr char kEnded[] = "";

constexpr std::size_t kMaxNews = 1024;

// While a bus does not read, because somebody does not read from it, replies stay here.
constexpr std::uint64_t kMostUnsent = 16;

// A flood does not end with a moment in which some of it is taken.
constexpr std::chrono::milliseconds kLately{50};

// What a request, or any text in a call, takes beside its bytes.
constexpr std::size_t kBytesAround = 64;

constexpr RequestQueue::Load kOneRequest{1, kMaxBodySize + kBytesAround};

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
  const int result = sd_bus_reply_method_errorf(call, name, "%s", base::ValidUtf8(text).c_str());
  if (result < 0) {
    Unsent(result);
  }
}

std::string ErrorBody(const char* name, const std::string& text) {
  Json::Value body;
  body["error"] = name;
  body["message"] = text;
  return WriteBody(body);
}

bool Fits(const RequestQueue::Load& waiting, const RequestQueue::Load& more,
          const RequestQueue::Load& most) {
  return waiting.requests + more.requests <= most.requests &&
         waiting.bytes + more.bytes <= most.bytes;
}

// What a call is counted as: each of its texts as a request. They are read no further than it
// matters. Nothing when one cannot be read.
std::optional<RequestQueue::Load> LoadOf(sd_bus_message* call) {
  RequestQueue::Load load;
  const char* text = nullptr;
  bool isReadable = true;
  const auto count = [&](int result) {
    if (result > 0) {
      ++load.requests;
      load.bytes += strlen(text) + kBytesAround;
    }
    isReadable = result >= 0;
    return result > 0;
  };
  int type = 0;
  if (sd_bus_message_has_signature(call, "as") > 0) {
    sd_bus_message_enter_container(call, 'a', "s");
    while (load.requests <= kMostOfClient.requests && load.bytes <= kMostOfClient.bytes &&
           count(sd_bus_message_read(call, "s", &text))) {
    }
  } else if (sd_bus_message_has_signature(call, "is") > 0) {
    count(sd_bus_message_read(call, "is", &type, &text));
  } else {
    count(sd_bus_message_read(call, "s", &text));
  }
  sd_bus_message_rewind(call, true);
  load.requests = std::max<std::size_t>(load.requests, 1);
  return isReadable ? std::optional(load) : std::nullopt;
}

}  // namespace

RequestQueue::RequestQueue(const ServiceBus& bus, const Access& access,
                           Nuvra::TCDaemonService& service)
    : m_Bus(bus.Get()),
      m_Access(access),
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
  try {
    return TakeCall(call, error, [serve = std::move(serve)](sd_bus_message* taken) {
      serve(taken);
      return true;
    });
  } catch (...) {  // for want of memory for the function
    return sd_bus_error_set(error, kFailed, CurrentExceptionText().c_str());
  }
}

int RequestQueue::TakeCall(sd_bus_message* call, sd_bus_error* error, ServeCall serve) {
  try {
    const bool isOnTheSpot = ServesOnTheSpot(call);
    if (isOnTheSpot && serve(call)) {
      return 1;
    }
    const std::string sender = SenderOf(call);
    if (const int refused = Refuse(sender, {1, 0}, error); refused < 0) {
      return refused;
    }
    const std::optional<Load> load = LoadOf(call);
    if (!load) {
      return sd_bus_error_set(error, kInvalidMessage, kUnreadable);
    }
    if (const int refused = Refuse(sender, *load, error); refused < 0) {
      return refused;
    }
    if (isOnTheSpot) {
      m_Callers.Ask(sender);  // before anything waits for the answer: this may fail
    }
    Call waits(call);
    waits.serve = std::move(serve);
    waits.load = *load;
    Enqueue(std::move(waits));
    if (isOnTheSpot) {
      Postpone(m_Lines.front().ring.begin());
    }
    return 1;
  } catch (...) {
    return sd_bus_error_set(error, kFailed, CurrentExceptionText().c_str());
  }
}

int RequestQueue::TakeRequests(sd_bus_message* call, sd_bus_error* error) {
  try {
    const std::string sender = SenderOf(call);
    // One of which nothing fits is not read at all.
    if (const int refused = Refuse(sender, {1, 0}, error); refused < 0) {
      return refused;
    }
    Call list(call);
    std::size_t textSize = 0;
    int result = sd_bus_message_enter_container(call, 'a', "(is)");
    Request request{};
    while (result >= 0 &&
           (result = sd_bus_message_read(call, "(is)", &request.type, &request.text)) > 0) {
      list.requests.push_back(request);
      textSize += strlen(request.text);
      if (list.requests.size() > kMaxRequestsAtOnce) {
        return sd_bus_error_set(error, kInvalidMessage, "there are more than 1024 requests");
      }
      if (textSize > kMaxTextAtOnce) {
        return sd_bus_error_set(error, kInvalidMessage, "the bodies are larger than 1 MiB in all");
      }
    }
    if (result < 0) {
      return sd_bus_error_set(error, kInvalidMessage, kUnreadable);
    }
    // An empty one waits, too.
    list.load.requests = std::max<std::size_t>(list.requests.size(), 1);
    list.load.bytes = textSize + list.load.requests * kBytesAround;
    if (const int refused = Refuse(sender, list.load, error); refused < 0) {
      return refused;
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

bool RequestQueue::IsTooMuch(Waiting& waiting, const Load& more, const Load& most) {
  if (!Fits(waiting, more, most)) {
    waiting.isFull = true;
  }
  if (waiting.isFull) {
    m_HasRefused = true;
    m_LastRefusal = std::chrono::steady_clock::now();
  }
  return waiting.isFull;
}

bool RequestQueue::HasRefusedLately() const {
  return std::chrono::steady_clock::now() - m_LastRefusal < kLately;
}

// Returns 0, or sets the error and returns what sd-bus expects then. A client that waits for each
// answer is heard however much the others have sent.
int RequestQueue::Refuse(const std::string& client, const Load& more, sd_bus_error* error) {
  const auto found = m_Waiting.find(client);
  const bool isNew = found == m_Waiting.end();
  Waiting none;
  if (IsTooMuch(isNew ? none : found->second, more, kMostOfClient)) {
    return sd_bus_error_set(error, kLimitsExceeded,
                            "at most 4096 requests and 5 MiB of a client may wait: await answers "
                            "before you send more");
  }
  if (!isNew && IsTooMuch(m_WaitingOfAll, more, kMostOfAll)) {
    return sd_bus_error_set(error, kLimitsExceeded,
                            "at most 65536 requests and 80 MiB of all clients may wait: await "
                            "answers before you send more");
  }
  Waiting all{m_WaitingOfAll};
  all.isFull = false;
  if (isNew && !Fits({}, more, kOneRequest) && IsTooMuch(all, more, kMostWithNew)) {
    return sd_bus_error_set(error, kLimitsExceeded,
                            "at most 131072 requests and 160 MiB of all clients may wait: send one "
                            "request, or all of them later");
  }
  return 0;
}

bool RequestQueue::IsStuck() const {
  std::uint64_t unsent = 0;
  return sd_bus_get_n_queued_write(m_Bus, &unsent) >= 0 && unsent >= kMostUnsent;
}

void RequestQueue::TakeNews(sd_bus_message* news) {
  m_Lines.emplace_back();
  std::prev(m_Lines.end(), 2)->news.reset(sd_bus_message_ref(news));
  // What the bus says about a client comes behind still more news.
  if (IsFull()) {
    Lines& lines = m_Lines.front();
    for (Line& line : lines.aside) {
      line.isAside = false;
    }
    lines.ring.splice(lines.ring.end(), lines.aside);
  }
}

bool RequestQueue::IsFull() const { return m_Lines.size() > kMaxNews; }

bool RequestQueue::ServesOnTheSpot(sd_bus_message* call) {
  std::string sender = SenderOf(call);
  if (!IsEmpty() || IsStuck() || m_Waiting.contains(sender) || m_Lines.size() > 1 ||
      std::find(m_ServedOnTheSpot.begin(), m_ServedOnTheSpot.end(), sender) !=
          m_ServedOnTheSpot.end()) {
    return false;
  }
  m_ServedOnTheSpot.push_back(std::move(sender));
  return true;
}

// Leaves nothing in `calls`; changes nothing when it throws.
void RequestQueue::Append(Lines& lines, const std::string& client, Calls& calls) {
  auto found = lines.clients.lower_bound(client);
  if (found == lines.clients.end() || found->first != client) {
    Ring one;
    one.push_back({client, {}});
    found = lines.clients.emplace_hint(found, client, one.begin());
    lines.ring.splice(lines.ring.end(), one);
  }
  Line& line = *found->second;
  line.calls.splice(line.calls.end(), calls);
}

void RequestQueue::Remove(Lines& lines, Ring::iterator line) {
  lines.clients.erase(line->client);
  (line->isAside ? lines.aside : lines.ring).erase(line);
}

// Changes nothing when it throws.
void RequestQueue::Enqueue(Call call) {
  const std::string sender = SenderOf(call.message.get());
  const Load load = call.load;
  Calls one;
  one.push_back(std::move(call));
  Waiting& waiting = m_Waiting[sender];
  try {
    Append(m_Lines.back(), sender, one);
  } catch (...) {
    Leave(sender, {});
    throw;
  }
  m_HasTakenSince |= m_HasRefused && waiting.requests == 0;
  Add(waiting, load);
  Add(m_WaitingOfAll, load);
}

void RequestQueue::Add(Waiting& waiting, const Load& more) {
  waiting.requests += more.requests;
  waiting.bytes += more.bytes;
}

void RequestQueue::Subtract(Waiting& waiting, const Load& less, const Load& most) {
  waiting.requests -= less.requests;
  waiting.bytes -= less.bytes;
  if (waiting.requests <= most.requests / 2 && waiting.bytes <= most.bytes / 2) {
    waiting.isFull = false;
  }
}

void RequestQueue::Leave(const std::string& client, const Load& load) {
  const auto own = m_Waiting.find(client);
  Subtract(own->second, load, kMostOfClient);
  if (own->second.hasEnded) {
    Subtract(m_WaitingOfEnded, load, kMostOfEnded);
  } else {
    Subtract(m_WaitingOfAll, load, kMostOfAll);
  }
  if (own->second.requests == 0) {
    if (own->second.isForgotten) {
      m_Callers.Forget(client);
    }
    m_Waiting.erase(own);
  }
}

// The line of those that ended is not their name.
void RequestQueue::Postpone(Ring::iterator line) {
  m_Callers.Ask(SenderOf(line->calls.front().message.get()));
  Lines& lines = m_Lines.front();
  line->isAside = true;
  lines.aside.splice(lines.aside.end(), lines.ring, line);
}

void RequestQueue::Resume(const std::string& client) {
  const auto own = m_Waiting.find(client);
  const bool isKnown = m_Callers.Find(client)->isKnown;
  if (own == m_Waiting.end()) {  // its request was refused meanwhile
    if (!isKnown) {
      m_Callers.Forget(client);
    }
    return;
  }
  if (!isKnown) {
    own->second.isForgotten = true;
  }
  Lines& lines = m_Lines.front();
  // When the latter waits for another one's answer, it stands aside again.
  for (const std::string& name : {client, std::string(kEnded)}) {
    if (const auto found = lines.clients.find(name);
        found != lines.clients.end() && found->second->isAside) {
      found->second->isAside = false;
      lines.ring.splice(lines.ring.end(), lines.aside, found->second);
    }
  }
}

void RequestQueue::Forget(const std::string& connection) {
  const auto own = m_Waiting.find(connection);
  if (own == m_Waiting.end()) {
    m_Callers.Forget(connection);
    return;
  }
  Client& client = own->second;
  const bool isKept = Fits(m_WaitingOfEnded, client, kMostOfEnded);
  for (Lines& lines : m_Lines) {
    if (const auto found = lines.clients.find(connection); found != lines.clients.end()) {
      const Ring::iterator line = found->second;
      for (Call& call : line->calls) {
        call.reply.reset();
      }
      if (isKept) {
        Append(lines, kEnded, line->calls);
      }
      Remove(lines, line);
    }
  }
  Subtract(m_WaitingOfAll, client, kMostOfAll);
  if (isKept) {
    Add(m_WaitingOfEnded, client);
    client.hasEnded = true;
    client.isForgotten = true;
    return;
  }
  m_Waiting.erase(own);
  m_Callers.Forget(connection);
  if (!std::exchange(m_WaitingOfEnded.isFull, true)) {
    LogError("nuvra",
             "requests of clients that ended are dropped: 16384 requests or 20 MiB of such "
             "clients wait already");
  }
}

void RequestQueue::ServeFor(std::chrono::microseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (IsReady()) {
    if (m_Lines.front().ring.empty()) {
      TellNews();
    } else {
      ServeNextClient();
    }
    if (std::chrono::steady_clock::now() >= end) {
      break;
    }
  }
}

void RequestQueue::TellNews() {
  const bus::Message news = std::move(m_Lines.front().news);
  m_Lines.pop_front();
  CatchUpBeforeMessage();
  if (NameOwners* const owners = NameOwners::Current()) {
    owners->Take(news.get());
  }
}

void RequestQueue::ServeNextClient() {
  Lines& lines = m_Lines.front();
  const Ring::iterator line = lines.ring.begin();
  Call& call = line->calls.front();
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
    Postpone(line);
    return;
  }
  lines.ring.splice(lines.ring.end(), lines.ring, line);
  if (isDone) {
    const std::string client = SenderOf(call.message.get());
    const Load load = call.load;
    line->calls.pop_front();
    if (line->calls.empty()) {
      Remove(lines, line);
    }
    Leave(client, load);
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
    if (judgement.kind == Judgement::Kind::kNeedsCaller && IsFull()) {
      return failed(kLimitsExceeded,
                    "at most 1024 pieces of news may wait until the bus says who a client is: send "
                    "the request again");
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
    ReplyError(call, kInvalidMessage, kUnreadable);
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
