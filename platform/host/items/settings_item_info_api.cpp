#include "settings_item_info_api.h"

#include <json/json.h>

#include "base/utf8.h"
#include "items/answer.h"
#include "items/library.h"
#include "items/translation.h"
#include "system/environment.h"

namespace {

using host::Item;
using host::Library;

constexpr RET_ITEMINFO kDone = 0;
constexpr RET_ITEMINFO kFailed = -1;

const Item* FindItemWithValue(const char* menuID) {
  const Item* item = Library().Find(menuID);
  return item != nullptr && item->value ? item : nullptr;
}

const host::Range* FindRange(const char* menuID) {
  const Item* item = FindItemWithValue(menuID);
  return item != nullptr ? std::get_if<host::Range>(&item->value->values) : nullptr;
}

// The numbers that a caller asks for: those of the menu, or those that are kept for them.
const host::NumberGrid* FindGrid(const char* menuID, bool displayed) {
  const host::Range* range = FindRange(menuID);
  if (range == nullptr) {
    return nullptr;
  }
  return displayed ? &range->values : &range->kept;
}

void CopyText(const std::string& text, char* buffer) {
  base::CopyCut(text, buffer, SETTINGS_ITEM_TEXT_SIZE);
}

Json::Value TopItems() {
  Json::Value list(Json::arrayValue);
  if (const host::Catalogue* catalogue = Library().Loaded()) {
    for (const Item& item : catalogue->Items()) {
      if (item.parent == host::kNoItem) {
        list.append(item.id);
      }
    }
  }
  return list;
}

// JSON, so that no string can be mistaken for two; empty when there is nothing to list.
std::string ListText(const Json::Value& list) {
  if (list.empty()) {
    return "";
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, list);
}

}  // namespace

void CSettingsItemInfoAPI::InitSettingsItemInfoAPI() {
  host::UseTranslations(host::GetEnvironment().localeDir);
  Library().Load(host::GetEnvironment().dataDir / "catalogue" / "menu.json");
}

int CSettingsItemInfoAPI::GetItemValue(const char* menuID, char* valueName, char* value) {
  const Item* item = FindItemWithValue(menuID);
  if (item == nullptr) {
    return kFailed;
  }
  return host::AnswerOr(kFailed, [&] {
    const host::ValuePosition position = Library().CurrentValue(*item);
    CopyText(host::ValueName(item->value->values, position), valueName);
    CopyText(host::ValueText(item->value->values, position), value);
    return kDone;
  });
}

int CSettingsItemInfoAPI::SetItemValue(const char* menuID, const char* value, bool preview) {
  const Item* item = FindItemWithValue(menuID);
  if (item == nullptr || value == nullptr) {
    return kFailed;
  }
  const auto position = host::FindValue(item->value->values, value);
  if (!position) {
    return kFailed;
  }
  const bool done = host::AnswerOr(false, [&] {
    return preview ? Library().PreviewValue(*item, *position)
                   : Library().StoreValue(*item, *position);
  });
  return done ? kDone : kFailed;
}

int CSettingsItemInfoAPI::GetSettingsItemPathByString(std::string menuID, std::string& path) {
  const Item* item = Library().Find(std::string_view(menuID));
  if (item == nullptr) {
    return kFailed;
  }
  path = Library().Loaded()->Path(*item);
  return kDone;
}

int CSettingsItemInfoAPI::GetItemDisplayID(const char* menuID, char* displayID) {
  const Item* item = Library().Find(menuID);
  if (item == nullptr) {
    return kFailed;
  }
  CopyText(item->displayId, displayID);
  return kDone;
}

int CSettingsItemInfoAPI::GetItemDisplayName(const char* menuID, char* displayName) {
  const Item* item = Library().Find(menuID);
  if (item == nullptr) {
    return kFailed;
  }
  CopyText(host::ItemNameInLanguage(item->name), displayName);
  return kDone;
}

std::string CSettingsItemInfoAPI::GetItemDataListByString(const char* menuID) {
  const Item* item = FindItemWithValue(menuID);
  Json::Value list(Json::arrayValue);
  if (item != nullptr) {
    if (const auto* options = std::get_if<std::vector<host::Option>>(&item->value->values)) {
      for (const host::Option& option : *options) {
        list.append(option.value);
      }
    }
  }
  return ListText(list);
}

std::string CSettingsItemInfoAPI::GetSubItemsListByString(const char* menuID) {
  if (menuID != nullptr && *menuID == '\0') {
    return ListText(TopItems());
  }
  Json::Value list(Json::arrayValue);
  if (const Item* item = Library().Find(menuID)) {
    for (const std::uint32_t child : item->children) {
      list.append(Library().Loaded()->At(child).id);
    }
  }
  return ListText(list);
}

bool CSettingsItemInfoAPI::GetItemMinValue(const char* menuID, double* value, bool displayed) {
  const host::NumberGrid* grid = FindGrid(menuID, displayed);
  if (grid == nullptr) {
    return false;
  }
  *value = grid->Number(0);
  return true;
}

bool CSettingsItemInfoAPI::GetItemMaxValue(const char* menuID, double* value, bool displayed) {
  const host::NumberGrid* grid = FindGrid(menuID, displayed);
  if (grid == nullptr) {
    return false;
  }
  *value = grid->Number(grid->LastPosition());
  return true;
}

bool CSettingsItemInfoAPI::GetItemStepValue(const char* menuID, double* value, bool displayed) {
  const host::NumberGrid* grid = FindGrid(menuID, displayed);
  if (grid == nullptr) {
    return false;
  }
  *value = grid->Step();
  return true;
}
