#include "item_log.h"

#include <json/json.h>

#include <algorithm>
#include <utility>

#include "base/json.h"
#include "support/wait.h"

namespace {

constexpr char kService[] = "org.nuvra.service.settings_service";
constexpr char kObject[] = "/org/nuvra/service/settings_service";
constexpr char kItems[] = "org.nuvra.Items1";

// Nothing that a test changes.
constexpr char kMarkItem[] = "support";
constexpr char kMarkApp[] = "org.example.mark";
constexpr char kMark[] = R"({"enabled":true,"menuID":"support"})";

std::string LineOf(const Json::Value& item) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, item);
}

}  // namespace

ItemLog::ItemLog(TelevisionSet& set)
    : m_Client(set.Bus().Address(), support::kPatience), m_Bus(set.Bus().Connect()) {
  bus::Check(
      sd_bus_match_signal(m_Bus.get(), nullptr, kService, kObject, kItems, nullptr, OnSignal, this),
      "match");
  // A daemon that answers knows what items were.
  m_Client.GetItemVisible(kMarkItem);
}

int ItemLog::OnSignal(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& log = *static_cast<ItemLog*>(self);
  const std::string member = sd_bus_message_get_member(message);
  const char* text = nullptr;
  bus::Check(sd_bus_message_read(message, "s", &text), "text");
  if (member != "Changed") {
    log.m_Lines.push_back(member + " " + text);
    return 0;
  }
  ++log.m_Broadcasts;
  const Json::Value body = base::ParseJson(text);
  for (const Json::Value& item : body["items"]) {
    log.m_Lines.push_back(LineOf(item));
  }
  return 0;
}

int ItemLog::OnAnswer(sd_bus_message* message, void* self, sd_bus_error*) {
  int type = 0;
  const char* body = nullptr;
  bus::Check(sd_bus_message_read(message, "is", &type, &body), "reply");
  static_cast<ItemLog*>(self)->m_Lines.push_back(base::ParseJson(body)["return_data"].asString());
  return 0;
}

void ItemLog::PostQuestion(const std::string& item) {
  const std::string body = R"({"method":"GetItemValue","data":{"menuID":")" + item + R"("}})";
  bus::Check(sd_bus_call_method_async(m_Bus.get(), nullptr, kService, kObject, "org.nuvra.Service1",
                                      "Request", OnAnswer, this, "is", 0, body.c_str()),
             "question");
}

bool ItemLog::TakeEndMark() {
  const auto mark = std::find(m_Lines.begin(), m_Lines.end(), kMark);
  if (mark == m_Lines.end()) {
    return false;
  }
  std::erase_if(m_Lines, [](const std::string& line) {
    return line.find(std::string("\"") + kMarkItem + "\"") != std::string::npos;
  });
  return true;
}

std::vector<std::string> ItemLog::Take(std::size_t count) {
  const bus::Deadline deadline(support::kPatience);
  while (m_Lines.size() < count) {
    bus::Check(bus::ProcessOrWait(m_Bus.get(), deadline), "no more announcements");
  }
  return std::exchange(m_Lines, {});
}

// What is announced is announced in order, so another change comes behind all of it.
std::vector<std::string> ItemLog::TakeAll() {
  m_Client.DisableItem(kMarkItem, kMarkApp);
  m_Client.EnableItem(kMarkItem, kMarkApp);
  const bus::Deadline deadline(support::kPatience);
  while (!TakeEndMark()) {
    bus::Check(bus::ProcessOrWait(m_Bus.get(), deadline), "the announcements do not end");
  }
  return std::exchange(m_Lines, {});
}

std::string Explain(TelevisionSet& set, const std::string& item) {
  const bus::Connection connection = set.Bus().Connect();
  bus::Error error;
  bus::Message reply;
  const int result = sd_bus_call_method(connection.get(), kService, kObject, kItems, "Explain",
                                        error.Out(), bus::Out(reply), "s", item.c_str());
  if (result < 0) {
    return error.Name() + ": " + error.Text();
  }
  const char* text = nullptr;
  bus::Check(sd_bus_message_read(reply.get(), "s", &text), "explanation");
  return text;
}
