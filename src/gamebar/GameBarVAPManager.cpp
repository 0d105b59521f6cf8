#include "gamebar/GameBarVAPManager.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <sstream>
#include <utility>

#include "KeyText.h"
#include "Keys.h"
#include "gamebar/ExceptionBorder.h"
#include "gamebar/GameBarLog.h"
#include "gamebar/GameBarUtil.h"
#include "gamebar/JsonText.h"
#include "gamebar/SourceDataManager.h"

namespace {

constexpr char kLogModule[] = "GameBarVAPManager";

constexpr int kUnknownRotation = 0;
constexpr int kAimAllowed = 1;

bool IsAimForbidden(int rotateState) { return rotateState == 0 || rotateState == 2; }

template <typename Entries>
auto FindSource(Entries& entries, int source) {
  return std::find_if(entries.begin(), entries.end(),
                      [&](const VAPSourceData& entry) { return entry.source == source; });
}

// Null when there is none, as for a window without a height.
const VAPData* FindRatio(const std::vector<VAPData>& records, int w, int h) {
  if (h == 0) {
    return nullptr;
  }
  // Wider than the window's numbers: the smallest of them by -1 is none of them.
  const std::int64_t ratio = std::int64_t{w} / h;
  const auto record = std::find_if(records.begin(), records.end(),
                                   [&](const VAPData& data) { return data.ratioType == ratio; });
  return record != records.end() ? &*record : nullptr;
}

Json::Value ToJson(const VAPData& record) {
  Json::Value object(Json::objectValue);
  object["rt"] = record.ratioType;
  object["as"] = record.aimStatus;
  object["at"] = record.aimType;
  object["ax"] = double{record.aimPosX};
  object["ay"] = double{record.aimPosY};
  return object;
}

Json::Value ToJson(const VAPSourceData& entry) {
  Json::Value records(Json::arrayValue);
  for (const VAPData& record : entry.data) {
    records.append(ToJson(record));
  }
  Json::Value object(Json::objectValue);
  object["s"] = entry.source;
  object["d"] = std::move(records);
  return object;
}

// A missing member reads as 0. These throw Json::Exception at a wrong type.

VAPData ReadRecord(const Json::Value& object) {
  VAPData record;
  record.ratioType = object["rt"].asInt();
  record.aimStatus = object["as"].asInt();
  record.aimType = object["at"].asInt();
  record.aimPosX = object["ax"].asFloat();
  record.aimPosY = object["ay"].asFloat();
  return record;
}

VAPSourceData ReadEntry(const Json::Value& object) {
  VAPSourceData entry;
  entry.source = object["s"].asInt();
  const Json::Value& records = object["d"];
  if (records.isArray()) {
    for (const Json::Value& record : records) {
      entry.data.push_back(ReadRecord(record));
    }
  }
  return entry;
}

// The name is that of another function; scripts that read the log know the line as it is.
void LogHandledException(const char* function, const std::exception& exception) {
  GAMEBAR_LOG_AS(DLOG_ERROR, function, "Exception Handled by t_SaveActivityInfoToFile: %s",
                 exception.what());
}

}  // namespace

SingletonPointer<GameBarVAPManager> GameBarVAPManager::m_pVAPDataMamager;

GameBarVAPManager* GameBarVAPManager::GetInstance() {
  return m_pVAPDataMamager.GetOrCreate([] { return new GameBarVAPManager; });
}

void GameBarVAPManager::ReleaseInstance() {
  if (GameBarVAPManager* manager = m_pVAPDataMamager.Get()) {
    manager->Destory();
    m_pVAPDataMamager.Delete();
  }
}

GameBarVAPManager::GameBarVAPManager() : m_Store(std::make_shared<const Store>()) {
  GAMEBAR_ERROR("GameBarVAPManager constructor!!");
  m_RotateState = GetRotateState();
}

GameBarVAPManager::~GameBarVAPManager() { GAMEBAR_ERROR("GameBarVAPManager destructor!!"); }

