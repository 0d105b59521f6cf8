#include <algorithm>

#include "call.h"
#include "menu_audio_util.h"
#include "settings_item_info_api.h"

using namespace fakes;

namespace {

constexpr int kFailure = -1;

// Fills a caller's buffer. A text that does not fit leaves it without its closing zero: a
// caller is to survive a library that does not keep its word.
void Give(char* buffer, const std::string& text) {
  const std::size_t length = std::min<std::size_t>(text.size() + 1, SETTINGS_ITEM_TEXT_SIZE);
  std::copy_n(text.c_str(), length, buffer);
}

// Callers hand in nothing but zeros, so that no old text shows when the library gives none.
void ExpectZeros(Call& call, const char* name, const char* buffer) {
  if (std::any_of(buffer, buffer + SETTINGS_ITEM_TEXT_SIZE, [](char c) { return c != '\0'; })) {
    call.Complain(std::string(name) + " buffer not zero-filled");
  }
}

// The item; null when it is unknown or the library is not initialised.
Item* Find(Call& call, const std::string& menuID) {
  const auto item = call->items.find(menuID);
  return call->itemsLoaded && item != call->items.end() ? &item->second : nullptr;
}

int Answer(Call& call, const char* menuID, int Item::*answer) {
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  const Item* item = Find(call, menuID);
  return call.Returns(item == nullptr ? kFailure : item->*answer);
}

int AnswerForValue(Call& call, const char* menuID, std::map<std::string, int> Item::*answers,
                   const char* value) {
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  const Item* item = Find(call, menuID);
  if (item == nullptr || !(item->*answers).contains(value)) {
    return call.Returns(kFailure);
  }
  return call.Returns((item->*answers).at(value));
}

int GiveText(Call& call, const char* menuID, int Item::*result, std::string Item::*text,
             char* buffer) {
  call.MainLoopThreadOnly();
  ExpectZeros(call, "text", buffer);
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  const Item* item = Find(call, menuID);
  if (item == nullptr || item->*result == kFailure) {
    return call.Returns(kFailure);
  }
  Give(buffer, item->*text);
  return call.Returns(item->*result, item->*text);
}

std::string List(Call& call, const char* menuID, std::string Item::*list) {
  call.MainLoopThreadOnly();
  const Item* item = call.Failure(kFailure) ? nullptr : Find(call, menuID);
  return call.Returns(item == nullptr ? std::string() : item->*list);
}

bool GiveNumber(Call& call, const char* menuID, std::optional<double> Item::*number,
                bool Item::*result, double* output) {
  call.MainLoopThreadOnly();
  if (*output != 0.0) {
    call.Complain("output not zero");
  }
  const Item* item = call.Failure(kFailure) ? nullptr : Find(call, menuID);
  if (item == nullptr || !(item->*number)) {
    return call.Returns(false);
  }
  *output = *(item->*number);
  return call.Returns(item->*result, *output);
}

}  // namespace

void CSettingsItemInfoAPI::InitSettingsItemInfoAPI() {
  Call call("CSettingsItemInfoAPI::InitSettingsItemInfoAPI");
  call.MainLoopThreadOnly();
  call->itemsLoaded = !call.Failure(kFailure);
  call.Ends();
}

int CSettingsItemInfoAPI::GetItemValue(const char* menuID, char* valueName, char* value) {
  Call call("CSettingsItemInfoAPI::GetItemValue", menuID);
  call.MainLoopThreadOnly();
  ExpectZeros(call, "value name", valueName);
  ExpectZeros(call, "value", value);
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  const Item* item = Find(call, menuID);
  if (item == nullptr || item->getResult == kFailure) {
    return call.Returns(kFailure);
  }
  const auto named = item->valueNames.find(item->value);
  const std::string& name = named == item->valueNames.end() ? item->value : named->second;
  Give(valueName, name);
  Give(value, item->value);
  return call.Returns(item->getResult, name, item->value);
}

int CSettingsItemInfoAPI::SetItemValue(const char* menuID, const char* value, bool preview) {
  Call call("CSettingsItemInfoAPI::SetItemValue", menuID, value, preview);
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  Item* item = Find(call, menuID);
  if (item == nullptr || item->setResult == kFailure) {
    return call.Returns(kFailure);
  }
  if (!preview) {
    item->value = value;
  }
  return call.Returns(item->setResult);
}

int CSettingsItemInfoAPI::GetItemVisible(const char* menuID) {
  Call call("CSettingsItemInfoAPI::GetItemVisible", menuID);
  return Answer(call, menuID, &Item::visible);
}

