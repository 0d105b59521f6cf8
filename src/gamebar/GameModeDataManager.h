#pragma once

#include <atomic>
#include <mutex>

#include "Singleton.h"
#include "vconf.h"

// Follows the picture's game item, the game mode and the end of the brightness step of the first
// use, and launches the game bar and shows or closes the aim point (docs/game-bar.md). The
// callbacks of the output control run on its threads and take no lock; the workers run on threads
// of their own, one after the other. Both hold the raw object.
class CGameModeDataManager {
 public:
  // Any thread. The object is created without any registration.
  static CGameModeDataManager* GetInstance();

  // Ends the registrations and deletes the object, if there is one. No callback may be running, and
  // no worker. Main-loop thread only.
  static void ReleaseInstance();

  ~CGameModeDataManager();

  // Reads the game item and registers everything. CGameBarService::Init takes these steps itself.
  // Main-loop thread only.
  void InitData();

  // Ends the registrations. Main-loop thread only.
  void Destory();

  // Registers for the game item and the game mode. A failure is logged, and the other is still
  // tried.
  void m_RegisterGameModeHandle();

  // The callback for "memory/gamebar/launch_by_erbrightness". `userData` is the object.
  static void OnERBrightnessChanged(keynode_t* node, void* userData);

 private:
  friend class CGameBarService;

  CGameModeDataManager();

  // Callbacks of the output control. `userData` is the object.
  static void m_GameItemChanged(void* reserved, int value, void* userData);
  static void m_GameModeChanged(void* reserved, int value, void* userData);

  // The worker for the begin of the game mode.
  void m_RunGameModeOn();
  bool m_LaunchForGameMode();

  // Reads the model's feature into m_FlagERBrightness, which stays as it was when that fails. A
  // failure is logged for `function`.
  void m_ReadFlagERBrightness(const char* function);

  static SingletonPointer<CGameModeDataManager> m_pGameModeDataManager;

  // Held by a worker for its whole run, its sleep included.
  std::mutex m_WorkerLock;
  int m_GameItemCallbackId = 0;
  int m_GameModeCallbackId = 0;
  std::atomic<int> m_CurrentGameItemMode = 0;
  std::atomic<bool> m_FlagERBrightness = false;
};
