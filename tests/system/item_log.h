#pragma once

#include <string>
#include <vector>

#include "bus/bus.h"
#include "settings/client.h"
#include "television_set.h"

// What a set's service announces about items, from its construction on.
class ItemLog {
 public:
  explicit ItemLog(TelevisionSet& set);

  // The next lines, at least `count`. A line is a change of an item, as it stands in Changed, or
  // one LanguageChanged.
  std::vector<std::string> Take(std::size_t count);

  // Asks for the value of an item; the answer is a line, too, among the others as it came.
  void PostQuestion(const std::string& item);

  // Everything that is to be told about what happened before this is called.
  std::vector<std::string> TakeAll();

  // How many Changed came so far.
  int Broadcasts() const { return m_Broadcasts; }

 private:
  static int OnSignal(sd_bus_message* message, void* self, sd_bus_error*);
  static int OnAnswer(sd_bus_message* message, void* self, sd_bus_error*);
  bool TakeEndMark();

  settings::Client m_Client;
  bus::Connection m_Bus;
  std::vector<std::string> m_Lines;
  int m_Broadcasts = 0;
};

// What the service's Explain answers about an item, or "NAME: TEXT" of its error.
std::string Explain(TelevisionSet& set, const std::string& item);
