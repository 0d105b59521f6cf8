#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json.h"
#include "client_impl.h"
#include "settings/client.h"

namespace settings {
namespace {

constexpr std::string_view kNoSuchItem = "org.nuvra.Error.NoSuchItem";
// How a service answers that does not have the interface.
constexpr std::string_view kNoSuchInterface = "org.freedesktop.DBus.Error.UnknownInterface";
constexpr std::string_view kNoSuchMethod = "org.freedesktop.DBus.Error.UnknownMethod";

constexpr std::pair<const char*, Reason::Of> kMembers[] = {
    {"item", Reason::Of::kItem},       {"key", Reason::Of::kKey},
    {"feature", Reason::Of::kFeature}, {"source", Reason::Of::kSource},
    {"speaker", Reason::Of::kSpeaker}, {"group", Reason::Of::kGroup},
    {"app", Reason::Of::kApp},
};

Error Unreadable() {
  return Error(ErrorCode::kProtocol, "the explanation cannot be read",
               "is this the settings service, and of the same release?");
}

std::vector<Json::Value> ListOf(const Json::Value& array) {
  return array.isArray() ? std::vector<Json::Value>(array.begin(), array.end())
                         : std::vector<Json::Value>();
}

Reason ReadReason(const Json::Value& read) {
  if (!read.isObject() || (read["of"] != "visible" && read["of"] != "enabled")) {
    throw Unreadable();
  }
  for (const auto& [member, of] : kMembers) {
    if (read.isMember(member)) {
      Reason reason;
      reason.what = read["of"] == "visible" ? Reason::What::kVisible : Reason::What::kEnabled;
      reason.of = of;
      reason.name = read[member].isString() ? read[member].asString() : "";
      reason.is = read["is"];
      reason.isNot = read.isMember("not");
      reason.list = ListOf(read[reason.isNot ? "not" : "needed"]);
      return reason;
    }
  }
  throw Unreadable();
}

Explanation ReadExplanation(const std::string& body) {
  const Json::Value read = base::TryParseJson(body).value_or(Json::Value());
  if (!read.isObject() || !read["menuID"].isString() || !read["visible"].isBool() ||
      !read["enabled"].isBool() || !read["reasons"].isArray()) {
    throw Unreadable();
  }
  Explanation explanation{
      read["menuID"].asString(), read["visible"].asBool(), read["enabled"].asBool(), {}};
  for (const Json::Value& reason : read["reasons"]) {
    explanation.reasons.push_back(ReadReason(reason));
  }
  return explanation;
}

}  // namespace

std::optional<Explanation> Client::Explain(const std::string& item) {
  if (item.find('\0') != std::string::npos) {
    throw UnreadableRequest();
  }
  sd_bus* const bus = m_Impl->bus.get();
  const bus::Message call = NewCall(bus, "Explain", kItemsInterface);
  if (sd_bus_message_append(call.get(), "s", item.c_str()) < 0) {
    throw UnreadableRequest();
  }
  bus::Error error;
  bus::Message reply;
  if (sd_bus_call(bus, call.get(), m_Impl->timeout.count(), error.Out(), bus::Out(reply)) < 0) {
    const std::string name = error.Name();
    if (name == kNoSuchItem) {
      return std::nullopt;
    }
    if (name == kNoSuchInterface || name == kNoSuchMethod) {
      throw Error(ErrorCode::kProtocol, "the settings service cannot explain items",
                  "update the service");
    }
    throw ErrorFromCall(bus, name, error.Text());
  }
  const char* body = nullptr;
  if (sd_bus_message_has_signature(reply.get(), "s") <= 0 ||
      sd_bus_message_read(reply.get(), "s", &body) < 0) {
    throw UnexpectedForm();
  }
  return ReadExplanation(body);
}

}  // namespace settings
