// One application that stopped reading must not freeze the others. That is a matter of the bus's
// limits, so it is shown on the bus configuration alone, with signals of the service's form.

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include "support/private_bus.h"
#include "support/temp_directory.h"

namespace {

using Connection = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;

Connection Connect(const std::string& address) {
  sd_bus* bus = nullptr;
  EXPECT_GE(sd_bus_new(&bus), 0);
  EXPECT_GE(sd_bus_set_address(bus, address.c_str()), 0);
  EXPECT_GE(sd_bus_set_bus_client(bus, 1), 0);
  EXPECT_GE(sd_bus_start(bus), 0);
  return Connection(bus, sd_bus_flush_close_unref);
}

int Count(sd_bus_message*, void* counter, sd_bus_error*) {
  ++*static_cast<int*>(counter);
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
  Connection sender = Connect(bus.Address());
  Connection stuck = Connect(bus.Address());
  Connection reader = Connect(bus.Address());
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

}  // namespace
