#pragma once

#include <functional>

namespace host {

// Work done before every message of the service's bus, so that what happened before a request was
// sent is known when the request is served. `catchUp` runs on the main loop when the loop begins,
// and whenever a message was read and is about to be served, as long as this object lives; it is
// quick when there is nothing to do. An exception that leaves it is logged and goes no further. It
// must not destroy a BeforeMessages. Main-loop thread only.
class BeforeMessages {
 public:
  explicit BeforeMessages(std::function<void()> catchUp);
  ~BeforeMessages();
  BeforeMessages(const BeforeMessages&) = delete;
  BeforeMessages& operator=(const BeforeMessages&) = delete;

 private:
  friend void CatchUpBeforeMessage();
  const std::function<void()> m_CatchUp;
};

// Does all that work, in the order of registration.
void CatchUpBeforeMessage();

}  // namespace host
