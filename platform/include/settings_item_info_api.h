#pragma once

#include <string>
#include <vector>

// Result of a call that returns a number; each call says which value means failure.
using RET_ITEMINFO = int;

// Size of the text buffers that a caller passes, including the terminating zero.
inline constexpr int SETTINGS_ITEM_TEXT_SIZE = 512;

// The settings data library: the tree of settings items, their values, states and texts, and the
// record of items that applications disabled (docs/items.md). Main-loop thread only. An item is
// named by its menu identifier; every call fails, as described there, for an unknown one, and
// before InitSettingsItemInfoAPI, except for UpdateDisabledItemList. Buffers are the caller's, of
// SETTINGS_ITEM_TEXT_SIZE bytes; texts are UTF-8, zero-terminated and cut at a character boundary
// to fit.
class CSettingsItemInfoAPI {
 public:
  // Loads the items. The library logs a failure. A second call loads them again. The record of
  // disabled items is kept, except for items that are now unknown.
  static void InitSettingsItemInfoAPI();

  // An item's value and that value's display name in the menu language. -1 when the item is unknown
  // or of a kind that has no value, or the store cannot be read, with both buffers untouched.
  static int GetItemValue(const char* menuID, char* valueName, char* value);

  // Stores a value; with `preview` it is shown but not kept. -1 and nothing stored when the
  // item is unknown or has no value, `value` is not one of its list or range, or the store
  // failed.
  static int SetItemValue(const char* menuID, const char* value, bool preview);

  // State queries: -1 no answer (also when the store cannot be read), 0 no, any other value yes. A
  // path is visible or enabled when the item and every group above it are. With `byRulesOnly`
  // disabling by applications is ignored. The last two are about one value of a list or a switch,
  // whatever the state of the item; -1 for any other value or item. States do not prevent setting a
  // value.
  static int GetItemVisible(const char* menuID);
  static int GetItemEnable(const char* menuID, bool byRulesOnly);
  static int GetItemPathVisible(const char* menuID);
  static int GetItemPathEnable(const char* menuID);
  static int GetSubListItemVisible(const char* menuID, const char* value);
  static int GetSubListItemEnable(const char* menuID, const char* value);

  // The place of the item in the tree as one string. -1 on failure, `path` untouched.
  static int GetSettingsItemPathByString(std::string menuID, std::string& path);

  // Language-independent identifier of the item's text, and that text in the menu language. -1
  // on failure, the buffer untouched.
  static int GetItemDisplayID(const char* menuID, char* displayID);
  static int GetItemDisplayName(const char* menuID, char* displayName);

  // The values that the item can have, and the items directly below it, each as one string; empty
  // when there are none or the item is unknown. The items below "" are those at the top of the
  // menu.
  static std::string GetItemDataListByString(const char* menuID);
  static std::string GetSubItemsListByString(const char* menuID);

  // Bounds and step of a range item: with `displayed` in the unit of the menu, which GetItemValue
  // answers and SetItemValue takes, otherwise in the one that the key store holds. False on failure
  // and for every other kind of item, the output untouched.
  static bool GetItemMinValue(const char* menuID, double* value, bool displayed);
  static bool GetItemMaxValue(const char* menuID, double* value, bool displayed);
  static bool GetItemStepValue(const char* menuID, double* value, bool displayed);

  // The record of disabled items: which applications disable which items. An item is disabled while
  // at least one application disables it. All four return true exactly when the call enabled or
  // disabled an item; exactly those items are appended to `disabled` and `released`. An application
  // that is not the first to disable an item, or not the last to release it, is still recorded, and
  // the result is false. Unknown items and an empty name are ignored. When the mirror in the key
  // store cannot be written, the call is logged, changes nothing and returns false.
  static bool EnableItem(std::string menuID, std::string appName);
  static bool DisableItem(std::string menuID, std::string appName);
  static bool DisableItemsByList(std::vector<std::string>& requested,
                                 std::vector<std::string>& disabled, std::string appName);
  static bool RemoveDisabledItemsByAppname(std::vector<std::string>& released, std::string appName);

  // False when some application disables the item, whatever its rules say, and when it is unknown.
  static bool IsItemEnabled(std::string menuID);

  // True when there is an answer; the first has none for an unknown item. The names are appended to
  // the output: applications in the order in which they came, items in menu order.
  static bool GetDisablerAppNamesByMenuId(std::string menuID, std::vector<std::string>& appNames);
  static bool GetDisabledItemsList(std::vector<std::string>& menuIDs);

  // Rebuilds the record from its mirror in the key store, the string "memory/menu/disabled_items",
  // which every change is written to and which is empty while no item is disabled. Damaged entries
  // and unknown items are logged and dropped. May be called before the items are loaded: unknown
  // ones are dropped then.
  static void UpdateDisabledItemList();
};
