#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "items/disabled_items.h"
#include "items/library.h"
#include "items/rules.h"
#include "settings_item_info_api.h"

// The questions about states, and the record of disabled items that they take into account.

namespace {

using host::DisabledItems;
using host::FindItem;
using host::Item;
using host::LoadedCatalogue;

constexpr int kUnknown = -1;
constexpr int kNo = 0;
constexpr int kYes = 1;

int Answer(bool yes) { return yes ? kYes : kNo; }

bool IsVisible(const Item& item) { return host::IsTrue(*LoadedCatalogue(), item.states.visible); }

bool IsEnabledByRules(const Item& item) {
  return host::IsTrue(*LoadedCatalogue(), item.states.enabled);
}

bool IsEnabled(const Item& item) {
  return !DisabledItems::Get().Contains(item.id) && IsEnabledByRules(item);
}

// Whether there was anything to append.
bool Append(std::vector<std::string> texts, std::vector<std::string>& all) {
  std::move(texts.begin(), texts.end(), std::back_inserter(all));
  return !texts.empty();
}

template <typename Predicate>
int AnswerForItem(const char* menuID, Predicate predicate) {
  const Item* item = FindItem(menuID);
  return item != nullptr ? Answer(predicate(*item)) : kUnknown;
}

// About the item and every group above it.
template <typename Predicate>
int AnswerForPath(const char* menuID, Predicate predicate) {
  const Item* item = FindItem(menuID);
  if (item == nullptr) {
    return kUnknown;
  }
  while (predicate(*item)) {
    if (item->parent == host::kNoItem) {
      return kYes;
    }
    item = &LoadedCatalogue()->At(item->parent);
  }
  return kNo;
}

template <typename Predicate>
int AnswerForOption(const char* menuID, const char* value, Predicate predicate) {
  const Item* item = FindItem(menuID);
  if (item == nullptr || !item->value || value == nullptr) {
    return kUnknown;
  }
  const host::ValueSet& values = item->value->values;
  const auto* options = std::get_if<std::vector<host::Option>>(&values);
  const auto position = host::FindValue(values, value);
  return options != nullptr && position ? Answer(predicate((*options)[*position])) : kUnknown;
}

}  // namespace

int CSettingsItemInfoAPI::GetItemVisible(const char* menuID) {
  return AnswerForItem(menuID, IsVisible);
}

int CSettingsItemInfoAPI::GetItemEnable(const char* menuID, bool byRulesOnly) {
  return AnswerForItem(menuID, byRulesOnly ? IsEnabledByRules : IsEnabled);
}

int CSettingsItemInfoAPI::GetItemPathVisible(const char* menuID) {
  return AnswerForPath(menuID, IsVisible);
}

int CSettingsItemInfoAPI::GetItemPathEnable(const char* menuID) {
  return AnswerForPath(menuID, IsEnabled);
}

int CSettingsItemInfoAPI::GetSubListItemVisible(const char* menuID, const char* value) {
  return AnswerForOption(menuID, value, [](const host::Option& option) {
    return host::IsTrue(*LoadedCatalogue(), option.states.visible);
  });
}

int CSettingsItemInfoAPI::GetSubListItemEnable(const char* menuID, const char* value) {
  return AnswerForOption(menuID, value, [](const host::Option& option) {
    return host::IsTrue(*LoadedCatalogue(), option.states.enabled);
  });
}

bool CSettingsItemInfoAPI::EnableItem(std::string menuID, std::string appName) {
  return DisabledItems::Get().Enable(menuID, appName);
}

bool CSettingsItemInfoAPI::DisableItem(std::string menuID, std::string appName) {
  return !DisabledItems::Get().Disable({&menuID, 1}, appName).empty();
}

bool CSettingsItemInfoAPI::DisableItemsByList(std::vector<std::string>& requested,
                                              std::vector<std::string>& disabled,
                                              std::string appName) {
  return Append(DisabledItems::Get().Disable(requested, appName), disabled);
}

bool CSettingsItemInfoAPI::RemoveDisabledItemsByAppname(std::vector<std::string>& released,
                                                        std::string appName) {
  return Append(DisabledItems::Get().Release(appName), released);
}

bool CSettingsItemInfoAPI::IsItemEnabled(std::string menuID) {
  const std::string_view id = menuID;
  return FindItem(id) != nullptr && !DisabledItems::Get().Contains(id);
}

bool CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId(std::string menuID,
                                                       std::vector<std::string>& appNames) {
  const std::string_view id = menuID;
  if (FindItem(id) == nullptr) {
    return false;
  }
  Append(DisabledItems::Get().Applications(id), appNames);
  return true;
}

bool CSettingsItemInfoAPI::GetDisabledItemsList(std::vector<std::string>& menuIDs) {
  if (LoadedCatalogue() == nullptr) {
    return false;
  }
  Append(DisabledItems::Get().AllItems(), menuIDs);
  return true;
}

void CSettingsItemInfoAPI::UpdateDisabledItemList() { DisabledItems::Get().ReadMirror(); }
