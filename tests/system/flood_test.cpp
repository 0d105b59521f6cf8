#include <gtest/gtest.h>
#include <signal.h>

#include <cstdint>
#include <string>

#include "bus/bus.h"
#include "support/wait.h"
#include "system_test.h"

namespace {

constexpr char kService[] = "org.nuvra.service.settings_service";

// One connection, and what became of what it sent.
class Sender {
 public:
  explicit Sender(const support::PrivateBus& bus) : m_Bus(bus.Connect()) {}

  void SendList(int requests) {
    const bus::Message call = NewCall("RequestAll");
    bus::Check(sd_bus_message_open_container(call.get(), 'a', "(is)"), "open");
    for (int count = 0; count < requests; ++count) {
      bus::Check(sd_bus_message_append(call.get(), "(is)", 0, "{}"), "append");
    }
    bus::Check(sd_bus_message_close_container(call.get()), "close");
    Send(call.get());
  }

  void SendQuestion() {
    const bus::Message call = NewCall("Request");
    bus::Check(
        sd_bus_message_append(call.get(), "is", 0,
                              R"({"method":"GetItemValue","data":{"menuID":"picturemode"}})"),
        "append");
    Send(call.get());
  }

  // The bus answers in order: when this returns it has all that was sent.
  void AwaitBus() { bus::Check(bus::HasOwner(m_Bus.get(), kService), "bus"); }

  void Own(const char* name) { bus::Check(sd_bus_request_name(m_Bus.get(), name, 0), name); }

  void Process() {
    while (sd_bus_process(m_Bus.get(), nullptr) > 0) {
    }
  }

  int Served() const { return m_Served; }
  int Refused() const { return m_Refused; }
  const std::string& OtherError() const { return m_OtherError; }

 private:
  bus::Message NewCall(const char* method) {
    bus::Message call;
    bus::Check(sd_bus_message_new_method_call(m_Bus.get(), bus::Out(call), kService,
                                              "/org/nuvra/service/settings_service",
                                              "org.nuvra.Service1", method),
               "call");
    return call;
  }

  void Send(sd_bus_message* call) {
    bus::Check(sd_bus_call_async(m_Bus.get(), nullptr, call, OnAnswer, this, UINT64_MAX), "send");
  }

  static int OnAnswer(sd_bus_message* message, void* sender, sd_bus_error*) {
    Sender& self = *static_cast<Sender*>(sender);
    if (sd_bus_message_is_method_error(message, nullptr) <= 0) {
      ++self.m_Served;
    } else if (sd_bus_message_is_method_error(message,
                                              "org.freedesktop.DBus.Error.LimitsExceeded") > 0) {
      ++self.m_Refused;
    } else {
      self.m_OtherError = sd_bus_message_get_error(message)->name;
    }
    return 0;
  }

  const bus::Connection m_Bus;
  int m_Served = 0;
  int m_Refused = 0;
  std::string m_OtherError;
};

class Flood : public SystemTest {};

// Less than the bus keeps for the service.
TEST_F(Flood, IsRefusedSoThatAQuestionBehindItAndBehindAnApplicationDoesNotWaitForIt) {
  constexpr int kLists = 400;
  Sender flooder(m_Set.Bus());
  Sender application(m_Set.Bus());
  Sender bystander(m_Set.Bus());
  m_Set.Daemon().Signal(SIGSTOP);
  for (int count = 0; count < kLists; ++count) {
    flooder.SendList(1024);
  }
  flooder.AwaitBus();
  application.Own("org.example.film");
  bystander.SendQuestion();
  bystander.AwaitBus();
  m_Set.Daemon().Signal(SIGCONT);

  EXPECT_TRUE(support::WaitUntil([&] {
    flooder.Process();
    bystander.Process();
    return bystander.Served() == 1;
  })) << bystander.Refused()
      << bystander.OtherError();
  EXPECT_LT(flooder.Served(), kLists / 2);
  EXPECT_TRUE(support::WaitUntil([&] {
    flooder.Process();
    return flooder.Served() + flooder.Refused() == kLists;
  })) << flooder.Served()
      << ' ' << flooder.Refused() << ' ' << flooder.OtherError();
  EXPECT_GE(flooder.Served(), 4);
  EXPECT_GT(flooder.Refused(), kLists / 2);

  const int served = flooder.Served();
  flooder.SendQuestion();
  EXPECT_TRUE(support::WaitUntil([&] {
    flooder.Process();
    return flooder.Served() == served + 1;
  })) << flooder.Refused();
}

}  // namespace
