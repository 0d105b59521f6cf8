#include "settings/batch.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <iterator>
#include <list>
#include <numeric>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "base/utf8.h"
#include "bus_error.h"
#include "client_impl.h"

namespace settings {
namespace {

using std::chrono::steady_clock;

// A service takes more requests in one message. But the client's time limit for an answer applies
// to each message, and the first answers can be read while the service works on the next.
constexpr std::size_t kMostRequests = 256;
constexpr std::size_t kMostText = 1024 * 1024;

// A service refuses a client of which it has more than 4,096 requests or 5 MiB waiting. While two
// messages are on the way it is never idle, and much else may be sent on the same connection. What
// timed out, or was sent by a batch that ended, waits there all the same.
constexpr std::size_t kMostRequestsOnTheWay = 2 * kMostRequests;
constexpr std::size_t kMostTextOnTheWay = kMostText;

// A bus lets a connection wait for only some hundred answers at a time.
constexpr std::size_t kMostSingleRequests = 64;

// The message type of what replaces a reply.
constexpr int kErrorType = -1;

constexpr std::string_view kNoSuchMethod = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr std::string_view kNoReply = "org.freedesktop.DBus.Error.NoReply";
constexpr char kTimeout[] = "org.freedesktop.DBus.Error.Timeout";

std::exception_ptr PointerTo(const Error& error) { return std::make_exception_ptr(error); }

// Whether a message can hold the text.
bool CanTravel(const std::string& text) {
  return text.find('\0') == std::string::npos && base::ValidUtf8(text) == text;
}

// What a reply in a list says. Throws the error that replaces it.
Reply ReadReplyInList(Message message) {
  const bool isError = message.type == kErrorType;
  Reply reply = ReadReply(std::move(message));
  if (isError && reply.body["error"].isString() && reply.body["message"].isString()) {
    throw ErrorFromReply(reply.body["error"].asString(), reply.body["message"].asString());
  }
  return reply;
}

// Errors that concern a single request; after any other it is useless to go on asking.
bool ConcernsOneRequest(ErrorCode code) {
  return code == ErrorCode::kInvalidMessage || code == ErrorCode::kFailed ||
         code == ErrorCode::kNotAllowed || code == ErrorCode::kProtocol;
}

}  // namespace

struct Batch::Impl {
  struct Request {
    std::string text;
    Batch::Take take;  // empty once it has its reply

    void GiveError(std::exception_ptr error) {
      if (take) {
        std::exchange(take, nullptr)(nullptr, std::move(error));
      }
    }

    void GiveReply(const Reply& reply) { std::exchange(take, nullptr)(&reply, nullptr); }
  };

  // What one message carries.
  using Portion = std::vector<Request>;

  static void GiveError(std::span<Request> requests, const std::exception_ptr& error) {
    for (Request& request : requests) {
      request.GiveError(error);
    }
  }

  // What was sent together.
  struct Round {
    std::function<void()> done;
    std::size_t open = 0;  // messages not answered yet, or not sent
  };
  using Rounds = std::vector<std::shared_ptr<Round>>;

  // Counts a message of each, and calls what is done then, unless that ends the batch.
  static void Finish(const Rounds& rounds, Client::Impl& connection, std::weak_ptr<char> life);

  // Counts what one message carries as being on its way. Destroyed without an end, it leaves that
  // to the service, and it goes on counting.
  class Share {
   public:
    Share(Client::Impl& connection, std::span<const Request> requests)
        : m_All(connection.onTheWay),
          m_Own(m_All.insert(m_All.end(), {requests.size(), TextSize(requests)})) {}
    ~Share() { Leave(); }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    void End() {
      m_All.erase(m_Own);
      m_Own = m_All.end();
    }

    // The service answers in order: what was left to it before has been answered, too.
    void EndWithEarlier() {
      for (auto each = m_All.begin(); each != m_Own;) {
        each = each->isAwaited ? std::next(each) : m_All.erase(each);
      }
      End();
    }

    // Some errors come before the answers to what was sent earlier, but not those of a service that
    // is no longer there.
    void EndWithError(ErrorCode code) {
      if (code == ErrorCode::kTimedOut) {
        Leave();
      } else if (code == ErrorCode::kNotRunning) {
        EndWithEarlier();
      } else {
        End();
      }
    }

   private:
    void Leave() {
      if (m_Own != m_All.end()) {
        m_Own->isAwaited = false;
        m_Own = m_All.end();
      }
    }

