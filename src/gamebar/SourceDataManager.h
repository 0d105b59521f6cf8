#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Singleton.h"
#include "device_power.h"
#include "gamebar/Snapshot.h"
#include "source_api.h"
#include "tv_service.h"

// What is attached to a source.
enum game_device_type_e : int {
  GAME_DEVICE_NONE = 0,  // the source is not known, or no video output source
  GAME_DEVICE_CONSOLE = 1,
  GAME_DEVICE_PC = 2,
  GAME_DEVICE_OTHER = 3,
};

// Follows the sources of the set and launches the game bar when a source change or a power-on ends
// at a game (docs/game-bar.md). Its callbacks run on the platform's threads and take no lock; its
// workers run on threads of their own, one after the other. Both hold the raw object.
class CSourceDataManager {
 public:
  // Any thread. The object is created without any registration.
  static CSourceDataManager* GetInstance();

  // Ends the registrations and deletes the object, if there is one. No callback may be running, and
  // no worker.
  static void ReleaseInstance();

  ~CSourceDataManager();

  // Registers the callbacks, reads the sources and the current source, and launches the game bar
  // if that is a game already. A failed registration is logged at most. What LaunchGameBarApp
  // throws passes through; everything else is done then.
  void InitData();

  // Ends the registrations; the object can still be asked. The subscriber of signals is kept.
  void Destory();

  // The source that is shown, or was before a preview; -1 when it is not known. Any thread.
  int GetCurrentSource() const { return m_CurrentSource; }

  // What is attached to the source that is shown, a game_device_type_e. Any thread.
  int GetCurrentGameDeviceType() const { return CurrentGameDeviceType; }

  // The picture's window; zeros when the platform does not give it. Any thread.
  void GetVideoControlSize(int& x, int& y, int& w, int& h);

 private:
  using SourceList = std::multimap<int, CSourceItem>;

  struct DeviceNames {
    std::string editName;
    std::string detectedName;
  };

  CSourceDataManager();

  // Callbacks of the platform. `userData` is the object.
  static void m_SourceListChanged(int event, void* userData);
  static void m_PictureSettingPeriod(void* reserved, int value, void* userData);
  static void m_OnPowerStateChanged(_device_power_state_info* info, void* userData);
  static int m_OnTvsSignaled(ESignalType type, EProfile profile, unsigned short number,
                             TSSignalData data, void* userData);

  void m_RegisterExtSignalHandle();

  // The name of a video output source; "NOT_VALID" for any other source.
  static const char* m_GetPortString(int source);
  static bool m_IsVideoOutputSource(int source);

  // The kind of the device with that name.
  int m_GetGameDeviceType(const std::string& name) const;

  // Whether the list has a video output source at all. The list may be null.
  static bool m_GetGameDeviceExist(const std::shared_ptr<SourceList>& list);

  // Reads the source state, and the source that is shown in `*id`. False when that is no video
  // output source or not known.
  bool m_ReadCurrentSource(int* id);

  int m_GetCurrentSouceDeviceType();
  void m_RefreshSourceAndGameItem();
  void m_RefreshSourceList();
  int m_GetCurrentSourceBeforePreview();

  // Starts the worker for the end of a source change. The worker waits until the picture is set,
  // but not for ever, and decides.
  static void m_HandleExtSignalOk(CSourceDataManager* manager);
  void m_RunExtSignalOk();
  void m_LaunchAfterSourceChange();
  bool m_IsLaunchWanted(int gameVconf) const;
  void m_WaitForPictureSetting();

  // The worker for the end of a power-on.
  void m_RunPowerOn();

  static SingletonPointer<CSourceDataManager> m_pSourceDataManager;

  const std::vector<std::string> m_GameConsoleNames;
  Snapshot<SourceList> m_SourceList;
  ISignalSubscriber* m_SignalSubscriber = nullptr;
  std::atomic<int> m_GameItemMode = 0;
  std::atomic<int> m_SourceState = -1;
  std::atomic<int> m_CurrentSource = -1;
  Snapshot<const DeviceNames> m_DeviceNames;
  // Automatic launches for the current source.
  std::atomic<int> m_LaunchCount = 0;
  // Held by a worker for its whole run, its sleeps included.
  std::mutex m_WorkerLock;
  int m_PictureSettingCallbackId = 0;
  std::atomic<bool> m_ChangeStart = false;
  std::atomic<bool> m_PictureSettingDone = false;
  std::atomic<int> CurrentGameDeviceType = 0;
};
