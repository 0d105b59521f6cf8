#include "SettingsServiceCommand.h"

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include "KeyText.h"
#include "Keys.h"
#include "Log.h"
#include "SyncFile.h"
#include "menu_audio_util.h"
#include "nuvra/signal.h"

namespace {

constexpr char kLogModule[] = "SettingsServiceCommand";

constexpr char kSignalName[] = "settings_service_signal";
constexpr int kBlockedMenuSignalType = 3;

// The list of languages is cut to fit, closing zero included.
constexpr std::size_t kFallbackListSize = 32;

// What most library calls return when they failed.
constexpr RET_ITEMINFO kLibraryFailure = -1;

// Runs `body`, the steps of the handler named `handler`. An ill-typed request member ends it with
// an error reply whose result is `emptyResult`.
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

// A library call that answers by text has failed when the text is empty.
constexpr RET_ITEMINFO kNoText = 0;

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

// How the answer to a state question is logged: what stands before and behind the number.
struct AnswerLine {
  const char* before;
  const char* behind;
};
constexpr AnswerLine kNumber{"", ""};
constexpr AnswerLine kNumberAndBlank{"", " "};
constexpr AnswerLine kReturnValue{" Return Value : ", " "};

template <typename Ask>
void AnswerState(const char* handler, AnswerLine line, const Nuvra::TCMessage& request,
                 Nuvra::TCMessage& reply, Ask ask) {
  Handle(handler, reply, false, [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter %s ", handler);
    const std::string menuID = SettingsServiceCommand::m_GetMenuID(request);
    const RET_ITEMINFO answer = ask(menuID.c_str());
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%s%d%s", line.before, answer, line.behind);
    reply = SettingsServiceCommand::m_FillMessage(answer, kLibraryFailure, "", answer != 0,
                                                  SETTINGS_MESSAGE_TYPE_BOOL);
  });
}

using AskDataState = int (*)(const char* menuID, const char* value);

void AnswerDataState(const char* handler, const Nuvra::TCMessage& request, Nuvra::TCMessage& reply,
                     AskDataState ask) {
  AnswerState(handler, kReturnValue, request, reply, [&](const char* menuID) {
    const std::string value = request.body["data"]["Value"].asString();
    SETTINGS_LOG_AS(DLOG_INFO, handler, "MenuID = %s, Value = %s", menuID, value.c_str());
    return ask(menuID, value.c_str());
  });
}

using AskText = int (*)(const char* menuID, char* text);

void AnswerText(const char* handler, const Json::Value& emptyResult,
                const Nuvra::TCMessage& request, Nuvra::TCMessage& reply, AskText ask) {
  Handle(handler, reply, emptyResult, [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter %s ", handler);
    const std::string menuID = SettingsServiceCommand::m_GetMenuID(request);
    char text[SETTINGS_ITEM_TEXT_SIZE] = {};
    const RET_ITEMINFO result = ask(menuID.c_str(), text);
    text[SETTINGS_ITEM_TEXT_SIZE - 1] = '\0';
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%d [%s]", result, text);
    reply = SettingsServiceCommand::m_FillMessage(result, kLibraryFailure, text, false,
                                                  SETTINGS_MESSAGE_TYPE_STRING);
  });
}

using AskList = std::string (*)(const char* menuID);

void AnswerList(const char* handler, const Nuvra::TCMessage& request, Nuvra::TCMessage& reply,
                AskList ask) {
  Handle(handler, reply, "", [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter %s ", handler);
    const std::string menuID = SettingsServiceCommand::m_GetMenuID(request);
    const std::string list = ask(menuID.c_str());
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%s : [%s]", handler, list.c_str());
    // The first character tells a list from none; an empty list has a zero there.
    const auto firstCharacter = static_cast<unsigned char>(*list.c_str());
    reply = SettingsServiceCommand::m_FillMessage(firstCharacter, kNoText, list, false,
                                                  SETTINGS_MESSAGE_TYPE_STRING);
  });
}

// The arguments and the order of both are those of the library's answer by signal.
template <typename ReadMenuID, typename Ask>
void AnswerBySignal(const char* handler, const char* enterLine, log_priority priority,
                    AnswerLine line, settings_api_cb_type_e type, const Nuvra::TCMessage& request,
                    ReadMenuID readMenuID, Ask ask) {
  try {
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%s", enterLine);
    const std::string menuID = readMenuID();
    const int pid = request.body["pid"].asInt();
    const int callback = request.body["callback"].asInt();
    SETTINGS_LOG_AS(DLOG_INFO, handler, "MenuID = %s, pid = %d, callback %p", menuID.c_str(), pid,
                    reinterpret_cast<void*>(static_cast<std::intptr_t>(callback)));
    const int answer = ask(menuID.c_str());
    SETTINGS_LOG_AS(priority, handler, "%s%d%s", line.before, answer, line.behind);
    SettingsServiceCommand::m_AsyncAPISendSignal(pid, callback, type, menuID,
                                                 answer != 0 && answer != kLibraryFailure);
  } catch (const Json::Exception& exception) {
    SETTINGS_LOG_AS(DLOG_ERROR, handler, "Exception occured! [%s]", exception.what());
  }
}

// An array of texts in the form that replies carry.
template <typename Log>
std::string StyledArray(const std::vector<std::string>& texts, Log log) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) {
    log(text.c_str());
    array.append(text);
  }
  return array.toStyledString();
}

