#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus/bus.h"

namespace host {

// Whose a connection to the bus is.
struct Caller {
  bool isKnown = false;       // whether the bus said it; user and groups count only then
  uid_t user = 0;             // the effective one when it connected
  std::vector<gid_t> groups;  // all of them; none when the bus does not know them
  bool hasLeft = false;       // the reason, if it is not known for that
};

// Who is behind the connections of a bus, as the bus says and nobody else. A connection has one
// answer as long as it lives, so each is asked about once. Main-loop thread only.
class Callers {
 public:
  using Listener = std::function<void(const std::string& connection)>;

  // Keeps a reference to `bus`. `onAnswer` is called for each connection that Ask asked about, once
  // Find finds it. On a bus that is not the system's but runs as the user of this process, which is
  // asked here, connections that are gone when the bus is asked count as that user's.
  Callers(sd_bus* bus, bool isSystemBus, Listener onAnswer);
  ~Callers();
  Callers(const Callers&) = delete;
  Callers& operator=(const Callers&) = delete;

  // Null while the bus has not answered. Valid until Forget.
  const Caller* Find(const std::string& connection) const;

  // Asks the bus, unless that is under way, and again while it does not answer. There must be a
  // main loop.
  void Ask(const std::string& connection);

  // To be called when the connection is gone, or its answer is to be asked for again. Ends a
  // question, too.
  void Forget(const std::string& connection);

 private:
  struct Question;

  static int OnAnswer(sd_bus_message* reply, void* question, sd_bus_error*);
  void Send(Question& question);
  void Note(const std::string& connection, Caller caller);

  sd_bus* const m_Bus;
  const Listener m_OnAnswer;
  const bool m_IsBusOfThisUser;
  std::map<std::string, Caller> m_Callers;
  std::map<std::string, std::unique_ptr<Question>> m_Questions;
};

}  // namespace host