    std::list<Client::Impl::OnTheWay>& m_All;
    std::list<Client::Impl::OnTheWay>::iterator m_Own;
  };

  struct Sent {
    Impl* batch;
    Portion portion;
    std::shared_ptr<Round> round;
    steady_clock::time_point end;
    bus::Slot slot;
    std::optional<Share> share;
  };

  // What is waiting to be sent.
  struct Unsent {
    Portion portion;
    std::shared_ptr<Round> round;
  };

  Impl(Client& ofBatch, Client::Impl& itsConnection) : client(ofBatch), connection(itsConnection) {}

  static std::size_t TextSize(std::span<const Request> requests);
  std::vector<Portion> TakePortions();
  bus::Message CallWith(std::span<const Request> requests) const;
  static void GiveReplies(std::span<Request> requests, sd_bus_message* message);

  void Ask(std::span<Request> requests);
  void AskOneByOne(std::span<Request> requests);

  void Send(Portion& portion, const std::shared_ptr<Round>& round);
  bool HasRoom(std::span<const Request> requests, bool besideAwaited) const;
  std::optional<Unsent> TakeNext();
  Rounds SendMore(std::exception_ptr* failure = nullptr);
  static int OnReply(sd_bus_message* message, void* userData, sd_bus_error*);
  Rounds Take(Sent& answered, sd_bus_message* message);
  Rounds GiveUp(const std::exception_ptr& error);

