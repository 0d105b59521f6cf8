#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>

namespace host {

class RequestQueue;

// Serves an sd-bus connection from the main loop: takes what arrives, sends what waits, and lets
// calls time out. Does the work of before_messages.h first. Costs no wake-up while there is nothing
// to do. One at a time. Main-loop thread only.
class BusPump {
 public:
  // Keeps a reference to `bus`. `onLost` is called when the connection breaks, with the negative
  // errno that says how; from then on the pump does nothing. While it lives, it makes `requests`
  // serve what arrived on the connection and waits there.
  BusPump(sd_bus* bus, std::function<void(int error)> onLost, RequestQueue* requests = nullptr);
  ~BusPump();
  BusPump(const BusPump&) = delete;
  BusPump& operator=(const BusPump&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace host
