#pragma once

#include <json/json.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "app_manager.h"
#include "nuvra/alarm.h"
#include "nuvra/daemon_service.h"
#include "sound_manager.h"
#include "source_api.h"
#include "tv_service.h"

// The platform in memory, as a test sees it: what the code under test did to it can be read,
// what it answers can be set, and time passes only when the test says so.
namespace fakes {

using KeyValue = std::variant<int, std::string>;
using FeatureValue = std::variant<bool, int>;

// How an injected failure looks.
struct FailureOptions {
  // Only calls with this first argument fail; all calls when empty.
  std::string on = {};
  // What a failing call returns (nanosleep, fopen and setenv: the errno). Otherwise the call's
  // usual one.
  std::optional<int> code = {};
  // How many calls succeed before the first that fails.
  int after = 0;
  // How often the call fails; later calls succeed again.
  int times = kAlways;
  // Thrown from the call in place of a return.
  std::exception_ptr exception = nullptr;

  static constexpr int kAlways = std::numeric_limits<int>::max();
};

// An item of the settings data library. A result of -1 is the library's failure: nothing is
// given or stored then.
struct Item {
  std::string value = {};
  // Display names by value; a value without one is its own display name.
  std::map<std::string, std::string> valueNames = {};
  int getResult = 0;
  int setResult = 0;

  // Answers to the state questions, those about a data value by that value: -1 for every other.
  int visible = 1;
  int enabled = 1;
  int pathVisible = 1;
  int pathEnabled = 1;
  std::map<std::string, int> valueVisible = {};
  std::map<std::string, int> valueEnabled = {};

  std::string path = {};
  int pathResult = 0;
  std::string displayID = {};
  int displayIDResult = 0;
  std::string displayName = {};
  int displayNameResult = 0;
  std::string dataList = {};
  std::string childList = {};

  // Of a range. The library fails to give what is not there. With a false result it gives what is
  // there all the same.
  std::optional<double> min = {};
  std::optional<double> max = {};
  std::optional<double> step = {};
  bool minResult = true;
  bool maxResult = true;
  bool stepResult = true;
};

// What the library says about disabled items, whatever it is asked: the fake keeps no record of
// them. It gives the lists with a false result too, so that the result alone decides what a
// caller does.
struct DisabledItems {
  // The four calls that change the record, and the two of them that tell what changed.
  bool changed = false;
  std::vector<std::string> changedItems = {};
  // IsItemEnabled.
  bool enabled = false;
  // The two queries that answer with a list.
  bool answered = false;
  std::vector<std::string> disablers = {};
  std::vector<std::string> items = {};
};

// A request that was sent to an application.
struct Launch {
  std::string appID;
  std::map<std::string, std::string> extraData;
  bool operator==(const Launch&) const = default;
};

// What the television shows.
struct Picture {
  int sourceState = 1;
  int source = -1;  // previews included
  int sourceBeforePreview = -1;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// What the output does for games.
struct GameModes {
  int item = 0;
  int real = 0;
};

// A signal that was sent.
struct Signal {
  std::string sender;
  std::string name;
  int type;
  Json::Value body;
};

// A timer that was created and is not destroyed.
struct Alarm {
  const Nuvra::TCEventIO* eventIO = nullptr;
  std::chrono::milliseconds period{};
  int repetition = 0;
  Nuvra::TCAlarm::Callback callback = nullptr;
  void* userData = nullptr;
  bool running = false;
};

// One per process; FakePlatformTest resets it before every test. Every function may be called
// from any thread, except that callbacks run in the thread that calls RunMainLoop or AdvanceTime.
class Platform {
 public:
  static Platform& Instance();

  // As at the start of a process. The calling thread is the main-loop thread from now on. Held
  // sleeps end.
  void Reset();

  // --- The trace: every platform call and every log line, in their one order. Calls that only
  // ask a framework object about itself (IsCreated, ServiceName, GetMessage) are left out.
  //
  //   vconf_set_int("db/x", 1) -> 0                       call, arguments, result
  //   vconf_get_int("db/x") -> 0: 1                       … and outputs
  //   E SettingsService m_Initialize | m_Initialize!\n    priority, module, function, message
  //
  // Whatever breaks a contract or the log convention is appended after "!!". Pointers appear
  // under the name that Name gave them, else numbered in the order of their appearance.
  std::vector<std::string> Trace() const;
  std::vector<std::string> TakeTrace();
  void Name(const void* pointer, std::string name);
  // Waits until a line of the trace has this text; false when none came within `limit`.
  bool WaitForTrace(const std::string& text, std::chrono::milliseconds limit = kLongEnough) const;

