#include "service_test.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {

constexpr char kClient[] = "org.example.menu";

std::string Address(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

}  // namespace

ServiceTest::ServiceTest() {
  fake.SetFeature("com.velmora/featureconf/game_bar.support", false);
  fake.SetFeature("com.velmora/featureconf/outdoor_tv_product_image_support", false);
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
                     "] [message:" + Text(before) + "]\\n");
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
