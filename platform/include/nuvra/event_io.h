#pragma once

namespace Nuvra {

// The part of a framework object that is tied to the main loop. Timers and messages are delivered
// through it. It must outlive everything that was created with it.
class TCEventIO {
 public:
  TCEventIO() = default;
  TCEventIO(const TCEventIO&) = delete;
  TCEventIO& operator=(const TCEventIO&) = delete;

 protected:
  ~TCEventIO() = default;
};

}  // namespace Nuvra
