#pragma once

#include "Singleton.h"
#include "vconf.h"

// Tells the user by a popup of the menu application whenever the protection mode begins, on models
// for outdoors (docs/lifecycle.md). Main-loop thread only.
class CProtectionModeService {
 public:
  static CProtectionModeService* GetInstance();

  // Ends the watch and deletes the object. Nothing happens when there is none.
  static void ReleaseInstance();

  ~CProtectionModeService();

  // Begins the watch over the protection mode. The service does not need it: it begins the watch
  // of the object itself.
  void InitService();

  // Ends it.
  static void Destory();

  // What the watch calls. `userData` is the object; nothing is done without it, or without a key.
  static void m_VconfCB(keynode_t* node, void* userData);

 private:
  CProtectionModeService();

  static void m_LaunchMenuApp();

  static SingletonPointer<CProtectionModeService> m_pProtectionModeService;
};
