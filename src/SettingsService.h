#pragma once

#include "nuvra/alarm.h"
#include "nuvra/daemon_service.h"
#include "sound_manager.h"

// The daemon object: start-up, end, and the way of every request to its handler. All of it runs on
// the main-loop thread. The order of the start-up steps is said in docs/lifecycle.md.
class SettingsService : public Nuvra::TCDaemonService {
 public:
  SettingsService();
  ~SettingsService() override;

  // Answers one request by the method table (docs/wire.md); always returns true. A "method" that is
  // an object or an array leaves as the JSON library's exception.
  bool IfMessageReceived(const char* sender, const Nuvra::TCMessage* request,
                         Nuvra::TCMessage* reply, const char* option) override;

  // Brings everything up. No step is fatal: always returns true. A second call starts the
  // watchdog's period anew and runs all other steps again.
  bool t_OnCreate() override;

  void t_OnTerminate() override;

 private:
  void m_Initialize();
  void m_Finalize();

  // Feeds the watchdog. The alarm does not come this way: it has a callback that does the same
  // and logs under this name.
  void m_OnWatchdogAlarm();

  // `userData` is the service. False, which stops the alarm, only when it is null.
  static bool m_OnWatchdogAlarmCallback(void* userData);

  // Makes the library take over the speaker that is active now. Neither argument is looked at.
  static void m_SpeakerStatusChangedCB(sound_tv_output_route_e route, void* userData);

  // After a reset, auto power off goes back to the model's default, once
  // (docs/startup-consistency.md).
  void m_SyncAutoPowerOffVconf();

  // True when the sync file holds the present factory-reset count; writes it there otherwise, if it
  // can be read and the file be opened.
  bool m_FlagVconfSyncDone();

  // Applies the default and returns it; 0 when it is not known or could not be written.
  int m_SetNewDefaultValue();

  // Items that applications disabled must not outlive those applications: their end is watched
  // while there is such an item (docs/disabled-items.md).

  // True when no item is disabled.
  bool m_FlagDisableItemEmpty();

  // True when the watch began, or ended, with this call.
  bool m_RegisterAppTerminateCB();
  bool m_UnRegisterAppTerminateCB();

  // Makes the library take over what was disabled before the daemon started.
  void m_LoadDisableMenuItem();

  Nuvra::TCAlarm m_WatchdogAlarm;
  bool m_AppTerminateCBRegistered = false;
};
