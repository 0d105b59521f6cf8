// One application that stopped reading must not freeze the others, and none hears what is meant for
// another. That is a matter of the bus's limits and policy, so it is shown on the bus configuration
// alone, with signals of the service's form.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/private_bus.h"
#include "support/temp_directory.h"

namespace {

int Count(sd_bus_message*, void* counter, sd_bus_error*) {
  ++*static_cast<int*>(counter);
  return 0;
}

int CountRequest(sd_bus_message* message, void* counter, sd_bus_error*) {
  *static_cast<int*>(counter) +=
      sd_bus_message_is_method_call(message, "org.nuvra.Service1", "Request") > 0 ? 1 : 0;
  return 0;
}

void Subscribe(sd_bus* bus, int* counter) {
  ASSERT_GE(sd_bus_match_signal(bus, nullptr, nullptr, "/test", "org.nuvra.Service1", "Signal",
                                Count, counter),
            0);
}

// Whether the connection has seen `expected` signals before two seconds without any pass.
bool ReceiveUntil(sd_bus* bus, const int& counter, int expected) {
  while (counter < expected) {
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0 || (processed == 0 && sd_bus_wait(bus, 2'000'000) <= 0)) {
      return false;
    }
  }
  return true;
}

TEST(BusLimits, ASubscriberThatStopsReadingDoesNotFreezeTheOthers) {
  support::TempDirectory directory;
  support::PrivateBus bus(directory.Path());
  const bus::Connection sender = bus.Connect();
  const bus::Connection stuck = bus.Connect();
  const bus::Connection reader = bus.Connect();
  int stuckCount = 0;
  int readerCount = 0;
  Subscribe(stuck.get(), &stuckCount);
  Subscribe(reader.get(), &readerCount);

  // More in all than the bus lets any one sender have on its way.
  const std::string body(256 * 1024, 'x');
  constexpr int kSignals = 1000;
  for (int sent = 1; sent <= kSignals; ++sent) {
    ASSERT_GE(sd_bus_emit_signal(sender.get(), "/test", "org.nuvra.Service1", "Signal", "sis",
                                 "settings_service_signal", 3, body.c_str()),
              0);
    // Queues what the bus does not take at once; a frozen sender shows at the reader.
    while (sd_bus_process(sender.get(), nullptr) > 0) {
    }
    ASSERT_TRUE(ReceiveUntil(reader.get(), readerCount, sent)) << "frozen after " << sent;
  }
  EXPECT_EQ(readerCount, kSignals);
  EXPECT_EQ(stuckCount, 0);
}

// Each has its own messages, as clients have that do not read their replies.
TEST(BusLimits, ManyThatStopReadingDoNotFreezeTheirSender) {
  support::TempDirectory directory;
  support::PrivateBus bus(directory.Path());
  const bus::Connection sender = bus.Connect();
  const bus::Connection reader = bus.Connect();
  int readerCount = 0;
  Subscribe(reader.get(), &readerCount);
  std::vector<bus::Connection> stuck;
  const std::string body(256 * 1024, 'x');
  for (int client = 1; client <= 20; ++client) {
    stuck.push_back(bus.Connect());
    const char* name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(stuck.back().get(), &name), 0);
    for (int sent = 0; sent < 40; ++sent) {
      bus::Message message;
      ASSERT_GE(sd_bus_message_new_signal(sender.get(), bus::Out(message), "/test",
                                          "org.nuvra.Service1", "Reply"),
                0);
      ASSERT_GE(sd_bus_message_append(message.get(), "s", body.c_str()), 0);
      ASSERT_GE(sd_bus_send_to(sender.get(), message.get(), name, nullptr), 0);
      while (sd_bus_process(sender.get(), nullptr) > 0) {
      }
    }
    ASSERT_GE(sd_bus_emit_signal(sender.get(), "/test", "org.nuvra.Service1", "Signal", "sis",
                                 "settings_service_signal", 3, "{}"),
              0);
    while (readerCount < client) {
      ASSERT_GE(sd_bus_process(sender.get(), nullptr), 0);
      ASSERT_TRUE(ReceiveUntil(reader.get(), readerCount, client)) << "frozen by " << client;
    }
  }
}

TEST(BusLimits, NobodyHearsWhatIsMeantForAnother) {
  support::TempDirectory directory;
  support::PrivateBus bus(directory.Path());
  const bus::Connection eavesdropper = bus.Connect();
  const bus::Connection sender = bus.Connect();
  const bus::Connection receiver = bus.Connect();
  int overheard = 0;
  int received = 0;
  ASSERT_GE(sd_bus_call_method(eavesdropper.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "AddMatch", nullptr, nullptr, "s",
                               "eavesdrop=true,path='/test',interface='org.nuvra.Service1'"),
            0);
  ASSERT_GE(sd_bus_add_filter(eavesdropper.get(), nullptr, CountRequest, &overheard), 0);
  ASSERT_GE(sd_bus_add_filter(receiver.get(), nullptr, CountRequest, &received), 0);
  const char* to = nullptr;
  ASSERT_GE(sd_bus_get_unique_name(receiver.get(), &to), 0);
  bus::Message call;
  ASSERT_GE(sd_bus_message_new_method_call(sender.get(), bus::Out(call), to, "/test",
                                           "org.nuvra.Service1", "Request"),
            0);
  ASSERT_GE(sd_bus_send(sender.get(), call.get(), nullptr), 0);
  ASSERT_GE(sd_bus_flush(sender.get()), 0);
  ASSERT_TRUE(ReceiveUntil(receiver.get(), received, 1));
  // What the bus answers now comes behind what it gave to others before.
  ASSERT_GE(sd_bus_call_method(eavesdropper.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
            0);
  while (sd_bus_process(eavesdropper.get(), nullptr) > 0) {
  }
  EXPECT_EQ(overheard, 0);
}

}  // namespace