void GameBarVAPManager::InitData() {
  ParseVAPData(GetVAPData());
  vconf_notify_key_changed(kAimPositionKey, OnVAPDataChanged, nullptr);
  vconf_notify_key_changed(kRotationKey, OnRotateChanged, nullptr);
  if (CGameBarUtil::isGameModeOn()) {
    SetVAP();
  }
}

void GameBarVAPManager::Destory() {
  m_Store.Store(std::make_shared<const Store>());
  vconf_ignore_key_changed(kAimPositionKey, OnVAPDataChanged);
  vconf_ignore_key_changed(kRotationKey, OnRotateChanged);
}

void GameBarVAPManager::SetVAP() {
  if (CGameBarUtil::GetMultiScreenStatus() == "on") {
    GAMEBAR_ERROR(" MultiScreen is Showing, virtual aim point can not be showing in this case!");
    return;
  }
  if (IsAimForbidden(m_RotateState)) {
    GAMEBAR_ERROR("Rotate, virtual aim point can not be showing in this case!");
    return;
  }
  const std::shared_ptr<const Store> store = m_Store.Load();
  if (store->empty()) {
    GAMEBAR_INFO("no data");
    return;
  }

  CSourceDataManager* sources = CSourceDataManager::GetInstance();
  int x = 0;
  int y = 0;
  int w = 0;
  int h = 0;
  sources->GetVideoControlSize(x, y, w, h);
  const int source = sources->GetCurrentSource();
  GAMEBAR_INFO("current source [%d]", source);

  const auto entry = FindSource(*store, source);
  if (entry != store->end()) {
    GAMEBAR_INFO("find source [%d] !!", source);
    if (const VAPData* record = FindRatio(entry->data, w, h)) {
      GAMEBAR_INFO("find data aim status[%d], aim type[%d], ratio type [%d],aim pos [%f, %f] !!",
                   record->aimStatus, record->aimType, record->ratioType, double{record->aimPosX},
                   double{record->aimPosY});
      if (record->aimStatus != 0 && vconf_set_int(kAimTypeKey, record->aimType) != 0) {
        GAMEBAR_INFO("Fail to set aim type value !!");
      }
      if (vconf_set_int(kAimStatusKey, record->aimStatus) != 0) {
        GAMEBAR_INFO("Fail to set aim status value !!");
      }
      GAMEBAR_INFO("set aim status success !!");
    }
  }
  GAMEBAR_INFO("set VAP done");
}

void GameBarVAPManager::CloseVAP() {
  int status = 0;
  if (vconf_get_int(kAimStatusKey, &status) != 0) {
    GAMEBAR_INFO("Fail to get aim status value !!");
  }
  if (status == 0) {
    GAMEBAR_INFO("already closed aim!!");
    return;
  }
  GAMEBAR_INFO("do close aim ");
  if (vconf_set_int(kAimStatusKey, 0) != 0) {
    GAMEBAR_INFO("Fail to set aim status value !!");
  }
}

int GameBarVAPManager::GetRotateState() {
  int state = kUnknownRotation;
  if (vconf_get_int(kRotationKey, &state) != 0) {
    GAMEBAR_ERROR("Fail to get rotate state !!");
    return kUnknownRotation;
  }
  return state;
}

