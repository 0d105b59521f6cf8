#pragma once

#include <string>
#include <vector>

#include "app_manager.h"
#include "nuvra/message.h"
#include "settings_item_info_api.h"
#include "vconf.h"

// The name under which clients address requests and under which signals are sent.
inline constexpr char SETTINGS_SERVICE_NAME[] = "settings_service";

// Type of the result in a reply.
enum settings_message_type_e : int {
  SETTINGS_MESSAGE_TYPE_BOOL = 0,
  SETTINGS_MESSAGE_TYPE_STRING = 1,
};

// Message type of an asynchronous-result signal: which question it answers.
enum settings_api_cb_type_e {
  SETTINGS_API_CB_ITEM_VISIBLE = 1,
  SETTINGS_API_CB_ITEM_PATH_ENABLE = 2,
};

enum blocked_menu_status_e {
  BLOCKED_MENU_STATUS_DISABLED = 0,
  BLOCKED_MENU_STATUS_ENABLED = 1,
};

// The request handlers, each named like its method, and the helpers that build replies and signals
// (docs/wire.md). No state. Main-loop thread only.
//
// A query takes the request and fills the reply; it answers an ill-typed request member by an error
// reply of its own. The other handlers leave the reply alone and answer by signal or not at all.
// Every exception but the JSON library's passes through.
class SettingsServiceCommand {
 public:
  // The value of an item.
  static void GetItemValueName(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemValue(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void SetItemValue(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);

  // Whether an item, its path or one of its data values is visible or enabled.
  static void GetItemVisible(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemEnable(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemPathVisible(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemPathEnable(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemDataVisible(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemDataEnable(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);

  // The same questions, answered by signal; the first leaves the reply as it is.
  static void GetItemPathEnableAsync(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemVisibleAsync(const Nuvra::TCMessage& request);

  // What an item is and what it can hold.
  static void GetItemPath(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemDisplayID(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemDisplayName(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemMinMaxStepValue(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemDataList(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetItemChildList(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);

  // Disabling of items by applications; every change of the record goes out as a blocked-menu
  // signal.
  static void EnableItem(const Json::Value& data);
  static void DisableItem(const Json::Value& data);
  static void DisableItemsByList(const Json::Value& data);
  static void RemoveDisabledItemsByAppname(const Json::Value& data);

  // The record of disabled items.
  static void IsItemEnabled(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetDisablerAppNamesByMenuId(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply);
  static void GetDisabledItemsList(Nuvra::TCMessage& reply);

  // Makes the library rebuild the record from its mirror.
  static void UpdateDisabledItemList();

  // Releases what the application that ended had disabled. `userData` is not used.
  static void AppContextEventCB(app_context_s* context, app_context_event_e event, void* userData);

  // Asks UpdateHistoryFile for the present factory-reset count, whatever it is.
  static constexpr int kPresentResetCount = -1;

  // Stands in the sync file after a general reset began: equals no factory-reset count.
  static constexpr int kGeneralResetMark = -2;

  // Writes `count` into the sync file (docs/startup-consistency.md). When the present count is
  // asked for and cannot be read, the file stays as it is.
  static void UpdateHistoryFile(int count);

  // Called when the state of the general reset changes: its beginning makes the sync file
  // outdated. Neither argument is looked at.
  static void GeneralResetCB(keynode_t* node, void* userData);

  // Brings the process into the menu language that the key store holds: its environment and its
  // locale. Nothing changes when there is none. Neither argument is looked at.
  static void UpdateLanguage(keynode_t* node, void* userData);

  // The request's "data"."menuID"; "" when one of them is missing. Throws Json::Exception when
  // "data" is no object or the identifier has no text.
  static std::string m_GetMenuID(Nuvra::TCMessage request);

  // A reply to be assigned to the handler's own: `text` or `flag` by `type`, or a failure when
  // `result` equals `failureValue`, the only value that counts as one. Any other `type` gives an
  // empty message.
  static Nuvra::TCMessage m_FillMessage(RET_ITEMINFO result, int failureValue, std::string text,
                                        bool flag, settings_message_type_e type);

  // Sends one asynchronous-result signal. `pid` and `callback` are what the client that asked had
  // supplied.
  static void m_AsyncAPISendSignal(int pid, int callback, settings_api_cb_type_e type,
                                   std::string menuID, bool result);

  // Sends one blocked-menu signal, for one item or for all of a list, in its order.
  static void m_BlockedMenuStateSendSignal(blocked_menu_status_e status, std::string menuID);
  static void m_BlockedMenuStateSendSignal(blocked_menu_status_e status,
                                           std::vector<std::string>& menuIDs);
};
