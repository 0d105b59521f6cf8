#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json.h"
#include "client_impl.h"
#include "settings/client.h"

namespace settings {
namespace {

// How a service answers that does not have the method, or the whole interface.
constexpr std::string_view kNoSuchInterface = "org.freedesktop.DBus.Error.UnknownInterface";
constexpr std::string_view kNoSuchMethod = "org.freedesktop.DBus.Error.UnknownMethod";

// The service describes no more at once.
constexpr std::size_t kMostItems = 256;

// By ItemKind.
constexpr std::string_view kKinds[] = {"group", "switch", "list", "range", "action"};

Error Unreadable() {
  return Error(ErrorCode::kProtocol, "the description cannot be read",
               "is this the settings service, and of the same release?");
}

NamedValue ReadValue(const Json::Value& read) {
  if (!read.isObject() || !read["value"].isString() || !read["name"].isString()) {
    throw Unreadable();
  }
  return {read["value"].asString(), read["name"].asString()};
}

ItemDescription ReadDescription(const Json::Value& read) {
  if (!read.isObject() || !read["menuID"].isString() || !read["kind"].isString()) {
    throw Unreadable();
  }
  const std::string name = read["kind"].asString();
  const auto kind = std::find(std::begin(kKinds), std::end(kKinds), name);
  if (kind == std::end(kKinds)) {
    throw Unreadable();
  }
  ItemDescription description;
  description.item = read["menuID"].asString();
  description.kind = static_cast<ItemKind>(kind - std::begin(kKinds));
  description.isPreview = read["preview"] == true;
  if (read.isMember("kept")) {
    description.kept = ReadValue(read["kept"]);
  }
  if (read["values"].isArray()) {
    for (const Json::Value& value : read["values"]) {
      description.values.push_back(ReadValue(value));
    }
  }
  return description;
}

// False when the service does not describe items.
bool Describe(sd_bus* bus, std::chrono::microseconds timeout, std::span<const std::string> items,
              std::vector<ItemDescription>& descriptions) {
  const bus::Message call = NewCall(bus, "Describe", kItemsInterface);
  Check(sd_bus_message_open_container(call.get(), 'a', "s"));
  for (const std::string& item : items) {
    if (item.find('\0') != std::string::npos ||
        sd_bus_message_append(call.get(), "s", item.c_str()) < 0) {
      throw UnreadableRequest();
    }
  }
  Check(sd_bus_message_close_container(call.get()));
  bus::Error error;
  bus::Message reply;
  if (sd_bus_call(bus, call.get(), timeout.count(), error.Out(), bus::Out(reply)) < 0) {
    if (error.Name() == kNoSuchInterface || error.Name() == kNoSuchMethod) {
      return false;
    }
    throw ErrorFromCall(bus, error.Name(), error.Text());
  }
  const char* text = nullptr;
  if (sd_bus_message_has_signature(reply.get(), "s") <= 0 ||
      sd_bus_message_read(reply.get(), "s", &text) < 0) {
    throw UnexpectedForm();
  }
  const Json::Value body = base::TryParseJson(text).value_or(Json::Value());
  if (!body.isObject() || !body["items"].isArray()) {
    throw Unreadable();
  }
  for (const Json::Value& item : body["items"]) {
    descriptions.push_back(ReadDescription(item));
  }
  return true;
}

}  // namespace

std::optional<std::vector<ItemDescription>> Client::DescribeItems(
    const std::vector<std::string>& items) {
  std::vector<ItemDescription> descriptions;
  for (std::span<const std::string> left(items); !left.empty();) {
    const auto some = left.first(std::min(left.size(), kMostItems));
    if (!Describe(m_Impl->bus.get(), m_Impl->timeout, some, descriptions)) {
      return std::nullopt;
    }
    left = left.subspan(some.size());
  }
  return descriptions;
}

}  // namespace settings
