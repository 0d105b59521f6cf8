#include "fake_menu.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

namespace fake_menu {
namespace {

using Names = std::vector<std::string>;

struct Item {
  std::string name;
  std::string parent;
  Names children;
  bool visible = true;
  bool enabled = true;
};

std::map<std::string, Item> Items() {
  std::map<std::string, Item> items = {
      {"picture", {"Picture", "", {"picturemode", "expert"}}},
      {"picturemode", {"Picture Mode", "picture", {}, true, false}},
      {"expert", {"Expert Settings", "picture", {"brightness"}, false, true}},
      {"brightness", {"Brightness", "expert", {}}},
      {"reset", {"Reset", "picture", {}}},
      {"language", {"Language", "", {}}},
      {"greeting", {"Gruß\x1b[2J", "", {}}},
      {"circle", {"Circle", "", {"circle"}}},
      {"unreadable", {"Unreadable", "", {}}},
  };
  // As many levels as a catalogue can have.
  for (int level = 0; level < 499; ++level) {
    const auto id = [](int of) { return "level" + std::to_string(of); };
    items[id(level)] = {"Level", level > 0 ? id(level - 1) : "",
                        level < 498 ? Names{id(level + 1)} : Names{}};
  }
  return items;
}

const std::map<std::string, Item> kItems = Items();
const Names kTop = {"picture", "greeting"};

std::map<std::string, Names> g_Disablers;

// Those that are hidden but were not, or the other way round.
std::set<std::string> g_Turned;

std::string g_Ending;

// Whoever has this name is refused.
constexpr char kRefused[] = "org.example.refused";

Json::Value Filled(bool success, const Json::Value& result) {
  Json::Value reply;
  reply["connect_server"] = true;
  reply["call_api_success"] = success;
  reply["return_data"] = result;
  return reply;
}

Json::Value List(const Names& names) {
  Json::Value array(Json::arrayValue);
  for (const std::string& name : names) {
    array.append(name);
  }
  return Filled(!names.empty(), names.empty() ? "" : array.toStyledString());
}

bool IsEnabled(const std::string& id) { return kItems.at(id).enabled && g_Disablers[id].empty(); }

bool IsVisible(const std::string& id) { return kItems.at(id).visible == (g_Turned.count(id) == 0); }

Names ValuesOf(const std::string& id) {
  Names values;
  if (id == "picturemode") {
    values = {"standard", "movie"};
  } else if (id == "unreadable") {
    values = {"off", "on"};
  }
  for (int number = 0; id == "language" && number < 30; ++number) {
    values.push_back("lang" + std::to_string(number));
  }
  return values;
}

bool OnPath(const std::string& id, bool (*state)(const std::string&)) {
  const std::string& parent = kItems.at(id).parent;
  return state(id) && (parent.empty() || OnPath(parent, state));
}

std::string Path(const std::string& id) {
  const std::string& parent = kItems.at(id).parent;
  return parent.empty() ? id : Path(parent) + "/" + id;
}

void Disable(const std::string& id, const std::string& app) {
  Names& apps = g_Disablers[id];
  const bool isNew = std::find(apps.begin(), apps.end(), app) == apps.end();
  if (kItems.count(id) != 0 && app != kRefused && isNew) {
    apps.push_back(app);
  }
}

void Enable(const std::string& id, const std::string& app) {
  Names& apps = g_Disablers[id];
  apps.erase(std::remove(apps.begin(), apps.end(), app), apps.end());
}

Names Disabled() {
  Names disabled;
  for (const auto& [id, apps] : g_Disablers) {
    if (!apps.empty()) {
      disabled.push_back(id);
    }
  }
  return disabled;
}

// The array of these two methods is there even when it is empty.
Json::Value Record(bool known, const Names& names) {
  Json::Value reply = List(names);
  if (names.empty()) {
    reply = Filled(known, known ? "[]\n" : "");
  }
  return reply;
}

// What is asked of an item that exists.
std::optional<Json::Value> AnswerFor(const std::string& id, const std::string& method,
                                     const std::string& value) {
  const Item& item = kItems.at(id);
  const bool hasValue = id == "picturemode" && (value == "standard" || value == "movie");
  if (method == "GetItemDisplayName") return Filled(true, item.name + g_Ending);
  if (method == "GetItemDisplayID") return Filled(true, "MENU_ITEM");
  if (method == "GetItemPath") return Filled(true, Path(id));
  if (method == "GetItemVisible") return Filled(true, IsVisible(id));
  if (method == "GetItemEnable") return Filled(true, IsEnabled(id));
  if (method == "GetItemPathVisible") return Filled(true, OnPath(id, IsVisible));
  if (method == "GetItemPathEnable") return Filled(true, OnPath(id, IsEnabled));
  if (method == "GetItemDataVisible") return Filled(hasValue, value == "movie");
  if (method == "GetItemDataEnable") return Filled(hasValue, value == "standard");
  if (method == "GetItemChildList") return List(item.children);
  if (method == "GetItemDataList") {
    return List(ValuesOf(id));
  }
  if (method == "IsItemEnabled") return Filled(true, g_Disablers[id].empty());
  return std::nullopt;
}

Json::Value Range(bool has) {
  Json::Value reply = Filled(has, "");
  reply["return_min"] = has ? -0.5 : 0;
  reply["return_max"] = has ? 50.0 : 0;
  reply["return_step"] = has ? 0.5 : 0;
  return reply;
}

// Answers twice: as somebody else is answered, who asked at the same time, and as the asker is.
void SendAnswer(int type, bool answer, const Json::Value& request, const Send& send) {
  Json::Value body;
  body["menuID"] = request["data"]["menuID"];
  body["callback"] = request["callback"];
  body["pid"] = request["pid"].asInt() + 1;
  body["return_data"] = !answer;
  send(type, body);
  body["pid"] = request["pid"];
  body["return_data"] = answer;
  send(type, body);
}

// Whether it was such a request.
bool Change(const std::string& method, const Json::Value& data) {
  const std::string item = data["menuID"].asString();
  const std::string app = data["appName"].asString();
  if (method == "DisableItem") {
    Disable(item, app);
  } else if (method == "EnableItem") {
    Enable(item, app);
  } else if (method == "DisableItemsByList") {
    for (const Json::Value& each : data["menuIDList"]) {
      Disable(each.asString(), app);
    }
  } else if (method == "RemoveDisabledItemsByAppname") {
    Release(app);
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::map<std::string, States> AllStates() {
  std::map<std::string, States> states;
  for (const auto& [id, item] : kItems) {
    states[id] = {IsVisible(id), IsEnabled(id)};
  }
  return states;
}

void Hide(const std::string& item, bool hidden) {
  if (kItems.at(item).visible == hidden) {
    g_Turned.insert(item);
  } else {
    g_Turned.erase(item);
  }
}

void SetEnding(const std::string& ending) { g_Ending = ending; }

void Release(const std::string& app) {
  for (const std::string& id : Disabled()) {
    Enable(id, app);
  }
}

std::optional<Json::Value> Answer(const Json::Value& request, const Send& send) {
  const std::string method = request["method"].asString();
  const Json::Value& data = request["data"];
  const std::string item = data["menuID"].asString();
  const bool known = kItems.count(item) != 0;
  Json::Value nothing;
  nothing["return_data"] = "";

  if (Change(method, data)) return nothing;
  if (method == "GetItemVisibleAsync") {
    SendAnswer(1, known && IsVisible(item), request, send);
    return nothing;
  }
  if (method == "GetItemPathEnableAsync") {
    SendAnswer(2, known && OnPath(item, IsEnabled), request, send);
    return nothing;
  }
  if (method == "GetDisablerAppNamesByMenuId") {
    return Record(known, known ? g_Disablers[item] : Names{});
  }
  if (method == "GetDisabledItemsList") return Record(true, Disabled());
  if (method == "GetItemMinMaxStepValue") return Range(item == "brightness");
  if (method == "GetItemChildList" && item.empty()) return List(kTop);
  // Another item stands in for an unknown one, to learn whether it is such a method.
  const std::optional<Json::Value> answer =
      AnswerFor(known ? item : "picture", method, data["Value"].asString());
  return answer && !known ? Filled(false, "") : answer;
}

}  // namespace fake_menu
