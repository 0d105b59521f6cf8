#include "service_test.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "SettingsServiceCommand.h"

namespace {

constexpr char kClient[] = "org.example.menu";

std::string Address(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

// The text of a body as it appears in a log line of the trace.
std::string Logged(const Json::Value& body) {
  std::string logged;
  for (const char c : Text(body)) {
    logged += c == '\\' ? "\\\\" : std::string(1, c);
  }
  return logged;
}

}  // namespace

ServiceTest::ServiceTest() {
  fake.SetFeature("com.velmora/featureconf/game_bar.support", false);
  fake.SetFeature("com.velmora/featureconf/outdoor_tv_product_image_support", false);
  fake.Name(reinterpret_cast<const void*>(SettingsServiceCommand::AppContextEventCB),
            "AppContextEventCB");
  fake.TakeTrace();
}

std::string ServiceTest::Send(const std::string& request) {
  Nuvra::TCMessage reply;
  Send(request, reply);
  return Text(reply.body);
}

void ServiceTest::Send(const std::string& request, Nuvra::TCMessage& reply) {
  Nuvra::TCMessage message;
  message.body = Parsed(request);
  const Json::Value before = message.body;
  Let("reply", Address(&reply));
  Let("request", "I SettingsService IfMessageReceived | IfMessageReceived!! message: [from:" +
                     std::string(kClient) + "] [rsp:" + Address(&reply) +
                     "] [message:" + Logged(before) + "]\\n");
  EXPECT_TRUE(service.IfMessageReceived(kClient, &message, &reply, nullptr));
  EXPECT_EQ(message.body, before) << "the request was changed";
}

CreatedServiceTest::CreatedServiceTest() {
  EXPECT_TRUE(service.t_OnCreate());
  fake.TakeTrace();
}

std::string Text(const Json::Value& body) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, body);
}

Json::Value Parsed(const std::string& text) {
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    throw std::invalid_argument("not JSON: " + text + ": " + errors);
  }
  return value;
}

std::string Request(const std::string& method, const std::string& data) {
  return R"({"data":)" + data + R"(,"method":")" + method + "\"}";
}

std::string SuccessWith(const Json::Value& result) {
  return R"({"call_api_success":true,"connect_server":true,"return_data":)" + Text(result) + "}";
}

std::exception_ptr JsonException() { return std::make_exception_ptr(Json::RuntimeError("broken")); }

std::exception_ptr OtherException() {
  return std::make_exception_ptr(std::runtime_error("broken"));
}
