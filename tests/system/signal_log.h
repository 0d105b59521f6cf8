#pragma once

#include <string>
#include <vector>

#include "settings/client.h"
#include "television_set.h"

// The signals of a set's service, from its construction on.
class SignalLog {
 public:
  explicit SignalLog(TelevisionSet& set);

  // The next `count` signals, each as its type and its body; fewer when no more came.
  std::vector<std::string> Take(std::size_t count);

  // All signals that the service has sent when this is called.
  std::vector<std::string> TakeAll();

 private:
  settings::Client m_Client;
  std::vector<std::string> m_Signals;
  settings::Subscription m_Subscription;
};
