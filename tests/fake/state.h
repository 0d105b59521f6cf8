#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "device_power.h"
#include "fake_platform.h"
#include "ormu.h"
#include "vconf.h"

// What the files of the fake share. A new part of the platform gets its members in State and a
// source file of its own; Reset needs no change then.
namespace fakes {

struct InjectedFailure {
  std::string call;
  FailureOptions options;
  int spared = 0;
  int uses = 0;
};

struct TimerState {
  Alarm alarm;
  bool created = false;
  std::chrono::milliseconds due{};
  int callsLeft = 0;
};

struct Sleeper {
  bool ended = false;
  std::optional<std::chrono::nanoseconds> left;  // set when it was interrupted
};

struct AppEvent {
  app_context_event_e event;
  std::optional<std::string> appID;
};

struct AppControl {
  Launch request;
  bool destroyed = false;
};

// Who is called for one type of signal.
struct SignalWatch {
  const ISignalSubscriber* subscriber;
  TVSSignalCallback callback;
  ESignalType type;
  EProfile profile;
  void* userData;
};

struct OutputWatch {
  std::string name;
  ormu_notification_cb callback;
  void* userData;
};

struct KeyWatch {
  vconf_callback_fn callback;
  void* userData;
  std::uint64_t since;  // number of the last change before the watch began
};

struct State {
  std::vector<std::string> trace;
  std::list<InjectedFailure> failures;
  std::map<const void*, std::string> names;
  std::map<std::string, int> namesGiven;  // by kind of pointer

  std::thread::id mainLoopThread = std::this_thread::get_id();
  std::deque<std::function<void()>> mainLoopWork;
  std::chrono::milliseconds now{};
  std::map<std::uint64_t, TimerState> timers;

  bool holdSleeps = false;
  std::deque<std::shared_ptr<Sleeper>> sleepers;

  std::map<std::string, KeyValue> keys;
  std::map<std::string, std::vector<KeyWatch>> keyWatches;
  std::uint64_t keyChanges = 0;

  bool itemsLoaded = false;
  std::map<std::string, Item> items;
  DisabledItems disabledItems;

  app_context_event_cb appCallback = nullptr;
  void* appUserData = nullptr;
  std::deque<AppEvent> appEvents;  // that the callback was not yet called for

  std::map<std::string, int> appStatuses;
  std::vector<Launch> launches;
  std::deque<AppControl> appControls;  // destroyed ones included: a late use shows

  Picture picture;
  std::vector<std::shared_ptr<void>> tvObjects;  // destroyed ones included
  int tvObjectsLeft = 0;
  std::vector<SignalWatch> signalWatches;

  std::multimap<int, CSourceItem> sources;
  std::map<void*, SourceAPICallback> sourceWatches;

  GameModes gameModes;
  std::map<int, OutputWatch> outputWatches;
  int lastOutputWatch = 0;

  std::map<device_power_state_changed_cb, void*> powerWatches;

  sound_speaker_changed_cb speakerCallback = nullptr;
  void* speakerUserData = nullptr;

  std::map<std::string, FeatureValue> features;
  std::vector<std::string> speakers;
  std::string speakerDisplayName;
  std::string speakerType;
  bool watched = false;  // by the deadlock watchdog

  std::map<std::string, std::string> environment;  // what setenv set
  std::string locale = "C";
  std::shared_ptr<const std::filesystem::path> appData;  // removed with the last pointer to it

  std::vector<Signal> signals;
  int exitStatus = 0;
  Nuvra::TCDaemonService* service = nullptr;
};

// The one state and what guards it. It is never destroyed: a thread of the code under test may
// outlive everything else.
struct SharedState {
  std::mutex mutex;
  std::condition_variable changed;  // the trace, sleepers and the main loop's work
  State state;
};

SharedState& Shared();

// Gives `work` to the main loop. The caller holds the lock.
void PostToMainLoop(std::function<void()> work);

}  // namespace fakes