Nuvra::TCMessage TextFound(const std::string& text) {
  return SettingsServiceCommand::m_FillMessage(1, kNoText, text, false,
                                               SETTINGS_MESSAGE_TYPE_STRING);
}

Nuvra::TCMessage NoTextFound() {
  return SettingsServiceCommand::m_FillMessage(kNoText, kNoText, "", false,
                                               SETTINGS_MESSAGE_TYPE_STRING);
}

using ChangeItem = bool (*)(std::string menuID, std::string appName);

void ChangeOneItem(const char* handler, const char* doneWord, const char* exceptionLine,
                   blocked_menu_status_e status, const Json::Value& data, ChangeItem change) {
  try {
    const std::string menuID = data["menuID"].asString();
    const std::string appName = data["appName"].asString();
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%s %s from %s", doneWord, menuID.c_str(), appName.c_str());
    if (change(menuID, appName)) {
      SettingsServiceCommand::m_BlockedMenuStateSendSignal(status, menuID);
    }
  } catch (const Json::Exception& exception) {
    SETTINGS_LOG_AS(DLOG_INFO, handler, "%s [%s]", exceptionLine, exception.what());
  }
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

void SettingsServiceCommand::GetItemVisible(const Nuvra::TCMessage& request,
                                            Nuvra::TCMessage& reply) {
  AnswerState(__func__, kNumberAndBlank, request, reply, CSettingsItemInfoAPI::GetItemVisible);
}

void SettingsServiceCommand::GetItemEnable(const Nuvra::TCMessage& request,
                                           Nuvra::TCMessage& reply) {
  AnswerState(__func__, kNumber, request, reply, [](const char* menuID) {
    return CSettingsItemInfoAPI::GetItemEnable(menuID, false);
  });
}

void SettingsServiceCommand::GetItemPathVisible(const Nuvra::TCMessage& request,
                                                Nuvra::TCMessage& reply) {
  AnswerState(__func__, kNumberAndBlank, request, reply, CSettingsItemInfoAPI::GetItemPathVisible);
}

void SettingsServiceCommand::GetItemPathEnable(const Nuvra::TCMessage& request,
                                               Nuvra::TCMessage& reply) {
  AnswerState(__func__, kNumber, request, reply, CSettingsItemInfoAPI::GetItemPathEnable);
}

void SettingsServiceCommand::GetItemDataVisible(const Nuvra::TCMessage& request,
                                                Nuvra::TCMessage& reply) {
  AnswerDataState(__func__, request, reply, CSettingsItemInfoAPI::GetSubListItemVisible);
}

void SettingsServiceCommand::GetItemDataEnable(const Nuvra::TCMessage& request,
                                               Nuvra::TCMessage& reply) {
  AnswerDataState(__func__, request, reply, CSettingsItemInfoAPI::GetSubListItemEnable);
}

void SettingsServiceCommand::GetItemPathEnableAsync(const Nuvra::TCMessage& request,
                                                    Nuvra::TCMessage&) {
  AnswerBySignal(
      __func__, " Enter GetItemPathEnableAsync ", DLOG_ERROR, kNumber,
      SETTINGS_API_CB_ITEM_PATH_ENABLE, request,
      [&] { return request.body["data"]["menuID"].asString(); },
      CSettingsItemInfoAPI::GetItemPathEnable);
}

void SettingsServiceCommand::GetItemVisibleAsync(const Nuvra::TCMessage& request) {
  AnswerBySignal(
      __func__, " Enter GetItemVisible ", DLOG_INFO, kNumberAndBlank, SETTINGS_API_CB_ITEM_VISIBLE,
      request, [&] { return m_GetMenuID(request); }, CSettingsItemInfoAPI::GetItemVisible);
}

void SettingsServiceCommand::GetItemPath(const Nuvra::TCMessage& request, Nuvra::TCMessage& reply) {
  const char* const handler = __func__;
  Handle(handler, reply, "", [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter GetItemPath ");
    const std::string menuID = m_GetMenuID(request);
    std::string path;
    const RET_ITEMINFO result = CSettingsItemInfoAPI::GetSettingsItemPathByString(menuID, path);
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Return Value : %d, Path String : %s ", result,
                    path.c_str());
    reply = m_FillMessage(result, kLibraryFailure, path, false, SETTINGS_MESSAGE_TYPE_STRING);
  });
}

