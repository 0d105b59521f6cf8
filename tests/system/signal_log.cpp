#include "signal_log.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

SignalLog::SignalLog(TelevisionSet& set)
    : m_Client(set.Bus().Address(), support::kPatience),
      m_Subscription(m_Client.Subscribe([this](const settings::Signal& signal) {
        m_Signals.push_back(std::to_string(signal.type) + " " + signal.body);
      })) {}

std::vector<std::string> SignalLog::Take(std::size_t count) {
  m_Client.RunUntil([&] { return m_Signals.size() >= count; }, support::kPatience);
  const auto end = m_Signals.begin() + std::min(count, m_Signals.size());
  std::vector<std::string> taken(m_Signals.begin(), end);
  m_Signals.erase(m_Signals.begin(), end);
  return taken;
}

// The answer to a question asked now comes behind all of them.
std::vector<std::string> SignalLog::TakeAll() {
  const std::size_t before = m_Signals.size();
  m_Client.GetItemVisibleAsync("", ::getpid(), -1);
  std::vector<std::string>::iterator own;
  const auto arrived = [&] {
    own = std::find_if(m_Signals.begin() + before, m_Signals.end(), [](const std::string& signal) {
      return signal.find(R"("callback":-1)") != std::string::npos;
    });
    return own != m_Signals.end();
  };
  if (m_Client.RunUntil(arrived, support::kPatience)) {
    m_Signals.erase(own);
  }
  return std::exchange(m_Signals, {});
}
