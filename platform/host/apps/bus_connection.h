#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace host {

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusConnection = std::unique_ptr<sd_bus, BusCloser>;

// Opens a connection to the set's bus in `connection`. Waits at most two seconds, and so does
// every call that is made on it. Returns 0 or a negative errno, `connection` untouched.
int Connect(BusConnection& connection);

// Handles all messages that arrived and hands all that were sent to the bus, within two seconds.
// Returns 0 or a negative errno.
int Settle(sd_bus* bus);

}  // namespace host
