#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "items/answer.h"
#include "items/library.h"
#include "settings_item_info_api.h"

// The queries about states, and the record of disabled items that they take into account.

namespace {

using host::Item;
using host::Library;

constexpr int kUnknown = -1;
constexpr int kNo = 0;
constexpr int kYes = 1;

int Answer(bool yes) { return yes ? kYes : kNo; }

bool IsVisible(const Item& item) { return Library().IsTrue(item.states.visible); }

bool IsEnabledByRules(const Item& item) { return Library().IsTrue(item.states.enabled); }

bool IsEnabled(const Item& item) {
  return !Library().Disabled().Contains(item.id) && IsEnabledByRules(item);
}

// Whether there was anything to append.
bool Append(std::vector<std::string> texts, std::vector<std::string>& all) {
  std::move(texts.begin(), texts.end(), std::back_inserter(all));
  return !texts.empty();
}

template <typename Predicate>
int AnswerForItem(const char* menuID, Predicate predicate) {
  const Item* item = Library().Find(menuID);
  if (item == nullptr) {
    return kUnknown;
  }
  return host::AnswerOr(kUnknown, [&] { return Answer(predicate(*item)); });
}

// About the item and every group above it.
template <typename Predicate>
int AnswerForPath(const char* menuID, Predicate predicate) {
  const Item* item = Library().Find(menuID);
  if (item == nullptr) {
    return kUnknown;
  }
  return host::AnswerOr(kUnknown, [&] {
    while (predicate(*item)) {
      if (item->parent == host::kNoItem) {
        return kYes;
      }
      item = &Library().Loaded()->At(item->parent);
    }
    return kNo;
  });
}

template <typename Predicate>
int AnswerForOption(const char* menuID, const char* value, Predicate predicate) {
  const Item* item = Library().Find(menuID);
  if (item == nullptr || !item->value || value == nullptr) {
    return kUnknown;
  }
  const host::ValueSet& values = item->value->values;
  const auto* options = std::get_if<std::vector<host::Option>>(&values);
  const auto position = host::FindValue(values, value);
  if (options == nullptr || !position) {
    return kUnknown;
  }
  return host::AnswerOr(kUnknown, [&] { return Answer(predicate((*options)[*position])); });
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
    return Library().IsTrue(option.states.visible);
  });
}

int CSettingsItemInfoAPI::GetSubListItemEnable(const char* menuID, const char* value) {
  return AnswerForOption(menuID, value, [](const host::Option& option) {
    return Library().IsTrue(option.states.enabled);
  });
}

bool CSettingsItemInfoAPI::EnableItem(std::string menuID, std::string appName) {
  return Library().Disabled().Enable(menuID, appName);
}

bool CSettingsItemInfoAPI::DisableItem(std::string menuID, std::string appName) {
  return !Library().Disabled().Disable({&menuID, 1}, appName).empty();
}

bool CSettingsItemInfoAPI::DisableItemsByList(std::vector<std::string>& requested,
                                              std::vector<std::string>& disabled,
                                              std::string appName) {
  return Append(Library().Disabled().Disable(requested, appName), disabled);
}

bool CSettingsItemInfoAPI::RemoveDisabledItemsByAppname(std::vector<std::string>& released,
                                                        std::string appName) {
  return Append(Library().Disabled().Release(appName), released);
}

bool CSettingsItemInfoAPI::IsItemEnabled(std::string menuID) {
  const std::string_view id = menuID;
  return Library().Find(id) != nullptr && !Library().Disabled().Contains(id);
}

bool CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId(std::string menuID,
                                                       std::vector<std::string>& appNames) {
  const std::string_view id = menuID;
  if (Library().Find(id) == nullptr) {
    return false;
  }
  Append(Library().Disabled().Applications(id), appNames);
  return true;
}

bool CSettingsItemInfoAPI::GetDisabledItemsList(std::vector<std::string>& menuIDs) {
  if (Library().Loaded() == nullptr) {
    return false;
  }
  Append(Library().Disabled().AllItems(), menuIDs);
  return true;
}

void CSettingsItemInfoAPI::UpdateDisabledItemList() {
  host::AnswerOr(false, [] {
    Library().Disabled().ReadMirror();
    return true;
  });
}
