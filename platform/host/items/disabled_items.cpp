#include "items/disabled_items.h"

#include <fmt/format.h>
#include <json/json.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "items/key_text.h"
#include "items/library.h"
#include "vconf.h"

// The mirror is text with one line for each item, so that damage to a part of it costs the items
// of that part only: JSON text holds no line ends but those between its values, and no beginning
// of an object is an object.

namespace host {
namespace {

constexpr char kMirrorKey[] = "memory/menu/disabled_items";

struct Entry {
  std::string id;
  std::vector<std::string> apps;
};

class EntryReader {
 public:
  EntryReader() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    m_Reader.reset(builder.newCharReader());
  }

  // Throws std::exception that says what is wrong with the line.
  Entry Read(std::string_view line) const {
    Json::Value json;
    std::string errors;
    if (!m_Reader->parse(line.data(), line.data() + line.size(), &json, &errors)) {
      throw std::runtime_error("it is not JSON");
    }
    if (!json.isObject() || !json["id"].isString() || !json["apps"].isArray() ||
        json["apps"].empty()) {
      throw std::runtime_error("it is no object with an \"id\" and a list of \"apps\"");
    }
    Entry entry{json["id"].asString(), {}};
    for (const Json::Value& app : json["apps"]) {
      if (!app.isString() || app.asString().empty()) {
        throw std::runtime_error("an application is not a name");
      }
      entry.apps.push_back(app.asString());
    }
    return entry;
  }

 private:
  std::unique_ptr<Json::CharReader> m_Reader;
};

// Written by hand, because the whole record is written at every change: through values of JsonCpp
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

// The items of the loaded catalogue with these identifiers.
std::vector<std::string> InMenuOrder(const std::vector<std::string>& ids) {
  std::vector<const Item*> items;  // they lie one behind the other in the order of the menu
  for (const std::string& id : ids) {
    items.push_back(FindItem(std::string_view(id)));
  }
  std::sort(items.begin(), items.end());
  std::vector<std::string> ordered;
  for (const Item* item : items) {
    ordered.push_back(item->id);
  }
  return ordered;
}

void AddMissing(std::vector<std::string> apps, std::vector<std::string>& all) {
  for (std::string& app : apps) {
    if (std::find(all.begin(), all.end(), app) == all.end()) {
      all.push_back(std::move(app));
    }
  }
}

}  // namespace

DisabledItems& DisabledItems::Get() {
  static DisabledItems items;
  return items;
}

std::vector<std::string> DisabledItems::Disable(std::span<const std::string> ids,
                                                const std::string& app) {
  std::vector<std::string> disabled;
  std::vector<Record::iterator> added;
  for (const std::string& id : ids) {
    if (app.empty() || FindItem(std::string_view(id)) == nullptr) {
      continue;
    }
    const auto [item, isNew] = m_Record.try_emplace(id);
    if (!Find(item, app)) {
      item->second.push_back(app);
      added.push_back(item);
    }
    if (isNew) {
      disabled.push_back(id);
    }
  }
  if (added.empty() || WriteMirror()) {
    return disabled;
  }
  for (const Record::iterator item : added) {
    item->second.pop_back();
    if (item->second.empty()) {
      m_Record.erase(item);
    }
  }
  return {};
}

bool DisabledItems::Enable(const std::string& id, const std::string& app) {
  const auto item = m_Record.find(id);
  if (LoadedCatalogue() == nullptr || item == m_Record.end()) {
    return false;
  }
  const auto relation = Find(item, app);
  return relation && !Remove({&*relation, 1}, app).empty();
}

std::vector<std::string> DisabledItems::Release(const std::string& app) {
  if (LoadedCatalogue() == nullptr) {
    return {};
  }
  std::vector<Relation> relations;
  for (auto item = m_Record.begin(); item != m_Record.end(); ++item) {
    if (const auto relation = Find(item, app)) {
      relations.push_back(*relation);
    }
  }
  return InMenuOrder(Remove(relations, app));
}

std::optional<DisabledItems::Relation> DisabledItems::Find(Record::iterator item,
                                                           const std::string& app) {
  const auto& apps = item->second;
  const auto found = std::find(apps.begin(), apps.end(), app);
  return found == apps.end() ? std::nullopt : std::optional(Relation{item, found - apps.begin()});
}

// The items that nobody disables any more.
std::vector<std::string> DisabledItems::Remove(std::span<const Relation> relations,
                                               const std::string& app) {
  if (relations.empty()) {
    return {};
  }
  for (const auto& [item, place] : relations) {
    item->second.erase(item->second.begin() + place);
  }
  if (!WriteMirror()) {
    for (const auto& [item, place] : relations) {
      item->second.insert(item->second.begin() + place, app);
    }
    return {};
  }
  std::vector<std::string> released;
  for (const auto& [item, place] : relations) {
    if (item->second.empty()) {
      released.push_back(item->first);
      m_Record.erase(item);
    }
  }
  return released;
}

std::vector<std::string> DisabledItems::Applications(std::string_view id) const {
  const auto item = m_Record.find(id);
  return item == m_Record.end() ? std::vector<std::string>() : item->second;
}

std::vector<std::string> DisabledItems::Items() const {
  std::vector<std::string> ids;
  for (const auto& [id, apps] : m_Record) {
    ids.push_back(id);
  }
  return InMenuOrder(ids);
}

void DisabledItems::ReadMirror() {
  const std::string text = ReadKeyText(kMirrorKey).value_or("");
  const EntryReader reader;
  int lines = 0;
  int damaged = 0;
  std::string firstDamage;
  m_Record.clear();
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    ++lines;
    try {
      Entry entry = reader.Read(line);
      AddMissing(std::move(entry.apps), m_Record[entry.id]);
    } catch (const std::exception& exception) {
      if (++damaged == 1) {
        firstDamage = fmt::format("line {}: {}", lines, exception.what());
      }
    }
  }
  if (damaged > 0) {
    LogError(fmt::format("{}: left out {} of {} lines, which are damaged; {}", kMirrorKey, damaged,
                         lines, firstDamage));
  }
  DropUnknownItems();
  if (MirrorText() != text) {
    WriteMirror();
  }
}

void DisabledItems::DropUnknown() {
  if (DropUnknownItems()) {
    WriteMirror();
  }
}

bool DisabledItems::DropUnknownItems() {
  if (LoadedCatalogue() == nullptr) {
    return false;
  }
  std::string unknown;
  const auto count = std::erase_if(m_Record, [&](const Record::value_type& item) {
    const bool isUnknown = FindItem(std::string_view(item.first)) == nullptr;
    if (isUnknown && unknown.empty()) {
      AppendQuoted(item.first, unknown);
    }
    return isUnknown;
  });
  if (count > 0) {
    LogError(fmt::format("{}: dropped {} items that are not in the catalogue; the first is {}",
                         kMirrorKey, count, unknown));
  }
  return count > 0;
}

std::string DisabledItems::MirrorText() const {
  std::string text;
  for (const auto& [id, apps] : m_Record) {
    if (apps.empty()) {
      continue;  // let go by the call that is about to be mirrored
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
  return text;
}

bool DisabledItems::WriteMirror() const {
  if (vconf_set_str(kMirrorKey, MirrorText().c_str()) == 0) {
    return true;
  }
  LogError(std::string(kMirrorKey) + ": cannot be written, so the record stays as it is there");
  return false;
}

}  // namespace host
