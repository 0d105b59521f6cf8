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

// Broadcasts of whoever has the service's name.
std::string RuleFor(const char* interface, const char* member) {
  return std::string("type='signal',sender='") + kBusName + "',path='" + kObject + "',interface='" +
         interface + "',member='" + member + "'";
}

// What a message holds if that is one text.
std::optional<std::string> TextOf(sd_bus_message* message) {
  const char* text = nullptr;
  const bool isText = sd_bus_message_has_signature(message, "s") > 0 &&
                      sd_bus_message_read(message, "s", &text) > 0;
  return isText ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> TextIn(const Json::Value& object, const char* member) {
  const Json::Value& value = object[member];
  return value.isString() ? std::optional(value.asString()) : std::nullopt;
}

std::optional<bool> StateIn(const Json::Value& object, const char* member) {
  const Json::Value& value = object[member];
  return value.isBool() ? std::optional(value.asBool()) : std::nullopt;
}

std::vector<ItemUpdate> ReadUpdates(const std::string& body) {
  std::vector<ItemUpdate> updates;
  const Json::Value read = base::TryParseJson(body).value_or(Json::Value());
  if (!read.isObject() || !read["items"].isArray()) {
    return updates;
  }
  for (const Json::Value& item : read["items"]) {
    if (item.isObject() && item["menuID"].isString()) {
      updates.push_back({item["menuID"].asString(), TextIn(item, "value"),
                         TextIn(item, "valueName"), StateIn(item, "visible"),
                         StateIn(item, "enabled")});
    }
  }
  return updates;
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

bus::Message NewCall(sd_bus* bus, const char* method, const char* interface) {
  bus::Message call;
  Check(sd_bus_message_new_method_call(bus, bus::Out(call), kBusName, kObject, interface, method));
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
  static int OnMessage(sd_bus_message* message, void* userData, sd_bus_error*);

  // Shared with the current call, which may end the subscription.
  std::shared_ptr<std::function<void(sd_bus_message*)>> take;
  Client::Impl* client = nullptr;
  bus::Slot slot;
};

int Subscription::Impl::OnMessage(sd_bus_message* message, void* userData, sd_bus_error*) {
  // The bus has checked the sender of a broadcast, but not of a message addressed to this
  // connection: anybody could have sent that.
  if (sd_bus_message_get_destination(message) != nullptr) {
    return 0;
  }
  auto* self = static_cast<Impl*>(userData);
  Client::Impl* client = self->client;
  const auto take = self->take;
  try {
    (*take)(message);
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
  const Subscription watch = m_Impl->SubscribeOwner([&](bool now) { isThere = now; });
  // Asked after the watch began, so that no start is missed in between.
  isThere = Check(bus::HasOwner(m_Impl->bus.get(), kBusName)) > 0;
  return RunUntil([&] { return isThere; }, limit);
}

Subscription Client::Impl::SubscribeTo(const std::string& rule,
                                       std::function<void(sd_bus_message*)> take) {
  auto subscription = std::make_unique<Subscription::Impl>();
  subscription->take = std::make_shared<std::function<void(sd_bus_message*)>>(std::move(take));
  subscription->client = this;
  Check(sd_bus_add_match(bus.get(), bus::Out(subscription->slot), rule.c_str(),
                         Subscription::Impl::OnMessage, subscription.get()));
  return Subscription(std::move(subscription));
}

Subscription Client::Impl::SubscribeOwner(std::function<void(bool isThere)> take) {
  const std::string rule =
      std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") +
      kBusName + "'";
  return SubscribeTo(rule, [take = std::move(take)](sd_bus_message* change) {
    const char* owner = nullptr;
    if (sd_bus_message_has_signature(change, "sss") > 0 &&
        sd_bus_message_read(change, "sss", nullptr, nullptr, &owner) > 0) {
      take(*owner != '\0');
    }
  });
}

Subscription Client::Subscribe(SignalCallback callback) {
  return m_Impl->SubscribeTo(
      RuleFor(kInterface, "Signal"), [callback = std::move(callback)](sd_bus_message* message) {
        const char* name = nullptr;
        const char* body = nullptr;
        Signal signal;
        if (sd_bus_message_has_signature(message, "sis") > 0 &&
            sd_bus_message_read(message, "sis", &name, &signal.type, &body) > 0) {
          signal.name = name;
          signal.body = body;
          const char* const sender = sd_bus_message_get_sender(message);
          signal.sender = sender == nullptr ? "" : sender;
          callback(signal);
        }
      });
}

Subscription Client::SubscribeItems(ItemsCallback callback) {
  return m_Impl->SubscribeTo(RuleFor(kItemsInterface, "Changed"),
                             [callback = std::move(callback)](sd_bus_message* message) {
                               const std::optional<std::string> body = TextOf(message);
                               const std::vector<ItemUpdate> updates =
                                   body ? ReadUpdates(*body) : std::vector<ItemUpdate>();
                               if (!updates.empty()) {
                                 callback(updates);
                               }
                             });
}

Subscription Client::SubscribeLanguage(LanguageCallback callback) {
  return m_Impl->SubscribeTo(RuleFor(kItemsInterface, "LanguageChanged"),
                             [callback = std::move(callback)](sd_bus_message* message) {
                               if (const std::optional<std::string> language = TextOf(message)) {
                                 callback(*language);
                               }
                             });
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