void GameBarVAPManager::OnVAPDataChanged(keynode_t*, void*) try {
  GAMEBAR_INFO("VAP data changed!");
  GameBarVAPManager* manager = GetInstance();
  manager->ParseVAPData(manager->GetVAPData());
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

void GameBarVAPManager::OnRotateChanged(keynode_t*, void*) try {
  GAMEBAR_INFO("Rotate changed!");
  GameBarVAPManager* manager = GetInstance();
  manager->m_RotateState = manager->GetRotateState();
  if (manager->m_RotateState == kAimAllowed) {
    manager->SetVAP();
  }
  if (IsAimForbidden(manager->m_RotateState)) {
    CloseVAP();
  }
} catch (...) {
  LogEscapedException(kLogModule, __func__);
}

Json::Value GameBarVAPManager::ConvertToJson() {
  Json::Value array;
  const std::shared_ptr<const Store> store = m_Store.Load();
  if (store->empty()) {
    GAMEBAR_INFO("no data");
    return array;
  }
  for (const VAPSourceData& entry : *store) {
    array.append(ToJson(entry));
  }
  return array;
}

void GameBarVAPManager::SetVAPData() try {
  const std::string text = Json::FastWriter().write(ConvertToJson());
  if (vconf_set_str(kAimPositionKey, text.c_str()) != 0) {
    GAMEBAR_ERROR(" set %s failed! <%s>", kAimPositionKey, text.c_str());
  } else {
    GAMEBAR_INFO(" set %s succeed! <%s>", kAimPositionKey, text.c_str());
  }
} catch (const std::exception& exception) {
  LogHandledException(__func__, exception);
}

std::string GameBarVAPManager::GetVAPData() {
  std::string text = ReadKeyText(kAimPositionKey).value_or("");
  GAMEBAR_ERROR("VAP data = [%s]", text.c_str());
  return text;
}

void GameBarVAPManager::ParseVAPData(const std::string& text) {
  std::optional<Store> store;
  try {
    const std::optional<Json::Value> root = ParseJsonText(text);
    if (!root) {
      GAMEBAR_ERROR("json parse error");
    } else {
      store.emplace();
      if (root->isArray()) {
        for (const Json::Value& entry : *root) {
          store->push_back(ReadEntry(entry));
        }
      }
    }
  } catch (const std::exception& exception) {
    LogHandledException(__func__, exception);
  }
  if (store) {
    m_Store.Store(std::make_shared<const Store>(*std::move(store)));
  }
  m_LogVAPData();
}

void GameBarVAPManager::m_LogVAPData() {
  std::ostringstream text;
  const std::shared_ptr<const Store> store = m_Store.Load();
  for (const VAPSourceData& entry : *store) {
    text << "source=" << entry.source << ", ";
    for (const VAPData& record : entry.data) {
      text << "ratioType=" << record.ratioType << ", aimStatus=" << record.aimStatus
           << ", aimType=" << record.aimType << ", aimPosX=" << record.aimPosX
           << ", aimPosY=" << record.aimPosY << ", \n";
    }
  }
  GAMEBAR_LOG_AS(DLOG_INFO, "ParseVAPData", "VAP data=[%s]", text.str().c_str());
}

void GameBarVAPManager::RemoveVAPForSource(int source) {
  std::shared_ptr<const Store> store = m_Store.Load();
  if (store->empty()) {
    GAMEBAR_INFO("no data");
    return;
  }
  // Once more when the store was replaced meanwhile.
  std::shared_ptr<Store> rest;
  do {
    rest = std::make_shared<Store>(*store);
    const auto entry = FindSource(*rest, source);
    if (entry == rest->end()) {
      GAMEBAR_INFO("not find [%d]", source);
      return;
    }
    rest->erase(entry);
  } while (!m_Store.Replace(store, std::move(rest)));
  GAMEBAR_INFO("remove [%d] success", source);
}

void GameBarVAPManager::OnSourceListChange(
    const std::shared_ptr<std::multimap<int, CSourceItem>>& list) {
  const std::shared_ptr<const Store> store = m_Store.Load();
  if (store->empty() || list == nullptr) {
    GAMEBAR_INFO("no data");
    return;
  }
  std::vector<int> gone;
  for (const VAPSourceData& entry : *store) {
    if (!list->contains(entry.source)) {
      GAMEBAR_INFO("not find source [%d], need remove data", entry.source);
      gone.push_back(entry.source);
    }
  }
  if (gone.empty()) {
    GAMEBAR_INFO("no need to remove data");
    return;
  }
  for (const int source : gone) {
    RemoveVAPForSource(source);
  }
  SetVAPData();
}
