// A stand-in for the settings service: the same bus name, object and interface, some items, and
// methods that make it misbehave on demand. As a program of its own it can be killed, started
// again, and started by the bus.

#include <json/json.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "bus/bus.h"
#include "fake_menu.h"

namespace {

constexpr char kBusName[] = "org.nuvra.service.settings_service";
constexpr char kObject[] = "/org/nuvra/service/settings_service";
constexpr char kInterface[] = "org.nuvra.Service1";
constexpr char kItemsInterface[] = "org.nuvra.Items1";

struct Item {
  std::string value;
  std::string name;
};

std::map<std::string, Item> g_Items = {
    {"picturemode", {"standard", "Standard"}},
    {"brightness", {"25", "25"}},
    {"nameless", {"bare", ""}},
    {"language", {"lang0", "lang0"}},
    {"[boxed]", {"held", "Held"}},
    {"hostile",
     {"a\x1b[2Jb\n"
      "c\xc2\x9b",
      "\x07"
      "Bell"}},
    {"greeting", {"grüße", "Grüße"}},
};

using bus::Check;

std::string Write(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string Filled(bool success, const Json::Value& result) {
  Json::Value reply;
  reply["connect_server"] = true;
  reply["call_api_success"] = success;
  reply["return_data"] = result;
  return Write(reply);
}

void Emit(sd_bus* bus, const char* destination, int type, const std::string& body) {
  bus::Message signal;
  Check(sd_bus_message_new_signal(bus, bus::Out(signal), kObject, kInterface, "Signal"),
        "new signal");
  Check(sd_bus_message_append(signal.get(), "sis", "settings_service_signal", type, body.c_str()),
        "append");
  Check(sd_bus_send_to(bus, signal.get(), destination, nullptr), "send");
}

void EmitOfItems(sd_bus* bus, const char* destination, const char* member,
                 const std::string& text) {
  bus::Message signal;
  Check(sd_bus_message_new_signal(bus, bus::Out(signal), kObject, kItemsInterface, member),
        "new signal");
  Check(sd_bus_message_append(signal.get(), "s", text.c_str()), "append");
  Check(sd_bus_send_to(bus, signal.get(), destination, nullptr), "send");
}

// What can be announced of each item.
using Announceable = std::map<std::string, Json::Value>;

Announceable Now() {
  Announceable all;
  for (const auto& [id, states] : fake_menu::AllStates()) {
    all[id]["visible"] = states.visible;
    all[id]["enabled"] = states.enabled;
  }
  for (const auto& [id, item] : g_Items) {
    all[id]["value"] = item.value;
    all[id]["valueName"] = item.name;
  }
  return all;
}

// Announces what is another than before.
void AnnounceSince(sd_bus* bus, const Announceable& before) {
  Json::Value items(Json::arrayValue);
  for (const auto& [id, now] : Now()) {
    Json::Value changed;
    for (const std::string& member : now.getMemberNames()) {
      if (now[member] != before.at(id)[member]) {
        changed[member] = now[member];
      }
    }
    if (!changed.isNull()) {
      changed["menuID"] = id;
      items.append(changed);
    }
  }
  if (!items.empty()) {
    Json::Value body;
    body["items"] = items;
    EmitOfItems(bus, nullptr, "Changed", Write(body));
  }
}

// What becomes of a request: a reply, or an error with a name.
struct Outcome {
  std::string body;
  std::string error;
};

// How many messages came that asked something, and whether lists and explanations are understood.
int g_Messages = 0;
bool g_KnowsLists = true;

// Announced when the next list is answered, right before its answers.
std::string g_AnnouncedBeforeAnswers;

Json::Value Parse(const std::string& body) {
  Json::Value request;
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(body.data(), body.data() + body.size(), &request, nullptr) ? request
                                                                                  : Json::Value();
}

const std::set<std::string> kChanging = {"SetItemValue", "Hide",
                                         "DisableItem",  "DisableItemsByList",
                                         "EnableItem",   "RemoveDisabledItemsByAppname"};

Outcome Change(sd_bus* bus, const Json::Value& request) {
  const Json::Value& data = request["data"];
  const std::string item = data["menuID"].asString();
  if (request["method"] == "SetItemValue") {
    const bool taken = g_Items.count(item) != 0 && data["Value"] != "refused";
    if (taken && !data["PreViewFlag"].asBool()) {
      g_Items[item] = {data["Value"].asString(), data["Value"].asString()};
    }
    return {Filled(taken, taken), ""};
  }
  if (request["method"] == "Hide") {
    fake_menu::Hide(item, data["hidden"].asBool());
    return {R"({"return_data":""})", ""};
  }
  const auto send = [&](int signalType, const Json::Value& signal) {
    Emit(bus, nullptr, signalType, Write(signal));
  };
  return {Write(fake_menu::Answer(request, send).value()), ""};
}

Outcome Serve(sd_bus* bus, const char* sender, const std::string& body) {
  const Json::Value request = Parse(body);
  if (!request.isObject()) {
    return {"the body is no JSON object", "org.nuvra.Error.InvalidMessage"};
  }
  const std::string method = request["method"].asString();
  const Json::Value& data = request["data"];
  const std::string item = data["menuID"].asString();
  const bool known = g_Items.count(item) != 0;

  if (kChanging.count(method) != 0) {
    const Announceable before = Now();
    const Outcome outcome = Change(bus, request);
    AnnounceSince(bus, before);
    return outcome;
  }
  if (method == "GetItemValue") {
    return {Filled(known, known ? g_Items[item].value : ""), ""};
  }
  if (method == "GetItemValueName") {
    return {Filled(known, known ? g_Items[item].name : ""), ""};
  }
  const auto send = [&](int signalType, const Json::Value& signal) {
    Emit(bus, nullptr, signalType, Write(signal));
  };
  if (const auto answer = fake_menu::Answer(request, send)) {
    return {Write(*answer), ""};
  }
  if (method == "Echo") {
    return {body, ""};
  }
  if (method == "Error") {
    return {"as you wish", data["name"].asString()};
  }
  if (method == "Garbage") {
    return {data["reply"].asString(), ""};
  }
  if (method == "Vanish") {
    _exit(1);
  }
  if (method == "Messages") {
    Json::Value count;
    count["messages"] = g_Messages;
    return {Write(count), ""};
  }
  if (method == "ForgetLists") {
    g_KnowsLists = false;
  }
  if (method == "Emit") {
    for (int number = 0; number < data["count"].asInt(); ++number) {
      Json::Value signal;
      signal["number"] = number;
      Emit(bus, nullptr, 3, Write(signal));
    }
  }
  if (method == "EmitText") {
    Emit(bus, nullptr, 1, data["text"].asString());
  }
  if (method == "Whisper") {
    Emit(bus, sender, 9, "{}");
  }
  if (method == "Announce") {
    EmitOfItems(bus, nullptr, "Changed", data["text"].asString());
  }
  if (method == "AnnounceBeforeAnswers") {
    g_AnnouncedBeforeAnswers = data["text"].asString();
  }
  if (method == "Speak") {
    fake_menu::SetEnding(data["ending"].asString());
    EmitOfItems(bus, nullptr, "LanguageChanged", data["language"].asString());
  }
  return {R"({"return_data":""})", ""};
}

int ServeRequest(sd_bus_message* message) {
  int type = 0;
  const char* text = nullptr;
  Check(sd_bus_message_read(message, "is", &type, &text), "read");
  const std::string body = text;
  const Json::Value request = Parse(body);
  const Json::Value method = request.isObject() ? request["method"] : Json::Value();
  if (method == "OtherForm") {
    return sd_bus_reply_method_return(message, "s", "not as agreed");
  }
  if (method == "Hang") {
    return 1;
  }
  const Outcome outcome =
      Serve(sd_bus_message_get_bus(message), sd_bus_message_get_sender(message), body);
  return outcome.error.empty() ? sd_bus_reply_method_return(message, "is", 0, outcome.body.c_str())
                               : sd_bus_reply_method_errorf(message, outcome.error.c_str(), "%s",
                                                            outcome.body.c_str());
}

// A request "Hang" leaves the list without an answer, "OtherForm" makes the answer something else,
// and behind "Cut" nothing is answered any more.
int ServeRequests(sd_bus_message* message) {
  bus::Message reply;
  Check(sd_bus_message_new_method_return(message, bus::Out(reply)), "new reply");
  Check(sd_bus_message_open_container(reply.get(), 'a', "(is)"), "open");
  Check(sd_bus_message_enter_container(message, 'a', "(is)"), "enter");
  int type = 0;
  const char* text = nullptr;
  bool isCut = false;
  while (!isCut && Check(sd_bus_message_read(message, "(is)", &type, &text), "read") > 0) {
    const Json::Value request = Parse(text);
    const Json::Value method = request.isObject() ? request["method"] : Json::Value();
    if (method == "Hang") {
      return 1;
    }
    if (method == "OtherForm") {
      return sd_bus_reply_method_return(message, "s", "not as agreed");
    }
    isCut = method == "Cut";
    Outcome outcome =
        Serve(sd_bus_message_get_bus(message), sd_bus_message_get_sender(message), text);
    if (!outcome.error.empty()) {
      Json::Value error;
      error["error"] = outcome.error;
      error["message"] = outcome.body;
      outcome.body = Write(error);
    }
    Check(sd_bus_message_append(reply.get(), "(is)", outcome.error.empty() ? 0 : -1,
                                outcome.body.c_str()),
          "append");
  }
  Check(sd_bus_message_close_container(reply.get()), "close");
  if (!g_AnnouncedBeforeAnswers.empty()) {
    EmitOfItems(sd_bus_message_get_bus(message), nullptr, "Changed",
                std::exchange(g_AnnouncedBeforeAnswers, ""));
  }
  return sd_bus_send(nullptr, reply.get(), nullptr);
}

// An explanation of every kind of reason, or of none.
int Explain(sd_bus_message* message) {
  const char* item = nullptr;
  Check(sd_bus_message_read(message, "s", &item), "read");
  const std::map<std::string, std::string> explanations = {
      {"picturemode",
       R"({"menuID":"picturemode","visible":true,"enabled":false,"reasons":[)"
       R"({"of":"enabled","item":"brightness","is":"25","needed":["30","40"]},)"
       R"({"of":"enabled","key":"db/menu/x","is":null,"needed":[1]},)"
       R"({"of":"enabled","feature":"com.velmora/x","is":false,"needed":[true]},)"
       R"({"of":"enabled","source":"memory/set/source/type","is":"tv","not":["tv","av"]},)"
       R"({"of":"enabled","speaker":"memory/set/speaker","is":"tvspeaker","needed":["receiver"]},)"
       R"({"of":"enabled","app":"org.example.game"}]})"},
      {"brightness", R"({"menuID":"brightness","visible":true,"enabled":true,"reasons":[)"
                     R"({"of":"visible","group":"expert"}]})"},
      {"expert", R"({"menuID":"expert","visible":false,"enabled":true,"reasons":[)"
                 R"({"of":"visible","item":"greeting","is":"a\u001b","needed":["b"]}]})"},
      {"picture", R"({"menuID":"picture","visible":true,"enabled":true,"reasons":[]})"},
      {"greeting", "oops"},
  };
  const auto found = explanations.find(item);
  return found != explanations.end()
             ? sd_bus_reply_method_return(message, "s", found->second.c_str())
             : sd_bus_reply_method_errorf(message, "org.nuvra.Error.NoSuchItem", "no such item");
}

// Not a vtable's method: that would hold every reply to one form.
int OnMessage(sd_bus_message* message, void*, sd_bus_error*) {
  if (g_KnowsLists && sd_bus_message_is_method_call(message, kItemsInterface, "Explain") > 0) {
    return Explain(message);
  }
  const bool isList = sd_bus_message_is_method_call(message, kInterface, "RequestAll") > 0;
  if ((isList && !g_KnowsLists) ||
      (!isList && sd_bus_message_is_method_call(message, kInterface, "Request") <= 0)) {
    return 0;
  }
  ++g_Messages;
  const int result = isList ? ServeRequests(message) : ServeRequest(message);
  return result < 0 ? result : 1;
}

// An application lives while it owns its name.
int OnNameOwnerChanged(sd_bus_message* message, void*, sd_bus_error*) {
  const char* name = nullptr;
  const char* newOwner = nullptr;
  Check(sd_bus_message_read(message, "sss", &name, nullptr, &newOwner), "read");
  if (*newOwner == '\0') {
    const Announceable before = Now();
    fake_menu::Release(name);
    AnnounceSince(sd_bus_message_get_bus(message), before);
  }
  return 0;
}

int Serve(const std::string& address, const std::string& object) {
  bus::Connection connection;
  Check(bus::Connect(address, std::nullopt, connection), "connect");
  sd_bus* const bus = connection.get();
  Check(sd_bus_add_object(bus, nullptr, object.c_str(), OnMessage, nullptr), "object");
  Check(
      sd_bus_match_signal(bus, nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                          "org.freedesktop.DBus", "NameOwnerChanged", OnNameOwnerChanged, nullptr),
      "match");
  Check(sd_bus_request_name(bus, kBusName, 0), "name");
  std::cout << "ready" << std::endl;
  const bus::Deadline never(std::nullopt);
  while (bus::ProcessOrWait(bus, never) >= 0) {
  }
  // The end of the bus is the end of the service.
  return 0;
}

}  // namespace

// fake_settings_service [ADDRESS [OBJECT]]; without an address on the bus that started it.
int main(int argc, char** argv) {
  const char* starter = std::getenv("DBUS_STARTER_ADDRESS");
  const std::string address = argc > 1 ? argv[1] : starter != nullptr ? starter : "";
  try {
    return Serve(address, argc > 2 ? argv[2] : kObject);
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << std::endl;
    return 1;
  }
}
