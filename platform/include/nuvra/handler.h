#pragma once

namespace Nuvra {

struct TCMEvent;  // a framework event; only the framework looks inside

// Receives framework events on the main-loop thread. The defaults do nothing.
class TCHandler {
 public:
  virtual ~TCHandler();

  virtual void t_OnMEvent(const TCMEvent* event);
  virtual void t_ClearMEvent();
};

}  // namespace Nuvra
