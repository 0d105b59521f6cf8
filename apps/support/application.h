#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/application_state.h"
#include "bus/bus.h"
#include "keystore/key_store.h"
#include "settings/client.h"
#include "support/activity_log.h"
#include "support/message_reader.h"

// An application of a set (docs/applications.md): it owns its ID as bus name, takes what it is
// asked for through org.freedesktop.Application, and says its state. One thread.
namespace apps {

// What can be seen of it.
using State = host::ApplicationState;

class Application {
 public:
  // Opens the set of the environment's variables and the bus that started this process, or else
  // the session bus. With `ownsOutput` nothing is said on standard output, only in the log. Throws
  // std::exception when one of them cannot be used, and when an application of this ID is already
  // running.
  explicit Application(const std::string& id, bool ownsOutput = false);
  virtual ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  // Lives until End, SIGTERM, SIGINT or the end of the bus. SIGTERM, SIGINT and SIGWINCH are
  // blocked by the caller in all threads. Throws std::exception.
  void Run();

 protected:
  // Called once, before anybody can see that the application runs.
  virtual void OnStart() {}

  // A launch request, the first as well as one to the running application. Comes to the
  // foreground unless overridden.
  virtual void OnActivate(const ExtraData& extraData);

  // The state is this from now on. Called with kBackground at the start and at the end.
  virtual void OnState(State) {}

  // Prints a line; control characters are escaped.
  void Say(const std::string& line) { m_Log.Print(line); }

  void EnterState(State state);

  // Ends the application when the present call is answered.
  void End(const std::string& reason);

  host::KeyStore& Keys() { return m_Keys; }

  // The application's bus, for a client of its own.
  static std::string Bus();

  // From now on the client's work is done between the application's other work. It must live as
  // long as the application runs, which ends when the client's connection is lost.
  void Drive(settings::Client& client);

  // From now on `callback` is called when the size of the terminal has changed.
  void WatchSize(std::function<void()> callback);

  // From now on `callback` gets each change of a key, by whichever process, in order.
  void WatchKeys(std::function<void(const host::KeyChange&)> callback);

 private:
  template <auto Method>
  static int Answer(sd_bus_message* call, void* self, sd_bus_error* error);
  static int OnSignal(sd_event_source*, const signalfd_siginfo* info, void* self);
  static int OnKeys(sd_event_source*, int, uint32_t, void* self);
  static int OnSize(sd_event_source*, const signalfd_siginfo* info, void* self);
  static int OnPrepareClient(sd_event_source* source, void* self);
  static int OnClientInput(sd_event_source*, int, uint32_t, void* self);
  static int OnClientTime(sd_event_source*, uint64_t, void* self);
  static const sd_bus_vtable kInterface[];

  void m_Activate(sd_bus_message* call);
  void m_Open(sd_bus_message* call);
  void m_ActivateAction(sd_bus_message* call);
  void m_TakeName();
  void m_Leave();
  void m_ProcessClient();

  const std::string m_Id;
  const std::string m_StatusKey;
  ActivityLog m_Log;
  host::KeyStore m_Keys;
  std::optional<host::KeyWatcher> m_Watcher;
  std::function<void(const host::KeyChange&)> m_OnChange;
  std::function<void()> m_OnSize;
  std::unique_ptr<sd_event, bus::Releaser<sd_event, sd_event_unref>> m_Event;
  settings::Client* m_Client = nullptr;
  sd_event_source* m_ClientTime = nullptr;  // the event loop's
  bus::Connection m_Bus;
  std::optional<State> m_State;
  std::string m_EndReason = "the bus has ended";  // when nobody else ended it
};

// The main function of an application: makes it, lets it run and prints what failed. It may be
// given one argument, which `parameter` stands for in what is said about the usage, or none when
// that is empty; `make` gets it, or "". With --version it prints the version instead. Anything else
// on the command line is wrong usage, told in one line; then it returns 2.
int Main(int argc, char** argv, const std::string& parameter,
         const std::function<std::unique_ptr<Application>(const std::string& argument)>& make);

template <typename Kind>
int Main(int argc, char** argv) {
  return Main(argc, argv, "", [](const std::string&) { return std::make_unique<Kind>(); });
}

}  // namespace apps
