#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "apps/app_error.h"
#include "apps/application_state.h"
#include "bus/bus.h"

namespace host {

// The process that owns an application's ID as bus name.
struct AppOwner {
  std::string connection;  // its unique name on the bus
  pid_t pid = 0;
};

using ExtraData = std::map<std::string, std::string>;

// Operates the applications of a set, through its bus. An `id` is that of an application. Every
// function throws AppError, also when it takes longer than the patience of the connection.
class AppOperator {
 public:
  // Connects to "session", "system" or a bus address. `patience` is at least 1 µs.
  AppOperator(const std::string& bus, std::chrono::microseconds patience);

  // The applications that the bus can start, and those that run.
  std::set<std::string> Installed();
  std::set<std::string> Running();

  // Nothing when the application is not running.
  std::optional<AppOwner> OwnerOf(const std::string& id);

  // Launches the application with these extra data, and returns when it took them.
  void Start(const std::string& id, const ExtraData& extraData);

  // Brings a running application into one of StatesToEnter, and returns when it is there.
  void Enter(const std::string& id, const std::string& state);

  // Ends the application, by SIGKILL or SIGTERM, and returns when its process has ended and the bus
  // knows.
  void Stop(const std::string& id, bool byForce);

 private:
  std::set<std::string> m_List(bus::Applications which);
  int m_Check(int result) const;
  AppOwner m_ExistingOwner(const std::string& id);
  bus::Message m_MakeCall(const std::string& id, const char* method);
  void m_Call(const std::string& id, const bus::Message& call);
  bool m_Owns(const std::string& id, const std::string& connection);
  void m_WaitForLossOf(const std::string& id, const std::string& connection,
                       const bus::Deadline& deadline);

  const std::string m_BusName;
  bus::Connection m_Bus;
  std::chrono::microseconds m_Patience;
};

// Throws AppError (kNotAnId) unless it can be the ID of an application.
void CheckApplicationId(const std::string& id);

}  // namespace host