  // --- Failures. `call` is the name as in the trace.
  void Fail(std::string call, FailureOptions options = {});
  // Failures that never came about, or less often than announced; one text for each.
  std::vector<std::string> UnusedFailures() const;

  // --- The main loop and the time.
  // Runs what waits for the main loop, until nothing does. Throws std::runtime_error when there
  // is no end to it.
  void RunMainLoop();
  // Runs the first thing that waits, if there is one.
  bool RunMainLoopOnce();
  // Waits until something waits for the main loop; false when nothing came within `limit`.
  bool WaitForMainLoopWork(std::chrono::milliseconds limit);
  // Lets time pass, with every alarm called when it is due and the main loop run in between.
  void AdvanceTime(std::chrono::milliseconds duration);
  std::vector<Alarm> Alarms() const;

  // --- Sleeps of the code under test. They return at once unless they are held.
  void HoldSleeps();
  // Waits until `count` threads sleep; false when they did not within `limit`.
  bool WaitForSleepers(std::size_t count, std::chrono::milliseconds limit = kLongEnough);
  // Ends the sleep that began first; false when nobody sleeps. The second ends it as a signal
  // does, with `left` of it remaining.
  bool StepSleep();
  bool InterruptSleep(std::chrono::nanoseconds left);

  // --- The key store. What the test sets counts as set by another process: it is not traced,
  // but watchers are called.
  void SetKey(const std::string& key, KeyValue value);
  std::optional<KeyValue> Key(const std::string& key) const;

  // --- The settings data library.
  void SetItem(std::string menuID, Item item);
  std::optional<Item> ItemState(const std::string& menuID) const;
  void SetDisabledItems(DisabledItems answers);

  // --- The applications.
  // An application started or ended: whoever watches then learns of it on the main loop. One
  // without an identifier has none to give.
  void SendAppEvent(app_context_event_e event, std::optional<std::string> appID);

  // The state number of an application; -1 for one that was not set.
  void SetAppStatus(std::string appID, int status);
  // The requests that were sent. What an application makes of one is not simulated.
  std::vector<Launch> TakeLaunches();
  // How many requests were created and not destroyed. The fake frees them.
  int AppControls() const;

  // --- The picture, the sources, the output and the power. The four functions that make an event
  // call whoever is to learn of it before they return, on the calling thread: a thread of the
  // service when they are called inside OnServiceThread. `instead` is handed over in place of the
  // registered user data.
  using UserData = std::optional<void*>;
  void SetPicture(Picture picture);
  void SetSources(std::multimap<int, CSourceItem> sources);
  void SetGameModes(GameModes modes);
  void SendTvSignal(int type, UserData instead = {});
  void SendSourceEvent(int event, UserData instead = {});
  void Notify(const std::string& name, int value, UserData instead = {});
  void ChangePower(int previous, int current, UserData instead = {});
  // Runs `work` on another thread, to its end. What it throws comes out here.
  static void OnServiceThread(const std::function<void()>& work);
  // How many controls and subscribers of the TV service were created and not destroyed.
  int TvObjects() const;
  // The active speaker changed: whoever watches learns of it on the main loop.
  void ChangeSpeaker(int route);

  // --- The set.
  void SetFeature(std::string key, FeatureValue value);
  void SetNetworkSpeakers(std::vector<std::string> identifiers, std::string displayName,
                          std::string type);

  // --- The process.
  // What setenv gave a variable. The real environment stays as it is.
  std::optional<std::string> Variable(const std::string& name) const;
  // The real directory of preinstalled applications' data, made when it is first asked for and
  // removed by RemoveFiles and by Reset.
  std::filesystem::path AppDataDirectory() const;
  void RemoveFiles();

  // --- The framework.
  std::vector<Signal> TakeSignals();
  // What AppMain returns after t_OnCreate returned true.
  void SetExitStatus(int status);
  // The service that AppMain was called with last; null when it was not.
  Nuvra::TCDaemonService* Service() const;

  static constexpr std::chrono::seconds kLongEnough{30};

 private:
  Platform() = default;
};

}  // namespace fakes
