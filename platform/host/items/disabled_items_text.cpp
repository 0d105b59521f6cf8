#include "items/disabled_items_text.h"

#include <fmt/format.h>
#include <json/json.h>

#include <algorithm>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "base/json.h"
#include "bus/bus.h"

// One line for each item and each application, so that damage to a part of the text costs only that
// part: JSON on one line contains no line ends, and a truncated object is not an object.

namespace host {
namespace {

class LineReader {
 public:
  // Adds what the line says. Throws std::exception that says what is wrong with it.
  void Read(std::string_view line, DisabledRecord& record) {
    Json::Value json;
    if (base::ReadJson(line, base::kMaxJsonDepth, json)) {
      throw std::runtime_error("it is not JSON");
    }
    if (json.isObject() && json["instance"].isString()) {
      record.disablers[NameOf(json["app"])].instance = json["instance"].asString();
      return;
    }
    if (!json.isObject() || !json["id"].isString() || !json["apps"].isArray() ||
        json["apps"].empty()) {
      throw std::runtime_error("it is not an object with an \"id\" and a list of \"apps\"");
    }
    std::vector<std::string> apps;
    for (const Json::Value& app : json["apps"]) {
      apps.push_back(NameOf(app));
    }
    if (m_Relations + apps.size() > kMostRelations) {
      throw std::runtime_error(fmt::format("there are more than {} applications", kMostRelations));
    }
    AddItem(json["id"].asString(), std::move(apps), record);
  }

 private:
  static std::string NameOf(const Json::Value& app) {
    if (!app.isString() || !bus::IsApplicationId(app.asString())) {
      throw std::runtime_error("an application is not a name");
    }
    return app.asString();
  }

  void AddItem(const std::string& id, std::vector<std::string> apps, DisabledRecord& record) {
    std::vector<std::string>& all = record.items[id];
    std::unordered_set<std::string> known(all.begin(), all.end());
    for (std::string& app : apps) {
      if (known.insert(app).second) {
        ++m_Relations;
        ++record.disablers[app].items;
        all.push_back(std::move(app));
      }
    }
  }

  std::size_t m_Relations = 0;
};

}  // namespace

std::size_t RelationCount(const DisabledRecord& record) {
  std::size_t count = 0;
  for (const auto& [app, disabler] : record.disablers) {
    count += disabler.items;
  }
  return count;
}

// Written by hand, because the whole record is written at every change, and with JsonCpp values
// that took most of the time of a call.
void AppendQuoted(std::string_view text, std::string& json) {
  json += '"';
  auto pending = text.begin();  // from here on nothing is written yet
  for (auto at = text.begin(); at != text.end(); ++at) {
    const bool isControl = static_cast<unsigned char>(*at) < 0x20;
    if (isControl || *at == '"' || *at == '\\') {
      json.append(pending, at);
      json += isControl ? fmt::format("\\u{:04x}", static_cast<int>(*at)) : std::string{'\\', *at};
      pending = at + 1;
    }
  }
  json.append(pending, text.end());
  json += '"';
}

std::string WriteDisabledRecord(const DisabledRecord& record) {
  std::string text;
  for (const auto& [id, apps] : record.items) {
    if (apps.empty()) {
      continue;
    }
    text += text.empty() ? "{\"id\":" : "\n{\"id\":";
    AppendQuoted(id, text);
    text += ",\"apps\":";
    char before = '[';
    for (const std::string& app : apps) {
      text += std::exchange(before, ',');
      AppendQuoted(app, text);
    }
    text += "]}";
  }
  for (const auto& [app, disabler] : record.disablers) {
    if (disabler.items > 0 && !disabler.instance.empty()) {
      text += "\n{\"app\":";
      AppendQuoted(app, text);
      text += ",\"instance\":";
      AppendQuoted(disabler.instance, text);
      text += '}';
    }
  }
  return text;
}

DisabledRecord ReadDisabledRecord(std::string_view text, std::string& damage) {
  LineReader reader;
  DisabledRecord record;
  int lines = 0;
  int damaged = 0;
  std::string first;
  for (std::string_view rest = text.substr(0, kMostRecordText); !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    ++lines;
    try {
      reader.Read(line, record);
    } catch (const std::exception& exception) {
      if (++damaged == 1) {
        first = fmt::format("line {}: {}", lines, exception.what());
      }
    }
  }
  damage.clear();
  if (damaged > 0) {
    damage = fmt::format("dropped {} of {} lines, which are damaged; {}", damaged, lines, first);
  }
  if (text.size() > kMostRecordText) {
    damage += fmt::format("{}dropped everything beyond {} bytes", damage.empty() ? "" : "; ",
                          kMostRecordText);
  }
  std::erase_if(record.disablers, [](const auto& each) { return each.second.items == 0; });
  return record;
}

}  // namespace host
