#include "set/set_value.h"

#include <json/json.h>

#include <stdexcept>
#include <variant>

#include "base/json.h"
#include "base/utf8.h"

namespace host {
namespace {

// A set needs far less; anything longer is a mistake that would keep others waiting.
constexpr std::size_t kMostText = 128 * 1024;

[[noreturn]] void Fail(const std::string& problem) { throw std::runtime_error(problem); }

Json::Value ParseList(const KeyValue& value) {
  const std::string text = ReadText(value);
  if (text.size() > kMostText) {
    Fail("is " + std::to_string(text.size()) + " bytes long, more than " +
         std::to_string(kMostText));
  }
  Json::Value list;
  if (base::ReadJson(text, base::kMaxJsonDepth, list) || !list.isArray()) {
    Fail("is not a JSON list");
  }
  return list;
}

std::string Name(const Json::Value& source, const char* member) {
  const Json::Value& name = source[member];
  if (!name.isString() || !IsSourceName(name.asString())) {
    Fail(std::string("a source's \"") + member + "\" is not a text, or too long for a name");
  }
  return name.asString();
}

SetSource ReadSource(const Json::Value& source) {
  if (!source.isObject()) {
    Fail("a source is not an object");
  }
  const Json::Value& id = source["id"];
  if (!id.isInt() || id.asInt() < 0) {
    Fail("a source's \"id\" is not a number from 0 up");
  }
  SetSource item;
  item.sourceId = id.asInt();
  item.editName = Name(source, "name");
  item.detectedName = source.isMember("detected") ? Name(source, "detected") : "";
  const Json::Value& empty = source["empty"];
  if (!empty.isNull() && !empty.isBool()) {
    Fail("a source's \"empty\" is neither true nor false");
  }
  item.isEmpty = empty.asBool();
  return item;
}

}  // namespace

int ReadNumber(const KeyValue& value) {
  const int* number = std::get_if<int>(&value);
  if (number == nullptr) {
    Fail("is a text where a number belongs");
  }
  return *number;
}

std::string ReadText(const KeyValue& value) {
  const std::string* text = std::get_if<std::string>(&value);
  if (text == nullptr) {
    Fail("is a number where a text belongs");
  }
  return *text;
}

bool IsSourceName(const std::string& name) {
  return name.size() <= kMostSourceName && base::IsPlainText(name);
}

SetSource EmptyPort(const Port& port) {
  SetSource source;
  source.sourceId = port.sourceId;
  source.editName = port.label;
  source.isEmpty = true;
  return source;
}

std::vector<SetSource> ReadSources(const KeyValue& value) {
  const Json::Value list = ParseList(value);
  if (list.size() > kMostSources) {
    Fail("has " + std::to_string(list.size()) + " sources, more than " +
         std::to_string(kMostSources));
  }
  std::vector<SetSource> sources;
  for (const Json::Value& source : list) {
    sources.push_back(ReadSource(source));
  }
  return sources;
}

KeyValue WriteSources(const std::vector<SetSource>& sources) {
  Json::Value list(Json::arrayValue);
  for (const SetSource& source : sources) {
    Json::Value item;
    item["id"] = source.sourceId;
    item["name"] = source.editName;
    item["detected"] = source.detectedName;
    if (source.isEmpty) {
      item["empty"] = true;
    }
    list.append(std::move(item));
  }
  return base::WriteJson(list);
}

Window ReadWindow(const KeyValue& value) {
  const Json::Value list = ParseList(value);
  bool isWindow = list.size() == 4;
  for (const Json::Value& number : list) {
    isWindow = isWindow && number.isInt();
  }
  if (!isWindow) {
    Fail("is not a list of four numbers");
  }
  return {list[0].asInt(), list[1].asInt(), list[2].asInt(), list[3].asInt()};
}

KeyValue WriteWindow(const Window& window) {
  Json::Value list(Json::arrayValue);
  for (const int number : {window.x, window.y, window.width, window.height}) {
    list.append(number);
  }
  return base::WriteJson(list);
}

}  // namespace host
