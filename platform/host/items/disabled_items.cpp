#include "items/disabled_items.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "apps/living_applications.h"
#include "bus/bus.h"
#include "set/keys.h"
#include "system/error_log.h"

namespace host {
namespace {

void LogRefused(const std::string& app) {
  constexpr std::size_t kShown = 64;
  std::string quoted;
  AppendQuoted(std::string_view(app).substr(0, kShown), quoted);
  LogError("settings-items",
           fmt::format("{}{} disables nothing: it cannot be the ID of an application", quoted,
                       app.size() > kShown ? "..." : ""));
}

// What only one of the two has.
std::vector<std::string> Differing(const decltype(DisabledRecord::items)& one,
                                   const decltype(DisabledRecord::items)& other) {
  std::vector<std::string> ids;
  const auto addMissing = [&](const auto& from, const auto& in) {
    for (const auto& [id, apps] : from) {
      if (!in.contains(id)) {
        ids.push_back(id);
      }
    }
  };
  addMissing(one, other);
  addMissing(other, one);
  return ids;
}

}  // namespace

std::vector<std::string> DisabledItems::Disable(std::span<const std::string> ids,
                                                const std::string& app) {
  if (!bus::IsApplicationId(app)) {
    LogRefused(app);
    return {};
  }
  std::vector<std::string> disabled;
  std::vector<Items::iterator> added;
  bool isAnyKnown = false;
  for (const std::string& id : ids) {
    if (!IsKnown(id)) {
      continue;
    }
    isAnyKnown = true;
    const auto [item, isNew] = m_Record.items.try_emplace(id);
    if (!Find(item, app)) {
      item->second.push_back(app);
      added.push_back(item);
    }
    if (isNew) {
      disabled.push_back(id);
    }
  }
  if (!isAnyKnown || CountAdded(app, added.size())) {
    return Told(std::move(disabled));
  }
  for (const Items::iterator item : added) {
    item->second.pop_back();
    if (item->second.empty()) {
      m_Record.items.erase(item);
    }
  }
  return {};
}

// Whether the record, with so many more items of the application, could be mirrored. If not, the
// application is unchanged.
bool DisabledItems::CountAdded(const std::string& app, std::size_t count) {
  Disabler& disabler = m_Record.disablers[app];
  const Disabler before = disabler;
  disabler.items += count;
  if (std::string instance = LivingInstance(app); !instance.empty()) {
    disabler.instance = std::move(instance);
  }
  if (disabler == before || WriteMirror()) {
    return true;
  }
  SetDisabler(app, before);
  return false;
}

void DisabledItems::NoteInstance(const std::string& app) {
  if (m_Record.disablers.contains(app)) {
    CountAdded(app, 0);
  }
}

void DisabledItems::SetDisabler(const std::string& app, Disabler disabler) {
  if (disabler.items == 0) {
    m_Record.disablers.erase(app);
  } else {
    m_Record.disablers[app] = std::move(disabler);
  }
}

bool DisabledItems::Enable(const std::string& id, const std::string& app) {
  const auto item = m_Record.items.find(id);
  if (!m_Catalogue || item == m_Record.items.end()) {
    return false;
  }
  const auto relation = Find(item, app);
  return relation && !Remove({&*relation, 1}, app).empty();
}

std::vector<std::string> DisabledItems::Release(const std::string& app) {
  if (!m_Catalogue || !m_Record.disablers.contains(app)) {
    return {};
  }
  std::vector<Relation> relations;
  for (auto item = m_Record.items.begin(); item != m_Record.items.end(); ++item) {
    if (const auto relation = Find(item, app)) {
      relations.push_back(*relation);
    }
  }
  return InMenuOrder(Remove(relations, app));
}

std::optional<DisabledItems::Relation> DisabledItems::Find(Items::iterator item,
                                                           const std::string& app) {
  const auto& apps = item->second;
  const auto found = std::find(apps.begin(), apps.end(), app);
  return found == apps.end() ? std::nullopt : std::optional(Relation{item, found - apps.begin()});
}

// The items that nobody disables any longer.
std::vector<std::string> DisabledItems::Remove(std::span<const Relation> relations,
                                               const std::string& app) {
  Disabler& disabler = m_Record.disablers[app];
  for (const auto& [item, place] : relations) {
    item->second.erase(item->second.begin() + place);
  }
  disabler.items -= relations.size();
  if (!WriteMirror()) {
    for (const auto& [item, place] : relations) {
      item->second.insert(item->second.begin() + place, app);
    }
    disabler.items += relations.size();
    return {};
  }
  if (disabler.items == 0) {
    m_Record.disablers.erase(app);
  }
  std::vector<std::string> released;
  for (const auto& [item, place] : relations) {
    if (item->second.empty()) {
      released.push_back(item->first);
      m_Record.items.erase(item);
    }
  }
  return Told(std::move(released));
}

// `ids`, of which the listener knows then.
std::vector<std::string> DisabledItems::Told(std::vector<std::string> ids) const {
  if (m_Listener != nullptr && !ids.empty()) {
    m_Listener->OnDisabledOrReleased(ids);
  }
  return ids;
}

std::vector<std::string> DisabledItems::Applications(std::string_view id) const {
  const auto item = m_Record.items.find(id);
  return item == m_Record.items.end() ? std::vector<std::string>() : item->second;
}

std::vector<std::string> DisabledItems::AllItems() const {
  std::vector<std::string> ids;
  for (const auto& [id, apps] : m_Record.items) {
    ids.push_back(id);
  }
  return InMenuOrder(ids);
}

// The items of the loaded catalogue with these identifiers.
std::vector<std::string> DisabledItems::InMenuOrder(const std::vector<std::string>& ids) const {
  std::vector<const Item*> items;  // they lie one behind the other in the order of the menu
  for (const std::string& id : ids) {
    items.push_back(m_Catalogue->Find(id));
  }
  std::sort(items.begin(), items.end());
  std::vector<std::string> ordered;
  for (const Item* item : items) {
    ordered.push_back(item->id);
  }
  return ordered;
}

void DisabledItems::ReadMirror() {
  const std::string text = m_Inputs.Text(kDisabledItemsKey).value_or("");
  std::string damage;
  const DisabledRecord before = std::exchange(m_Record, ReadDisabledRecord(text, damage));
  if (!damage.empty()) {
    LogError("settings-items", fmt::format("{}: {}", kDisabledItemsKey, damage));
  }
  DropUnknownItems();
  if (WriteDisabledRecord(m_Record) != text) {
    WriteMirror();
  }
  Told(Differing(before.items, m_Record.items));
  for (const auto& [app, disabler] : m_Record.disablers) {
    if (!disabler.instance.empty()) {
      ReportEndUnlessLiving(app, disabler.instance);
    }
  }
}

void DisabledItems::DropUnknown() {
  if (DropUnknownItems()) {
    WriteMirror();
  }
}

bool DisabledItems::DropUnknownItems() {
  if (!m_Catalogue) {
    return false;
  }
  std::string unknown;
  const auto count = std::erase_if(m_Record.items, [&](const Items::value_type& item) {
    if (IsKnown(item.first)) {
      return false;
    }
    if (unknown.empty()) {
      AppendQuoted(item.first, unknown);
    }
    for (const std::string& app : item.second) {
      --m_Record.disablers[app].items;
    }
    return true;
  });
  if (count > 0) {
    std::erase_if(m_Record.disablers, [](const auto& each) { return each.second.items == 0; });
    LogError("settings-items",
             fmt::format("{}: dropped {} items that are not in the catalogue; the first is {}",
                         kDisabledItemsKey, count, unknown));
  }
  return count > 0;
}

bool DisabledItems::WriteMirror() {
  const std::string text = WriteDisabledRecord(m_Record);
  if (text.size() > kMostRecordText || RelationCount(m_Record) > kMostRelations) {
    LogError("settings-items",
             fmt::format("{}: full, so the record is unchanged", kDisabledItemsKey));
    return false;
  }
  if (m_Inputs.WriteText(kDisabledItemsKey, text)) {
    return true;
  }
  LogError("settings-items",
           std::string(kDisabledItemsKey) + ": cannot be written, so the record is unchanged");
  return false;
}

}  // namespace host
