#include "settings/client.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <set>
#include <utility>

#include "base/json.h"
#include "bus_error.h"
#include "client_impl.h"
#include "settings/question.h"

namespace settings {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

void CheckIsObject(const Json::Value& value, const char* what) {
  if (!value.isObject()) {
    throw std::invalid_argument(std::string(what) + " of a request must be a JSON object");
  }
}

Json::Value ObjectOf(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value object(Json::objectValue);
  for (const auto& [name, value] : members) {
    object[name] = value;
  }
  return object;
}

template <typename T>
T AskOne(Client& client, const Question<T>& question) {
  return question.read(question.method, client.Call(question.method, question.data));
}

}  // namespace

int Check(int result) {
  if (result < 0) {
    throw ErrorFromResult(result);
  }
  return result;
}

std::string RequestText(const std::string& method, const Json::Value& data,
                        const Json::Value& members) {
  CheckIsObject(data, "the arguments");
  CheckIsObject(members, "the other members");
  Json::Value request = members;
  request["method"] = method;
  request["data"] = data;
  return base::WriteJson(request);
}

bus::Message NewCall(sd_bus* bus, const char* method) {
  bus::Message call;
  Check(sd_bus_message_new_method_call(bus, bus::Out(call), kBusName, kObject, kInterface, method));
  return call;
}

Error UnreadableRequest() {
  return Error(ErrorCode::kInvalidMessage, "the request is not UTF-8 text without zero bytes",
               "send JSON text");
}

Error UnexpectedForm() {
  return Error(ErrorCode::kProtocol, "the reply has not the form of the settings service's",
               "is this the settings service, and of the same release?");
}

Message ReadMessage(sd_bus_message* reply) {
  Message message;
  const char* text = nullptr;
  if (sd_bus_message_has_signature(reply, "is") <= 0 ||
      sd_bus_message_read(reply, "is", &message.type, &text) < 0) {
    throw UnexpectedForm();
  }
  message.body = text;
  return message;
}

Reply ReadReply(Message message) {
  std::optional<Json::Value> value = base::TryParseJson(message.body);
  if (!value || !value->isObject()) {
    throw Error(ErrorCode::kProtocol, "the reply is not a JSON object",
                "is this the settings service, and of the same release?");
  }
  return {message.type, std::move(message.body), *std::move(value)};
}

Error ErrorFromCall(sd_bus* bus, const std::string& name, const std::string& text) {
  return sd_bus_is_open(bus) > 0 ? ErrorFromReply(name, text) : ErrorFromResult(-ECONNRESET);
}

bool Reply::Succeeded() const {
  const Json::Value& success = body["call_api_success"];
  return success.isBool() && success.asBool();
}

struct Subscription::Impl {
  static int OnSignal(sd_bus_message* message, void* userData, sd_bus_error*);

  // Shared with the current call, which may end the subscription.
  std::shared_ptr<SignalCallback> callback;
  Client::Impl* client = nullptr;
  bus::Slot slot;
};

int Subscription::Impl::OnSignal(sd_bus_message* message, void* userData, sd_bus_error*) {
  // The bus has checked the sender of a broadcast, but not of a message addressed to this
  // connection: anybody could have sent that.
  if (sd_bus_message_get_destination(message) != nullptr) {
    return 0;
  }
  const char* name = nullptr;
  const char* body = nullptr;
  Signal signal;
  if (sd_bus_message_has_signature(message, "sis") <= 0 ||
      sd_bus_message_read(message, "sis", &name, &signal.type, &body) < 0) {
    return 0;
  }
  signal.name = name;
  signal.body = body;
  const char* sender = sd_bus_message_get_sender(message);
  signal.sender = sender == nullptr ? "" : sender;

  auto* self = static_cast<Impl*>(userData);
  Client::Impl* client = self->client;
  const std::shared_ptr<SignalCallback> callback = self->callback;
  try {
    (*callback)(signal);
  } catch (...) {
    client->thrownByCallback = std::current_exception();
  }
  return 0;
}

Subscription::Subscription() = default;
Subscription::Subscription(std::unique_ptr<Impl> impl) : m_Impl(std::move(impl)) {}
Subscription::~Subscription() = default;
Subscription::Subscription(Subscription&&) noexcept = default;
Subscription& Subscription::operator=(Subscription&&) noexcept = default;

Client::Client(const std::string& bus, microseconds timeout) : m_Impl(std::make_unique<Impl>()) {
  if (bus != "session" && bus != "system" && bus.find(':') == std::string::npos) {
    throw ErrorFromConnecting(bus, -EINVAL);
  }
  // 0 would be sd-bus's own default time.
  m_Impl->timeout = std::max(timeout, microseconds(1));
  const int result = bus::Connect(bus, m_Impl->timeout, m_Impl->bus);
  if (result < 0) {
    throw ErrorFromConnecting(bus, result);
  }
}

