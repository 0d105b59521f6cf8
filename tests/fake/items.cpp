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
Item* Find(Call& call, const char* menuID) {
  const auto item = call->items.find(menuID);
  return call->itemsLoaded && item != call->items.end() ? &item->second : nullptr;
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
