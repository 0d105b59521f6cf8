#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "bus/bus.h"

namespace setctl {

// The process that has an application's ID as bus name.
struct AppOwner {
  std::string connection;  // its unique name on the bus
  pid_t pid = 0;
};

using ExtraData = std::map<std::string, std::string>;

// What the bus of a set is asked about its applications. An `id` is that of an application. Every
// function throws tools::Failure, also when it takes longer than the patience of the connection.
class AppBus {
 public:
  // Connects to "session", "system" or a bus address. `patience` is at least 1 µs.
  AppBus(const std::string& bus, std::chrono::microseconds patience);

  // The applications that the bus can start, and those that run.
  std::set<std::string> Installed();
  std::set<std::string> Running();

  // Nothing when the application does not run.
  std::optional<AppOwner> OwnerOf(const std::string& id);

  // Launches the application with these extra data, and returns when it took them.
  void Activate(const std::string& id, const ExtraData& extraData);

  // Asks the application, which runs, for one of its actions, and returns when it is done.
  void ActivateAction(const std::string& id, const std::string& action,
                      const std::string& parameter);

  // Sends a signal to the owner and returns when its process has ended and the bus knows.
  void EndOwner(const std::string& id, const AppOwner& owner, int signal);

 private:
  std::set<std::string> m_Names(bool running);
  bus::Message m_MakeCall(const std::string& id, const char* method);
  void m_Call(const std::string& id, const bus::Message& call);
  bool m_Owns(const std::string& id, const std::string& connection);
  void m_WaitForLossOf(const std::string& id, const std::string& connection,
                       const bus::Deadline& deadline);

  bus::Connection m_Bus;
  std::chrono::microseconds m_Patience;
};

}  // namespace setctl
