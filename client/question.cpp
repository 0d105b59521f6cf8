#include "settings/question.h"

#include <initializer_list>
#include <utility>

#include "base/json.h"

namespace settings::ask {
namespace {

using Arguments = std::initializer_list<std::pair<const char*, Json::Value>>;

template <typename T>
Question<T> Make(const char* method, Arguments arguments,
                 T (*read)(const std::string& method, const Reply& reply)) {
  Question<T> question{method, Json::objectValue, read};
  for (const auto& [name, value] : arguments) {
    question.data[name] = value;
  }
  return question;
}

// Null when the service could not do it.
Json::Value ResultOf(const std::string& method, const Reply& reply) {
  if (!reply.body.isMember("call_api_success")) {
    throw Error(ErrorCode::kProtocol, "the settings service has no method \"" + method + "\"",
                "update the service");
  }
  return reply.Succeeded() ? reply.body["return_data"] : Json::Value();
}

std::optional<std::string> ReadText(const std::string& method, const Reply& reply) {
  const Json::Value result = ResultOf(method, reply);
  return result.isString() ? std::optional(result.asString()) : std::nullopt;
}

std::optional<bool> ReadState(const std::string& method, const Reply& reply) {
  const Json::Value result = ResultOf(method, reply);
  return result.isBool() ? std::optional(result.asBool()) : std::nullopt;
}

bool ReadDone(const std::string& method, const Reply& reply) {
  return ReadState(method, reply).value_or(false);
}

Error UnreadableResult(const std::string& method) {
  return Error(ErrorCode::kProtocol, "the reply to " + method + " cannot be read",
               "is this the settings service, and of the same release?");
}

// A list is sent as a text: a JSON array of strings.
std::optional<std::vector<std::string>> ReadList(const std::string& method, const Reply& reply) {
  const std::optional<std::string> text = ReadText(method, reply);
  if (!text) {
    return std::nullopt;
  }
  const std::optional<Json::Value> array = base::TryParseJson(*text);
  if (!array || !array->isArray()) {
    throw UnreadableResult(method);
  }
  std::vector<std::string> list;
  for (const Json::Value& entry : *array) {
    if (!entry.isString()) {
      throw UnreadableResult(method);
    }
    list.push_back(entry.asString());
  }
  return list;
}

std::optional<Range> ReadRange(const std::string& method, const Reply& reply) {
  if (ResultOf(method, reply).isNull()) {
    return std::nullopt;
  }
  const auto number = [&](const char* member) {
    const Json::Value& value = reply.body[member];
    if (!value.isNumeric()) {
      throw UnreadableResult(method);
    }
    return value.asDouble();
  };
  return Range{number("return_min"), number("return_max"), number("return_step")};
}

}  // namespace

Question<std::optional<std::string>> GetItemValue(const std::string& item) {
  return Make("GetItemValue", {{"menuID", item}}, ReadText);
}

Question<std::optional<std::string>> GetItemValueName(const std::string& item) {
  return Make("GetItemValueName", {{"menuID", item}}, ReadText);
}

Question<bool> SetItemValue(const std::string& item, const std::string& value, bool preview) {
  return Make("SetItemValue", {{"menuID", item}, {"Value", value}, {"PreViewFlag", preview}},
              ReadDone);
}

Question<std::optional<std::string>> GetItemDisplayName(const std::string& item) {
  return Make("GetItemDisplayName", {{"menuID", item}}, ReadText);
}

Question<std::optional<std::string>> GetItemDisplayID(const std::string& item) {
  return Make("GetItemDisplayID", {{"menuID", item}}, ReadText);
}

Question<std::optional<std::string>> GetItemPath(const std::string& item) {
  return Make("GetItemPath", {{"menuID", item}}, ReadText);
}

Question<std::optional<Range>> GetItemMinMaxStepValue(const std::string& item) {
  return Make("GetItemMinMaxStepValue", {{"menuID", item}}, ReadRange);
}

Question<std::optional<std::vector<std::string>>> GetItemChildList(const std::string& item) {
  return Make("GetItemChildList", {{"menuID", item}}, ReadList);
}

Question<std::optional<std::vector<std::string>>> GetItemDataList(const std::string& item) {
  return Make("GetItemDataList", {{"menuID", item}}, ReadList);
}

Question<std::optional<bool>> GetItemVisible(const std::string& item) {
  return Make("GetItemVisible", {{"menuID", item}}, ReadState);
}

Question<std::optional<bool>> GetItemEnable(const std::string& item) {
  return Make("GetItemEnable", {{"menuID", item}}, ReadState);
}

Question<std::optional<bool>> GetItemPathVisible(const std::string& item) {
  return Make("GetItemPathVisible", {{"menuID", item}}, ReadState);
}

Question<std::optional<bool>> GetItemPathEnable(const std::string& item) {
  return Make("GetItemPathEnable", {{"menuID", item}}, ReadState);
}

Question<std::optional<bool>> GetItemDataVisible(const std::string& item,
                                                 const std::string& value) {
  return Make("GetItemDataVisible", {{"menuID", item}, {"Value", value}}, ReadState);
}

Question<std::optional<bool>> GetItemDataEnable(const std::string& item, const std::string& value) {
  return Make("GetItemDataEnable", {{"menuID", item}, {"Value", value}}, ReadState);
}

Question<std::optional<bool>> IsItemEnabled(const std::string& item) {
  return Make("IsItemEnabled", {{"menuID", item}}, ReadState);
}

Question<std::optional<std::vector<std::string>>> GetDisablerAppNamesByMenuId(
    const std::string& item) {
  return Make("GetDisablerAppNamesByMenuId", {{"menuID", item}}, ReadList);
}

Question<std::optional<std::vector<std::string>>> GetDisabledItemsList() {
  return Make("GetDisabledItemsList", {}, ReadList);
}

}  // namespace settings::ask
