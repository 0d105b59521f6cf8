#pragma once

#include <csignal>
#include <string>
#include <type_traits>
#include <vector>

#include "system/ends_with_service.h"
#include "system/outlives_exit.h"

class CSourceAPI;

namespace Nuvra {
class TCDaemonService;
}

namespace host {

// Parts of the host, declared where they belong: here only their names.
class AfterMessages;
class ApplicationBus;
class ApplicationWatcher;
class BeforeMessages;
class BusPump;
class ChangeFeed;
class ItemAnnouncer;
class KeyStore;
class Log;
class MainLoop;
class NameOwners;
class OutputEvents;
class PowerEvents;
class ServiceBus;
class SignalEvents;
class SourceEvents;
class StoreKeeper;
class Subscriptions;
struct CheckedFileSystem;
struct Environment;
struct KeyChange;
struct Operation;
struct Model;
struct NewestFailure;
struct HostLibrary;
struct RemainingEvents;
struct ReportedDamages;
struct SpeakerCallback;
struct Translations;
struct UnusableReports;

// All that the host has once in a process; nothing else in it is a variable of a namespace, a class
// or a function. A part comes after those that it needs, and is reached through the function that
// its own header declares.
//
// In programs without AppMain the functions of platform/include lead here, too, and so do threads
// that go on after AppMain has returned. So the host exists before main and after exit, and its
// parts are made when somebody needs them.
struct Host {
  OutlivesExit<Log> log;
  OutlivesExit<Environment> environment;
  OutlivesExit<Model> model;
  OutlivesExit<RemainingEvents> remainingEvents;
  OutlivesExit<CheckedFileSystem> checkedFiles;
  OutlivesExit<KeyStore> keyStore;
  EndsWithService<StoreKeeper> storeKeeper;
  OutlivesExit<NewestFailure> newestFailure;
  OutlivesExit<ReportedDamages> reportedDamages;

  // Not used for anything, but read by leak checkers: AppMain's caller keeps the service until the
  // process ends and never deletes it.
  Nuvra::TCDaemonService* service = nullptr;

  // The variables of the environment while Eina and Ecore start.
  OutlivesExit<std::vector<char*>> startVariables;
  volatile std::sig_atomic_t hasLostSignal = 0;  // set by Ecore's signal handler
  bool hasMainLoop = false;
  unsigned endedMainLoops = 0;
  EndsWithService<MainLoop> mainLoop;
  OutlivesExit<std::vector<const BeforeMessages*>> beforeMessages;
  OutlivesExit<std::vector<AfterMessages*>> afterMessages;

  OutlivesExit<std::string> busAddress;
  EndsWithService<ServiceBus> serviceBus;
  EndsWithService<NameOwners> nameOwners;
  BusPump* busPump = nullptr;  // the living one

  EndsWithService<Subscriptions> subscriptions;
  EndsWithService<ApplicationWatcher> applicationWatcher;
  OutlivesExit<ApplicationBus> applicationBus;

  // Of the set, whose threads never end.
  OutlivesExit<UnusableReports> unusableReports;
  OutlivesExit<ChangeFeed> changeFeed;
  OutlivesExit<PowerEvents> powerEvents;
  OutlivesExit<OutputEvents> outputEvents;
  OutlivesExit<SignalEvents> signalEvents;
  OutlivesExit<SourceEvents> sourceEvents;
  OutlivesExit<CSourceAPI> sourceLibrary;
  OutlivesExit<SpeakerCallback> speakerCallback;

  OutlivesExit<const std::vector<Operation>> operations;

  OutlivesExit<HostLibrary> itemLibrary;
  OutlivesExit<Translations> translations;
  EndsWithService<ItemAnnouncer> itemAnnouncer;

  // Ends what ends with the service, in reverse order. Main-loop thread only.
  void EndService() {
    itemAnnouncer.End();
    applicationWatcher.End();
    subscriptions.End();
    nameOwners.End();
    serviceBus.End();
    mainLoop.End();
    storeKeeper.End();
  }
};

static_assert(std::is_trivially_destructible_v<Host>);

inline constinit Host g_Host;

// What each thread has once.
struct HostThread {
  int logHolds = 0;

  // The change whose callback is running; null outside, and once the callback has written the key
  // itself.
  const KeyChange* change = nullptr;
};

inline thread_local constinit HostThread t_Host;

}  // namespace host