  Client& client;
  Client::Impl& connection;
  RequestWriter writer;
  std::vector<Request> added;
  std::list<Sent> sent;
  std::deque<Unsent> singles;  // requests that go by themselves, before the lists
  std::deque<Unsent> lists;
  const std::shared_ptr<char> life = std::make_shared<char>();
};

Batch::Batch(Client& client) : m_Impl(std::make_unique<Impl>(client, *client.m_Impl)) {}

Batch::~Batch() = default;

void Batch::AddRequest(const std::string& method, const Json::Value& data, Take take) {
  m_Impl->added.push_back({m_Impl->writer.Text(method, data), std::move(take)});
}

std::size_t Batch::Impl::TextSize(std::span<const Request> requests) {
  return std::accumulate(
      requests.begin(), requests.end(), std::size_t(0),
      [](std::size_t size, const Request& request) { return size + request.text.size(); });
}

// A request that no message can hold is sent alone, and fails alone.
std::vector<Batch::Impl::Portion> Batch::Impl::TakePortions() {
  std::vector<Portion> portions;
  std::size_t size = 0;
  bool goesOn = false;
  for (Request& request : std::exchange(added, {})) {
    const bool travels = CanTravel(request.text) && request.text.size() <= kMostText;
    size += request.text.size();
    if (!goesOn || !travels || portions.back().size() == kMostRequests || size > kMostText) {
      portions.emplace_back();
      size = request.text.size();
    }
    goesOn = travels;
    portions.back().push_back(std::move(request));
  }
  return portions;
}

bus::Message Batch::Impl::CallWith(std::span<const Request> requests) const {
  if (requests.size() == 1) {
    bus::Message call = NewCall(connection.bus.get(), "Request");
    Check(sd_bus_message_append(call.get(), "is", 0, requests.front().text.c_str()));
    return call;
  }
  bus::Message call = NewCall(connection.bus.get(), "RequestAll");
  Check(sd_bus_message_open_container(call.get(), 'a', "(is)"));
  for (const Request& request : requests) {
    Check(sd_bus_message_append(call.get(), "(is)", 0, request.text.c_str()));
  }
  Check(sd_bus_message_close_container(call.get()));
  return call;
}

void Batch::Impl::GiveReplies(std::span<Request> requests, sd_bus_message* message) {
  const auto give = [](Request& request, auto read) {
    try {
      request.GiveReply(read());
    } catch (const Error& error) {
      request.GiveError(PointerTo(error));
    }
  };
  if (requests.size() == 1) {
    give(requests.front(), [&] { return ReadReply(ReadMessage(message)); });
    return;
  }
  if (sd_bus_message_has_signature(message, "a(is)") > 0 &&
      sd_bus_message_enter_container(message, 'a', "(is)") >= 0) {
    for (Request& request : requests) {
      Message reply;
      const char* text = nullptr;
      if (sd_bus_message_read(message, "(is)", &reply.type, &text) <= 0) {
        break;
      }
      reply.body = text;
      give(request, [&] { return ReadReplyInList(std::move(reply)); });
    }
  }
  GiveError(requests, PointerTo(UnexpectedForm()));
}

void Batch::Ask() {
  std::exception_ptr failure;
  for (Impl::Portion& portion : m_Impl->TakePortions()) {
    if (!failure) {
      try {
        m_Impl->Ask(portion);
      } catch (const Error& error) {
        failure = PointerTo(error);
      }
    }
    if (failure) {
      Impl::GiveError(portion, failure);
    }
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

void Batch::Impl::Ask(std::span<Request> requests) {
  if (requests.size() == 1) {
    AskOneByOne(requests);
    return;
  }
  if (!HasRoom(requests, false)) {
    AskOneByOne(requests.first(1));
    Ask(requests.subspan(1));
    return;
  }
  sd_bus* const bus = connection.bus.get();
  bus::Error error;
  bus::Message reply;
  const bus::Message call = CallWith(requests);
  Share share(connection, requests);
  if (sd_bus_call(bus, call.get(), connection.timeout.count(), error.Out(), bus::Out(reply)) >= 0) {
    share.EndWithEarlier();
    GiveReplies(requests, reply.get());
  } else if (error.Name() == kNoSuchMethod) {
    share.End();
    AskOneByOne(requests);
  } else {
    const Error problem = ErrorFromCall(bus, error.Name(), error.Text());
    share.EndWithError(problem.Code());
    throw problem;
  }
}

void Batch::Impl::AskOneByOne(std::span<Request> requests) {
  for (Request& request : requests) {
    Share share(connection, {&request, 1});
    try {
      const Reply reply = ReadReply(client.Request(request.text));
      share.EndWithEarlier();
      request.GiveReply(reply);
    } catch (const Error& error) {
      share.EndWithError(error.Code());
      if (!ConcernsOneRequest(error.Code())) {
        throw;
      }
      request.GiveError(PointerTo(error));
    }
  }
}

void Batch::Send(std::function<void()> done) {
  const auto round = std::make_shared<Impl::Round>();
  for (Impl::Portion& portion : m_Impl->TakePortions()) {
    m_Impl->lists.push_back({std::move(portion), round});
    ++round->open;
  }
  std::exception_ptr failure;
  Impl::Rounds earlier;
  for (std::shared_ptr<Impl::Round>& tried : m_Impl->SendMore(&failure)) {
    if (tried == round) {
      --round->open;
    } else {
      earlier.push_back(std::move(tried));
    }
  }
  if (failure) {
    for (auto& lists = m_Impl->lists; !lists.empty() && lists.back().round == round;) {
      Impl::GiveError(lists.back().portion, failure);
      lists.pop_back();
    }
  } else if (round->open > 0) {
    round->done = std::exchange(done, nullptr);
  }
  const std::weak_ptr<char> life = m_Impl->life;
  Impl::Finish(earlier, m_Impl->connection, life);
  if (failure) {
    std::rethrow_exception(failure);
  }
  if (done && !life.expired()) {
    done();
  }
}

void Batch::Impl::Send(Portion& portion, const std::shared_ptr<Round>& round) {
  if (portion.size() == 1 && !CanTravel(portion.front().text)) {
    portion.front().GiveError(PointerTo(UnreadableRequest()));
    return;
  }
  const bus::Message call = CallWith(portion);
  Sent& on = sent.emplace_back();
  on.batch = this;
  on.round = round;
  on.end = steady_clock::now() + connection.timeout;
  try {
    Check(sd_bus_call_async(connection.bus.get(), bus::Out(on.slot), call.get(), OnReply, &on,
                            connection.timeout.count()));
  } catch (const Error&) {
    sent.pop_back();
    throw;
  }
  on.share.emplace(connection, portion);
  on.portion = std::move(portion);
  ++round->open;
}

void Batch::Impl::Finish(const Rounds& rounds, Client::Impl& connection, std::weak_ptr<char> life) {
  for (const std::shared_ptr<Round>& round : rounds) {
    if (--round->open == 0 && round->done && !life.expired()) {
      try {
        round->done();
      } catch (...) {
        connection.thrownByCallback = std::current_exception();
      }
    }
  }
}

int Batch::Impl::OnReply(sd_bus_message* message, void* userData, sd_bus_error*) {
  auto* const answered = static_cast<Sent*>(userData);
  Impl& batch = *answered->batch;
  Client::Impl& connection = batch.connection;
  const std::weak_ptr<char> life = batch.life;
  // What is called from here may end the batch.
  std::list<Sent> own;
  own.splice(own.end(), batch.sent,
             std::find_if(batch.sent.begin(), batch.sent.end(),
                          [&](const Sent& each) { return &each == answered; }));
  try {
    Rounds rounds = batch.Take(*answered, message);
    for (std::shared_ptr<Round>& tried : batch.SendMore()) {
      rounds.push_back(std::move(tried));
    }
    rounds.push_back(answered->round);
    Finish(rounds, connection, life);
  } catch (...) {
    connection.thrownByCallback = std::current_exception();
  }
  // When a call times out, sd-bus takes the result for whether there was something to do.
  return 1;
}

// Whether no more is on the way then than may be. Without what is awaited, only what was left to
// the service counts.
bool Batch::Impl::HasRoom(std::span<const Request> requests, bool besideAwaited) const {
  std::size_t count = requests.size();
  std::size_t text = TextSize(requests);
  for (const Client::Impl::OnTheWay& each : connection.onTheWay) {
    if (besideAwaited || !each.isAwaited) {
      count += each.requests;
      text += each.text;
    }
  }
  return count <= kMostRequestsOnTheWay && text <= kMostTextOnTheWay;
}

// What may be sent now; nothing when all must wait for answers. One message may always be on its
// way, whatever other batches have sent. But behind what was left to the service it is a single
// request, whose answer tells when the service is done with that.
std::optional<Batch::Impl::Unsent> Batch::Impl::TakeNext() {
  std::deque<Unsent>& line = singles.empty() ? lists : singles;
  if (line.empty() || (!singles.empty() && sent.size() >= kMostSingleRequests)) {
    return std::nullopt;
  }
  Unsent& first = line.front();
  if (!sent.empty() && !HasRoom(first.portion, true)) {
    return std::nullopt;
  }
  Unsent next;
  if (first.portion.size() > 1 && !HasRoom(first.portion, false)) {
    next.round = first.round;
    ++next.round->open;
    next.portion.push_back(std::move(first.portion.front()));
    first.portion.erase(first.portion.begin());
  } else {
    next = std::move(first);
    line.pop_front();
  }
  return next;
}

// Returns the rounds of the portions that were sent or cannot be sent; each round counts its
// portion once too often. With `failure` the first that cannot be sent ends it.
Batch::Impl::Rounds Batch::Impl::SendMore(std::exception_ptr* failure) {
  Rounds rounds;
  while (std::optional<Unsent> next = TakeNext()) {
    rounds.push_back(next->round);
    try {
      Send(next->portion, next->round);
    } catch (const Error& error) {
      GiveError(next->portion, PointerTo(error));
      if (failure != nullptr) {
        *failure = PointerTo(error);
        break;
      }
    }
  }
  return rounds;
}

// Returns the rounds of the portions that will not be sent.
Batch::Impl::Rounds Batch::Impl::Take(Sent& answered, sd_bus_message* message) {
  Portion& portion = answered.portion;
  const sd_bus_error* const error = sd_bus_message_get_error(message);
  if (error == nullptr) {
    answered.share->EndWithEarlier();
    GiveReplies(portion, message);
    return {};
  }
  std::string name = error->name;
  if (name == kNoSuchMethod && portion.size() > 1) {
    answered.share->End();
    for (Request& request : portion) {
      Unsent& single = singles.emplace_back();
      single.round = answered.round;
      single.portion.push_back(std::move(request));
      ++single.round->open;
    }
    return {};
  }
  // When the time is over sd-bus says the same as the bus does when the service has ended.
  if (name == kNoReply && steady_clock::now() >= answered.end) {
    name = kTimeout;
  }
  const Error problem =
      ErrorFromCall(connection.bus.get(), name, error->message == nullptr ? "" : error->message);
  answered.share->EndWithError(problem.Code());
  GiveError(portion, PointerTo(problem));
  return problem.Code() == ErrorCode::kTimedOut ? GiveUp(PointerTo(problem)) : Rounds();
}

Batch::Impl::Rounds Batch::Impl::GiveUp(const std::exception_ptr& error) {
  Rounds rounds;
  for (std::deque<Unsent>* const line : {&singles, &lists}) {
    for (Unsent& unsent : std::exchange(*line, {})) {
      GiveError(unsent.portion, error);
      rounds.push_back(std::move(unsent.round));
    }
  }
  return rounds;
}

}  // namespace settings
