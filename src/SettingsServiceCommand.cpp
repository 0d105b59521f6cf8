#include "SettingsServiceCommand.h"

#include <utility>

#include "Log.h"
#include "menu_audio_util.h"
#include "nuvra/signal.h"

namespace {

constexpr char kLogModule[] = "SettingsServiceCommand";

constexpr char kSignalName[] = "settings_service_signal";
constexpr int kBlockedMenuSignalType = 3;

// What most library calls return when they failed.
constexpr RET_ITEMINFO kLibraryFailure = -1;

// Runs `body`, the steps of the handler named `handler`. An ill-typed request member ends it
// with an error reply whose result is `emptyResult`.
template <typename Body>
void Handle(const char* handler, Nuvra::TCMessage& reply, const Json::Value& emptyResult,
            Body body) {
  try {
    body();
  } catch (const Json::Exception& exception) {
    SETTINGS_LOG_AS(DLOG_ERROR, handler, "Exception occured! [%s]", exception.what());
    reply.body["connect_server"] = false;
    reply.body["call_api_success"] = false;
    reply.body["return_data"] = emptyResult;
  }
}

// The two texts that the library gives for the value of an item.
struct ItemValueTexts {
  char valueName[SETTINGS_ITEM_TEXT_SIZE] = {};
  char value[SETTINGS_ITEM_TEXT_SIZE] = {};
};

using ItemValueText = char (ItemValueTexts::*)[SETTINGS_ITEM_TEXT_SIZE];

void ReportItemValue(const char* handler, ItemValueText reportedText,
                     const Nuvra::TCMessage& request, Nuvra::TCMessage& reply) {
  Handle(handler, reply, "", [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter %s ", handler);
    ItemValueTexts texts;
    const std::string menuID = SettingsServiceCommand::m_GetMenuID(request);
    if (menuID == "soundoutput") {
      CMenuAudioUtil::FreshSpeakerType();
    }
    const RET_ITEMINFO result =
        CSettingsItemInfoAPI::GetItemValue(menuID.c_str(), texts.valueName, texts.value);
    auto& reported = texts.*reportedText;
    reported[SETTINGS_ITEM_TEXT_SIZE - 1] = '\0';
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%d [%s]", result, reported);
    reply = SettingsServiceCommand::m_FillMessage(result, kLibraryFailure, reported, false,
                                                  SETTINGS_MESSAGE_TYPE_STRING);
  });
}

void SendBlockedMenuState(const char* function, blocked_menu_status_e status,
                          Json::Value menuIDList) {
  SETTINGS_LOG_AS(DLOG_INFO, function, "SendSignalCallback+");
  Nuvra::TCMessage message;
  message.type = kBlockedMenuSignalType;
  message.body["status"] = status;
  message.body["menuIDList"] = std::move(menuIDList);
  Nuvra::SendSignal(SETTINGS_SERVICE_NAME, kSignalName, &message);
  SETTINGS_LOG_AS(DLOG_INFO, function, "SendSignalCallback-");
}

}  // namespace

void SettingsServiceCommand::GetItemValueName(const Nuvra::TCMessage& request,
                                              Nuvra::TCMessage& reply) {
  ReportItemValue(__func__, &ItemValueTexts::valueName, request, reply);
}

void SettingsServiceCommand::GetItemValue(const Nuvra::TCMessage& request,
                                          Nuvra::TCMessage& reply) {
  ReportItemValue(__func__, &ItemValueTexts::value, request, reply);
}

void SettingsServiceCommand::SetItemValue(const Nuvra::TCMessage& request,
                                          Nuvra::TCMessage& reply) {
  const char* const handler = __func__;
  Handle(handler, reply, false, [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter SetItemValue ");
    const std::string menuID = m_GetMenuID(request);
    const Json::Value& data = request.body["data"];
    const std::string value = data["Value"].asString();
    const bool preview = data["PreViewFlag"].asBool();
    SETTINGS_LOG_AS(DLOG_INFO, handler, "MenuID = %s", menuID.c_str());
    const RET_ITEMINFO result =
        CSettingsItemInfoAPI::SetItemValue(menuID.c_str(), value.c_str(), preview);
    reply = m_FillMessage(result, kLibraryFailure, "", true, SETTINGS_MESSAGE_TYPE_BOOL);
  });
}

std::string SettingsServiceCommand::m_GetMenuID(Nuvra::TCMessage request) {
  return request.body["data"]["menuID"].asString();
}

Nuvra::TCMessage SettingsServiceCommand::m_FillMessage(RET_ITEMINFO result, int failureValue,
                                                       std::string text, bool flag,
                                                       settings_message_type_e type) {
  Nuvra::TCMessage message;
  Json::Value returnData;
  const bool success = result != failureValue;
  switch (type) {
    case SETTINGS_MESSAGE_TYPE_STRING:
      returnData = success ? text : "";
      break;
    case SETTINGS_MESSAGE_TYPE_BOOL:
      returnData = success && flag;
      break;
    default:
      return message;
  }
  message.body["connect_server"] = true;
  message.body["call_api_success"] = success;
  message.body["return_data"] = returnData;
  return message;
}

void SettingsServiceCommand::m_AsyncAPISendSignal(int pid, int callback,
                                                  settings_api_cb_type_e type, std::string menuID,
                                                  bool result) {
  SETTINGS_INFO("m_AsyncAPISendSignal+");
  Nuvra::TCMessage message;
  message.type = type;
  message.body["menuID"] = menuID;
  message.body["return_data"] = result;
  message.body["callback"] = callback;
  message.body["pid"] = pid;
  Nuvra::SendSignal(SETTINGS_SERVICE_NAME, kSignalName, &message);
  SETTINGS_INFO("m_AsyncAPISendSignal-");
}

void SettingsServiceCommand::m_BlockedMenuStateSendSignal(blocked_menu_status_e status,
                                                          std::string menuID) {
  Json::Value menuIDList(Json::arrayValue);
  menuIDList.append(menuID);
  SendBlockedMenuState(__func__, status, std::move(menuIDList));
}

void SettingsServiceCommand::m_BlockedMenuStateSendSignal(blocked_menu_status_e status,
                                                          std::vector<std::string>& menuIDs) {
  Json::Value menuIDList(Json::arrayValue);
  for (const std::string& menuID : menuIDs) {
    menuIDList.append(menuID);
  }
  SendBlockedMenuState(__func__, status, std::move(menuIDList));
}