void SettingsServiceCommand::GetItemDisplayID(const Nuvra::TCMessage& request,
                                              Nuvra::TCMessage& reply) {
  AnswerText(__func__, "", request, reply, CSettingsItemInfoAPI::GetItemDisplayID);
}

void SettingsServiceCommand::GetItemDisplayName(const Nuvra::TCMessage& request,
                                                Nuvra::TCMessage& reply) {
  // Alone among the text answers, a false after an exception: clients know it so.
  AnswerText(__func__, false, request, reply, CSettingsItemInfoAPI::GetItemDisplayName);
}

void SettingsServiceCommand::GetItemMinMaxStepValue(const Nuvra::TCMessage& request,
                                                    Nuvra::TCMessage& reply) {
  const auto fillFailure = [&] {
    reply.body["call_api_success"] = false;
    reply.body["return_min"] = 0;
    reply.body["return_max"] = 0;
    reply.body["return_step"] = 0;
    reply.body["return_data"] = "";
  };
  try {
    SETTINGS_INFO(" Enter GetItemMinMaxStepValue ");
    reply.body["connect_server"] = true;
    const std::string menuID = m_GetMenuID(request);
    double min = 0.0;
    double max = 0.0;
    double step = 0.0;
    const bool hasMin = CSettingsItemInfoAPI::GetItemMinValue(menuID.c_str(), &min, true);
    const bool hasMax = CSettingsItemInfoAPI::GetItemMaxValue(menuID.c_str(), &max, true);
    const bool hasStep = CSettingsItemInfoAPI::GetItemStepValue(menuID.c_str(), &step, true);
    SETTINGS_INFO(" Return Value : %d, %d, %d, min : %f, max : %f, step : %f ", hasMin, hasMax,
                  hasStep, min, max, step);
    if (!(hasMin && hasMax && hasStep)) {
      fillFailure();
      return;
    }
    reply.body["call_api_success"] = true;
    reply.body["return_min"] = min;
    reply.body["return_max"] = max;
    reply.body["return_step"] = step;
    reply.body["return_data"] = "";
  } catch (const Json::Exception& exception) {
    SETTINGS_ERROR("Exception occured! [%s]", exception.what());
    fillFailure();
  }
}

void SettingsServiceCommand::GetItemDataList(const Nuvra::TCMessage& request,
                                             Nuvra::TCMessage& reply) {
  AnswerList(__func__, request, reply, CSettingsItemInfoAPI::GetItemDataListByString);
}

void SettingsServiceCommand::GetItemChildList(const Nuvra::TCMessage& request,
                                              Nuvra::TCMessage& reply) {
  AnswerList(__func__, request, reply, CSettingsItemInfoAPI::GetSubItemsListByString);
}

void SettingsServiceCommand::EnableItem(const Json::Value& data) {
  ChangeOneItem(__func__, "Enabled", "EnableItem exception", BLOCKED_MENU_STATUS_ENABLED, data,
                CSettingsItemInfoAPI::EnableItem);
}

void SettingsServiceCommand::DisableItem(const Json::Value& data) {
  ChangeOneItem(__func__, "Disabled", " DisableItem exception", BLOCKED_MENU_STATUS_DISABLED, data,
                CSettingsItemInfoAPI::DisableItem);
}

void SettingsServiceCommand::DisableItemsByList(const Json::Value& data) {
  try {
    const std::string appName = data["appName"].asString();
    SETTINGS_INFO("appname is %s", appName.c_str());
    std::vector<std::string> requested;
    for (const Json::Value& menuID : data["menuIDList"]) {
      requested.push_back(menuID.asString());
    }
    std::vector<std::string> disabled;
    if (CSettingsItemInfoAPI::DisableItemsByList(requested, disabled, appName)) {
      m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_DISABLED, disabled);
    }
  } catch (const Json::Exception& exception) {
    SETTINGS_INFO("exception [%s]", exception.what());
  }
  SETTINGS_INFO("3rd party apps disable items by list end");
}

void SettingsServiceCommand::RemoveDisabledItemsByAppname(const Json::Value& data) {
  try {
    const std::string appName = data["appName"].asString();
    SETTINGS_INFO("Remove disabled items by %s", appName.c_str());
    std::vector<std::string> released;
    if (CSettingsItemInfoAPI::RemoveDisabledItemsByAppname(released, appName)) {
      m_BlockedMenuStateSendSignal(BLOCKED_MENU_STATUS_ENABLED, released);
    }
  } catch (const Json::Exception& exception) {
    SETTINGS_INFO("exception [%s]", exception.what());
  }
}