Client::~Client() = default;

Message Client::Request(const std::string& body, int type) {
  if (body.find('\0') != std::string::npos) {
    throw UnreadableRequest();
  }
  sd_bus* bus = m_Impl->bus.get();
  const bus::Message request = NewCall(bus, "Request");
  const int appended = sd_bus_message_append(request.get(), "is", type, body.c_str());
  if (appended == -EINVAL) {
    throw UnreadableRequest();
  }
  Check(appended);

  bus::Error error;
  bus::Message reply;
  if (sd_bus_call(bus, request.get(), m_Impl->timeout.count(), error.Out(), bus::Out(reply)) < 0) {
    throw ErrorFromCall(bus, error.Name(), error.Text());
  }
  return ReadMessage(reply.get());
}

Reply Client::Call(const std::string& method, const Json::Value& data, const Json::Value& members) {
  return ReadReply(Request(RequestText(method, data, members)));
}

std::optional<std::string> Client::GetItemValue(const std::string& item) {
  return AskOne(*this, ask::GetItemValue(item));
}

std::optional<std::string> Client::GetItemValueName(const std::string& item) {
  return AskOne(*this, ask::GetItemValueName(item));
}

bool Client::SetItemValue(const std::string& item, const std::string& value, bool preview) {
  return AskOne(*this, ask::SetItemValue(item, value, preview));
}

std::optional<std::string> Client::GetItemDisplayName(const std::string& item) {
  return AskOne(*this, ask::GetItemDisplayName(item));
}

std::optional<std::string> Client::GetItemDisplayID(const std::string& item) {
  return AskOne(*this, ask::GetItemDisplayID(item));
}

std::optional<std::string> Client::GetItemPath(const std::string& item) {
  return AskOne(*this, ask::GetItemPath(item));
}

std::optional<Range> Client::GetItemMinMaxStepValue(const std::string& item) {
  return AskOne(*this, ask::GetItemMinMaxStepValue(item));
}

std::optional<std::vector<std::string>> Client::GetItemChildList(const std::string& item) {
  return AskOne(*this, ask::GetItemChildList(item));
}

std::optional<std::vector<std::string>> Client::GetItemDataList(const std::string& item) {
  return AskOne(*this, ask::GetItemDataList(item));
}

std::optional<bool> Client::GetItemVisible(const std::string& item) {
  return AskOne(*this, ask::GetItemVisible(item));
}

std::optional<bool> Client::GetItemEnable(const std::string& item) {
  return AskOne(*this, ask::GetItemEnable(item));
}

std::optional<bool> Client::GetItemPathVisible(const std::string& item) {
  return AskOne(*this, ask::GetItemPathVisible(item));
}

std::optional<bool> Client::GetItemPathEnable(const std::string& item) {
  return AskOne(*this, ask::GetItemPathEnable(item));
}

std::optional<bool> Client::GetItemDataVisible(const std::string& item, const std::string& value) {
  return AskOne(*this, ask::GetItemDataVisible(item, value));
}

std::optional<bool> Client::GetItemDataEnable(const std::string& item, const std::string& value) {
  return AskOne(*this, ask::GetItemDataEnable(item, value));
}

void Client::GetItemVisibleAsync(const std::string& item, int pid, int callback) {
  Call("GetItemVisibleAsync", ObjectOf({{"menuID", item}}),
       ObjectOf({{"pid", pid}, {"callback", callback}}));
}

void Client::GetItemPathEnableAsync(const std::string& item, int pid, int callback) {
  Call("GetItemPathEnableAsync", ObjectOf({{"menuID", item}}),
       ObjectOf({{"pid", pid}, {"callback", callback}}));
}

void Client::DisableItem(const std::string& item, const std::string& app) {
  Call("DisableItem", ObjectOf({{"menuID", item}, {"appName", app}}));
}

void Client::EnableItem(const std::string& item, const std::string& app) {
  Call("EnableItem", ObjectOf({{"menuID", item}, {"appName", app}}));
}

void Client::DisableItemsByList(const std::vector<std::string>& items, const std::string& app) {
  Json::Value list(Json::arrayValue);
  for (const std::string& item : items) {
    list.append(item);
  }
  Call("DisableItemsByList", ObjectOf({{"menuIDList", list}, {"appName", app}}));
}

void Client::RemoveDisabledItemsByAppname(const std::string& app) {
  Call("RemoveDisabledItemsByAppname", ObjectOf({{"appName", app}}));
}

std::optional<bool> Client::IsItemEnabled(const std::string& item) {
  return AskOne(*this, ask::IsItemEnabled(item));
}

std::optional<std::vector<std::string>> Client::GetDisablerAppNamesByMenuId(
    const std::string& item) {
  return AskOne(*this, ask::GetDisablerAppNamesByMenuId(item));
}

std::optional<std::vector<std::string>> Client::GetDisabledItemsList() {
  return AskOne(*this, ask::GetDisabledItemsList());
}