int CSettingsItemInfoAPI::GetItemEnable(const char* menuID, bool byRulesOnly) {
  Call call("CSettingsItemInfoAPI::GetItemEnable", menuID, byRulesOnly);
  return Answer(call, menuID, &Item::enabled);
}

int CSettingsItemInfoAPI::GetItemPathVisible(const char* menuID) {
  Call call("CSettingsItemInfoAPI::GetItemPathVisible", menuID);
  return Answer(call, menuID, &Item::pathVisible);
}

int CSettingsItemInfoAPI::GetItemPathEnable(const char* menuID) {
  Call call("CSettingsItemInfoAPI::GetItemPathEnable", menuID);
  return Answer(call, menuID, &Item::pathEnabled);
}

int CSettingsItemInfoAPI::GetSubListItemVisible(const char* menuID, const char* value) {
  Call call("CSettingsItemInfoAPI::GetSubListItemVisible", menuID, value);
  return AnswerForValue(call, menuID, &Item::valueVisible, value);
}

int CSettingsItemInfoAPI::GetSubListItemEnable(const char* menuID, const char* value) {
  Call call("CSettingsItemInfoAPI::GetSubListItemEnable", menuID, value);
  return AnswerForValue(call, menuID, &Item::valueEnabled, value);
}

int CSettingsItemInfoAPI::GetSettingsItemPathByString(std::string menuID, std::string& path) {
  Call call("CSettingsItemInfoAPI::GetSettingsItemPathByString", menuID);
  call.MainLoopThreadOnly();
  if (!path.empty()) {
    call.Complain("output not empty");
  }
  if (auto code = call.Failure(kFailure)) {
    return call.Returns(*code);
  }
  const Item* item = Find(call, menuID);
  if (item == nullptr || item->pathResult == kFailure) {
    return call.Returns(kFailure);
  }
  path = item->path;
  return call.Returns(item->pathResult, path);
}

int CSettingsItemInfoAPI::GetItemDisplayID(const char* menuID, char* displayID) {
  Call call("CSettingsItemInfoAPI::GetItemDisplayID", menuID);
  return GiveText(call, menuID, &Item::displayIDResult, &Item::displayID, displayID);
}

int CSettingsItemInfoAPI::GetItemDisplayName(const char* menuID, char* displayName) {
  Call call("CSettingsItemInfoAPI::GetItemDisplayName", menuID);
  return GiveText(call, menuID, &Item::displayNameResult, &Item::displayName, displayName);
}

std::string CSettingsItemInfoAPI::GetItemDataListByString(const char* menuID) {
  Call call("CSettingsItemInfoAPI::GetItemDataListByString", menuID);
  return List(call, menuID, &Item::dataList);
}

std::string CSettingsItemInfoAPI::GetSubItemsListByString(const char* menuID) {
  Call call("CSettingsItemInfoAPI::GetSubItemsListByString", menuID);
  return List(call, menuID, &Item::childList);
}

bool CSettingsItemInfoAPI::GetItemMinValue(const char* menuID, double* value, bool displayed) {
  Call call("CSettingsItemInfoAPI::GetItemMinValue", menuID, displayed);
  return GiveNumber(call, menuID, &Item::min, &Item::minResult, value);
}

bool CSettingsItemInfoAPI::GetItemMaxValue(const char* menuID, double* value, bool displayed) {
  Call call("CSettingsItemInfoAPI::GetItemMaxValue", menuID, displayed);
  return GiveNumber(call, menuID, &Item::max, &Item::maxResult, value);
}

bool CSettingsItemInfoAPI::GetItemStepValue(const char* menuID, double* value, bool displayed) {
  Call call("CSettingsItemInfoAPI::GetItemStepValue", menuID, displayed);
  return GiveNumber(call, menuID, &Item::step, &Item::stepResult, value);
}

void CMenuAudioUtil::FreshSpeakerType() {
  Call call("CMenuAudioUtil::FreshSpeakerType");
  call.MainLoopThreadOnly();
  call.Failure(0);
  call.Ends();
}

namespace fakes {

void Platform::SetItem(std::string menuID, Item item) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.items.insert_or_assign(std::move(menuID), std::move(item));
}

std::optional<Item> Platform::ItemState(const std::string& menuID) const {
  std::lock_guard lock(Shared().mutex);
  const auto& items = Shared().state.items;
  const auto item = items.find(menuID);
  return item == items.end() ? std::nullopt : std::optional(item->second);
}

}  // namespace fakes
