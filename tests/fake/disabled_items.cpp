#include "call.h"
#include "settings_item_info_api.h"

// The part of the settings data library that is about items disabled by applications.
using namespace fakes;

namespace {

// Whether the call gets its answer: the test does not make it fail and the library is
// initialised.
bool Works(Call& call) {
  call.MainLoopThreadOnly();
  return !call.Failure(0) && call->itemsLoaded;
}

bool Change(Call& call) { return call.Returns(Works(call) && call->disabledItems.changed); }

// Ends a call that appends `given` to its output.
bool GiveList(Call& call, bool result, const std::vector<std::string>& given,
              std::vector<std::string>& output) {
  if (!output.empty()) {
    call.Complain("output not empty");
  }
  if (!Works(call)) {
    return call.Returns(false);
  }
  output.insert(output.end(), given.begin(), given.end());
  return call.Returns(result, given);
}

}  // namespace

bool CSettingsItemInfoAPI::EnableItem(std::string menuID, std::string appName) {
  Call call("CSettingsItemInfoAPI::EnableItem", menuID, appName);
  return Change(call);
}

bool CSettingsItemInfoAPI::DisableItem(std::string menuID, std::string appName) {
  Call call("CSettingsItemInfoAPI::DisableItem", menuID, appName);
  return Change(call);
}

bool CSettingsItemInfoAPI::DisableItemsByList(std::vector<std::string>& requested,
                                              std::vector<std::string>& disabled,
                                              std::string appName) {
  Call call("CSettingsItemInfoAPI::DisableItemsByList", requested, appName);
  const DisabledItems& answers = call->disabledItems;
  return GiveList(call, answers.changed, answers.changedItems, disabled);
}

bool CSettingsItemInfoAPI::RemoveDisabledItemsByAppname(std::vector<std::string>& released,
                                                        std::string appName) {
  Call call("CSettingsItemInfoAPI::RemoveDisabledItemsByAppname", appName);
  const DisabledItems& answers = call->disabledItems;
  return GiveList(call, answers.changed, answers.changedItems, released);
}

bool CSettingsItemInfoAPI::IsItemEnabled(std::string menuID) {
  Call call("CSettingsItemInfoAPI::IsItemEnabled", menuID);
  return call.Returns(Works(call) && call->disabledItems.enabled);
}

bool CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId(std::string menuID,
                                                       std::vector<std::string>& appNames) {
  Call call("CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId", menuID);
  const DisabledItems& answers = call->disabledItems;
  return GiveList(call, answers.answered, answers.disablers, appNames);
}

bool CSettingsItemInfoAPI::GetDisabledItemsList(std::vector<std::string>& menuIDs) {
  Call call("CSettingsItemInfoAPI::GetDisabledItemsList");
  const DisabledItems& answers = call->disabledItems;
  return GiveList(call, answers.answered, answers.items, menuIDs);
}

void CSettingsItemInfoAPI::UpdateDisabledItemList() {
  Call call("CSettingsItemInfoAPI::UpdateDisabledItemList");
  call.MainLoopThreadOnly();
  call.Failure(0);
  call.Ends();
}

namespace fakes {

void Platform::SetDisabledItems(DisabledItems answers) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.disabledItems = std::move(answers);
}

}  // namespace fakes
