#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>

namespace host {

class RequestQueue;

// Serves an sd-bus connection from the main loop: takes what arrives, sends what waits, and
// lets calls time out. What goes before messages (before_messages.h) is done first. Costs no
// wake-up while there is nothing to do. One at a time. Main-loop thread only.
class BusPump {
 public:
  // Keeps a reference to `bus`. `onLost` is called when the connection broke, with the negative
  // errno that says how; the pump does nothing from then on. It lets `requests` serve, as long as
  // it lives, what arrived on the connection and waits there.
  BusPump(sd_bus* bus, std::function<void(int error)> onLost, RequestQueue* requests = nullptr);
  ~BusPump();
  BusPump(const BusPump&) = delete;
  BusPump& operator=(const BusPump&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace host
