#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

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
  struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
  };
  struct MessageDropper {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
  };
  using Message = std::unique_ptr<sd_bus_message, MessageDropper>;

  std::set<std::string> m_Names(bool running);
  Message m_MakeCall(const std::string& id, const char* method);
  void m_Call(const std::string& id, const Message& call);
  bool m_Owns(const std::string& id, const std::string& connection);
  void m_WaitForLossOf(const std::string& id, const std::string& connection,
                       std::chrono::steady_clock::time_point end);

  std::unique_ptr<sd_bus, BusCloser> m_Bus;
  std::chrono::microseconds m_Patience;
};

}  // namespace setctl
