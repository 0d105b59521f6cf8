#pragma once

#include "Singleton.h"

// The game bar automation as a whole (docs/game-bar.md): brings the tracker of the game mode, the
// tracker of the sources and the aim point up, and takes them down. Main-loop thread only, except
// for GetInstance.
//
// Nothing is taken down while a source, the power or the game mode changes: callbacks and workers
// hold the raw objects and are not waited for.
class CGameBarService {
 public:
  static CGameBarService* GetInstance();

  // Takes the trackers and the aim point down and deletes the service. Nothing happens when there
  // is no service.
  static void ReleaseInstance();

  ~CGameBarService();

  // To be called once: a second call registers every callback again. Does not throw; what fails in
  // one part is logged, and the next one is brought up.
  void Init();

  // Takes the trackers down. The aim point stays.
  void Destory();

 private:
  CGameBarService();

  static void m_InitGameMode();
  static void m_InitSource();
  static void m_InitVAP();

  static SingletonPointer<CGameBarService> m_pGameBarService;
};
