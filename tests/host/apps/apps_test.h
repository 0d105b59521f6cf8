#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app_control.h"
#include "app_manager.h"
#include "framework/bus_pump.h"
#include "framework/name_owners.h"
#include "framework/service_bus.h"
#include "support/private_bus.h"
#include "support/process.h"
#include "support/temp_directory.h"

// Applications that are installed in every test.
inline const std::string kGameBar = "com.velmora.tv.gamebar";
inline const std::string kDashed = "com.velmora.photo-frame";
inline const std::string kMute = "com.velmora.mute";          // never reads what it is sent
inline const std::string kNameless = "com.velmora.nameless";  // starts but never takes its name
inline const std::string kBroken = "com.velmora.broken";      // its program does not exist
inline const std::string kSwarm = "com.velmora.swarm";        // becomes many, see kSwarmSize
inline constexpr int kSwarmSize = 200;

// One call of the callback of app_manager.h.
struct AppEvent {
  app_context_event_e kind;
  std::string appId;

  bool operator==(const AppEvent&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const AppEvent& event);

inline AppEvent Launched(const std::string& appId) { return {APP_CONTEXT_EVENT_LAUNCHED, appId}; }
inline AppEvent Terminated(const std::string& appId) {
  return {APP_CONTEXT_EVENT_TERMINATED, appId};
}

using ExtraData = std::map<std::string, std::string>;

// A launch request from its creation to its end; the result of sending it. A failure of any
// other step fails the test.
int Launch(const std::string& appId, const ExtraData& extraData = {});

// What this process has logged so far.
std::string LogText();

// Another client of the present test's bus.
class BusClient {
 public:
  BusClient();

  // The names that are owned now.
  std::vector<std::string> Names() const;
  bool IsOwned(const std::string& name) const;

  // Takes a name that nobody has, or that its owner lets go; gives it back.
  void Own(const std::string& name);
  void Release(const std::string& name);

  // Claims, to one connection alone, that a name went from one owner to another.
  void Forge(const std::string& to, const std::string& name, const std::string& oldOwner,
             const std::string& newOwner);

 private:
  bus::Connection m_Bus;
};

// Tests with a bus of their own, on which the applications above can be started.
class AppsTest : public testing::Test {
 protected:
  AppsTest();
  ~AppsTest() override;

  // Begins to collect the events of applications, which come while the main loop runs.
  void Watch();
  const std::vector<AppEvent>& Events() const { return m_Events; }
  bool RunUntilEvents(std::size_t count);

  // The service's connection.
  std::string ServiceConnection() const;

  // Serves everything that the bus has told the service by now.
  void ServeAll();

  // A test application that is not installed, started by hand.
  std::unique_ptr<support::Process> Start(const std::string& appId);

  // What the applications wrote down.
  std::vector<Json::Value> Record() const;
  int Starts(const std::string& appId) const;
  std::vector<ExtraData> Activations(const std::string& appId) const;

  // Waits until the application got that many activations or was started that often.
  bool WaitForActivations(const std::string& appId, std::size_t count);
  bool WaitForStarts(const std::string& appId, int count);

  // Sends a signal to an application that was started once, or to its whole process group.
  void Signal(const std::string& appId, int signal);
  void SignalGroup(const std::string& appId, int signal);

  // Number of clients that the bus has.
  static std::size_t Clients();

  // Ends the bus and the service on it, and starts another one.
  void EndBus();
  void StartBus();

  // The service's connection, as it is between the begin of a service and its end.
  void BeginService();
  void EndService();

  // A callback that collects the events of a test, which is its user data.
  static void CollectEvent(app_context_h context, app_context_event_e kind, void* test);

 private:
  pid_t PidOf(const std::string& appId) const;
  void Install(const std::string& appId, const std::string& command);

  support::TempDirectory m_Directory;
  const std::filesystem::path m_RecordFile = m_Directory / "record";
  std::unique_ptr<support::PrivateBus> m_Bus;
  std::unique_ptr<host::BusPump> m_Pump;
  std::vector<AppEvent> m_Events;
  std::vector<pid_t> m_Stopped;
  int m_Marks = 0;
};