std::optional<std::string> Client::StoreFailureSince(steady_clock::time_point begin) {
  sd_bus* bus = m_Impl->bus.get();
  bus::Message question;
  Check(sd_bus_message_new_method_call(bus, bus::Out(question), kBusName, kObject,
                                       "org.freedesktop.DBus.Properties", "Get"));
  Check(sd_bus_message_append(question.get(), "ss", kKeyStoreInterface, "Failure"));
  bus::Error error;
  bus::Message reply;
  const int result =
      sd_bus_call(bus, question.get(), m_Impl->timeout.count(), error.Out(), bus::Out(reply));
  std::uint64_t at = 0;
  const char* text = nullptr;
  if (result < 0 || sd_bus_message_enter_container(reply.get(), 'v', "(ts)") <= 0 ||
      sd_bus_message_read(reply.get(), "(ts)", &at, &text) <= 0) {
    return std::nullopt;
  }
  // All processes share the monotonic clock.
  const auto since = std::chrono::duration_cast<microseconds>(begin.time_since_epoch()).count();
  return at >= static_cast<std::uint64_t>(since) ? std::optional<std::string>(text) : std::nullopt;
}

bool Client::IsApplicationId(const std::string& name) { return bus::IsApplicationId(name); }

std::vector<std::string> Client::Applications() {
  std::set<std::string> running;
  std::set<std::string> all;
  Check(bus::ListApplications(m_Impl->bus.get(), bus::Applications::kRunning, running));
  Check(bus::ListApplications(m_Impl->bus.get(), bus::Applications::kInstalled, all));
  all.merge(running);
  return {all.begin(), all.end()};
}

bool Client::RequestName(const std::string& name) {
  if (!IsApplicationId(name)) {
    throw std::invalid_argument("\"" + name +
                                "\" is not an application ID; use one such as org.example.game");
  }
  const int result = sd_bus_request_name(m_Impl->bus.get(), name.c_str(), 0);
  if (result == -EEXIST) {
    return false;
  }
  return result == -EALREADY || Check(result) >= 0;
}

bool Client::WaitForService(std::optional<microseconds> limit) {
  bool isThere = false;
  const auto onChange = [](sd_bus_message* change, void* userData, sd_bus_error*) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (bus::IsFromBus(change) && sd_bus_message_read(change, "sss", &name, &before, &after) >= 0) {
      *static_cast<bool*>(userData) = *after != '\0';
    }
    return 0;
  };
  const std::string rule =
      std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") +
      kBusName + "'";
  bus::Slot watch;
  Check(sd_bus_add_match(m_Impl->bus.get(), bus::Out(watch), rule.c_str(), onChange, &isThere));
  // Asked after the watch began, so that no start is missed in between.
  isThere = Check(bus::HasOwner(m_Impl->bus.get(), kBusName)) > 0;
  return RunUntil([&] { return isThere; }, limit);
}

Subscription Client::Subscribe(SignalCallback callback) {
  auto subscription = std::make_unique<Subscription::Impl>();
  subscription->callback = std::make_shared<SignalCallback>(std::move(callback));
  subscription->client = m_Impl.get();
  // By the well-known name: the bus follows it from one instance of the service to the next.
  Check(sd_bus_match_signal(m_Impl->bus.get(), bus::Out(subscription->slot), kBusName, kObject,
                            kInterface, "Signal", Subscription::Impl::OnSignal,
                            subscription.get()));
  return Subscription(std::move(subscription));
}

int Client::Fd() const { return Check(sd_bus_get_fd(m_Impl->bus.get())); }

short Client::Events() const { return Check(sd_bus_get_events(m_Impl->bus.get())); }

std::optional<microseconds> Client::Timeout() const {
  uint64_t end = UINT64_MAX;
  Check(sd_bus_get_timeout(m_Impl->bus.get(), &end));
  if (end == UINT64_MAX) {
    return std::nullopt;
  }
  const microseconds now = std::chrono::floor<microseconds>(steady_clock::now().time_since_epoch());
  return std::max(microseconds(end) - now, microseconds(0));
}

bool Client::Process() {
  const int result = sd_bus_process(m_Impl->bus.get(), nullptr);
  if (m_Impl->thrownByCallback) {
    std::rethrow_exception(std::exchange(m_Impl->thrownByCallback, nullptr));
  }
  if (result == -EBUSY) {
    throw std::logic_error("a signal callback called Process or RunUntil of its client");
  }
  return Check(result) > 0;
}

bool Client::RunUntil(const std::function<bool()>& done, std::optional<microseconds> limit) {
  const bus::Deadline deadline(limit);
  while (!done()) {
    if (deadline.Passed()) {
      return false;
    }
    if (!Process()) {
      Check(bus::Wait(m_Impl->bus.get(), deadline));
    }
  }
  return true;
}

}  // namespace settings