void SettingsServiceCommand::IsItemEnabled(const Nuvra::TCMessage& request,
                                           Nuvra::TCMessage& reply) {
  Handle(__func__, reply, false, [&] {
    const std::string menuID = m_GetMenuID(request);
    const bool enabled = CSettingsItemInfoAPI::IsItemEnabled(menuID);
    reply = m_FillMessage(enabled, kLibraryFailure, "", enabled, SETTINGS_MESSAGE_TYPE_BOOL);
  });
}

void SettingsServiceCommand::GetDisablerAppNamesByMenuId(const Nuvra::TCMessage& request,
                                                         Nuvra::TCMessage& reply) {
  const char* const handler = __func__;
  Handle(handler, reply, "", [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter GetDisablerAppNamesByMenuId ");
    const std::string menuID = m_GetMenuID(request);
    std::vector<std::string> appNames;
    if (!CSettingsItemInfoAPI::GetDisablerAppNamesByMenuId(menuID, appNames)) {
      reply = NoTextFound();
      return;
    }
    reply = TextFound(StyledArray(appNames, [&](const char* appName) {
      SETTINGS_LOG_AS(DLOG_INFO, handler, "disabler app : %s", appName);
    }));
  });
}

void SettingsServiceCommand::GetDisabledItemsList(Nuvra::TCMessage& reply) {
  const char* const handler = __func__;
  Handle(handler, reply, "", [&] {
    SETTINGS_LOG_AS(DLOG_INFO, handler, " Enter GetDisabledItemsList ");
    std::vector<std::string> menuIDs;
    if (!CSettingsItemInfoAPI::GetDisabledItemsList(menuIDs)) {
      reply = NoTextFound();
      return;
    }
    reply = TextFound(StyledArray(menuIDs, [&](const char* menuID) {
      SETTINGS_LOG_AS(DLOG_INFO, handler, "Disabled Item : %s", menuID);
    }));
  });
}

void SettingsServiceCommand::UpdateDisabledItemList() {
  SETTINGS_INFO("UpdateDisableItemList");
  CSettingsItemInfoAPI::UpdateDisabledItemList();
}

void SettingsServiceCommand::AppContextEventCB(app_context_s* context, app_context_event_e event,
                                               void*) {
  if (event != APP_CONTEXT_EVENT_TERMINATED) {
    return;
  }
  char* appID = nullptr;
  app_context_get_app_id(context, &appID);
  if (appID == nullptr) {
    return;
  }
  SETTINGS_INFO("Terminated app is %s", appID);
  Json::Value data;
  data["appName"] = appID;
  std::free(appID);
  RemoveDisabledItemsByAppname(data);
}

void SettingsServiceCommand::UpdateHistoryFile(int count) {
  if (count == kPresentResetCount && vconf_get_int(kFactoryResetCountKey, &count) != 0) {
    SETTINGS_ERROR("vconf get fails");
    return;
  }
  SETTINGS_ERROR("factory_reset_count[%d]", count);
  switch (SyncFile().Write(count)) {
    case SyncFile::Written::kDone:
      break;
    case SyncFile::Written::kNotOpened:
      SETTINGS_ERROR("Fail to open file");
      break;
    case SyncFile::Written::kFailed:
      SETTINGS_ERROR("Fail to write file");
      break;
  }
}

void SettingsServiceCommand::GeneralResetCB(keynode_t*, void*) {
  int progressing = -1;
  if (vconf_get_int(kGeneralResetKey, &progressing) != 0) {
    SETTINGS_ERROR("get value failed");
  }
  if (progressing == 1) {
    SETTINGS_ERROR("general reset is progressing");
    UpdateHistoryFile(kGeneralResetMark);
  }
}

void SettingsServiceCommand::UpdateLanguage(keynode_t*, void*) {
  SETTINGS_INFO("UpdateLanguage");
  const std::optional<std::string> value = ReadKeyText(kLanguageKey);
  const char* language = value ? value->c_str() : nullptr;
  SETTINGS_INFO("New language : [%s]", language);
  if (language == nullptr) {
    return;
  }
  char fallbacks[kFallbackListSize];
  std::snprintf(fallbacks, sizeof(fallbacks), "%s:en_US:en_GB:en", language);
  setenv("LANGUAGE", fallbacks, 1);
  setenv("LANG", language, 1);
  setenv("LC_MESSAGES", language, 1);
  if (std::setlocale(LC_ALL, "") == nullptr) {
    if (const char* locale = std::setlocale(LC_ALL, language)) {
      SETTINGS_INFO("*****Settings-service setlocale=%s\n", locale);
    }
  }
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
