#pragma once

#include <json/json.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Singleton.h"
#include "gamebar/Snapshot.h"
#include "source_api.h"
#include "vconf.h"

// How the aim point looks on pictures of one shape (docs/aim-point.md).
struct VAPData {
  std::int32_t ratioType = 0;  // width by height of the picture's window, rounded towards zero
  std::int32_t aimStatus = 0;  // 0 when it is not shown
  std::int32_t aimType = 0;
  float aimPosX = 0;
  float aimPosY = 0;
};

// The aim points of one source. Of several records for one shape the first counts.
struct VAPSourceData {
  std::int32_t source = 0;
  std::vector<VAPData> data;
};

// Keeps what the game bar stored about the aim point, and shows or closes the aim point by it
// (docs/aim-point.md). Any thread, unless said otherwise: the store is exchanged as a whole.
class GameBarVAPManager {
 public:
  // The object is created without any registration.
  static GameBarVAPManager* GetInstance();

  // Ends the registrations and deletes the object, if there is one, while nobody uses it.
  // Main-loop thread only.
  static void ReleaseInstance();

  ~GameBarVAPManager();

  // Loads the store, watches its key and the rotation of the screen, and shows the aim point if the
  // game mode is on. Main-loop thread only.
  void InitData();

  // Empties the store and ends the watches. The object can still be used. Main-loop thread only.
  void Destory();

  // Shows the aim point as stored for the current source and the shape of the picture. Without a
  // record for them, while the multi-screen view shows and on a rotated screen everything stays as
  // it is. Json::Exception when the multi-screen view's key has a "mode" without a text.
  void SetVAP();

  // Takes the aim point off the screen.
  static void CloseVAP();

  // 1 allows the aim point, 0 and 2 forbid it; 0 when it is not known.
  int GetRotateState();

  // Callbacks of the key store; their arguments are not used.
  static void OnVAPDataChanged(keynode_t* node, void* userData);
  static void OnRotateChanged(keynode_t* node, void* userData);

  // The store as it is kept in its key; null when it is empty.
  Json::Value ConvertToJson();

  // Writes the store to its key. A failure is logged.
  void SetVAPData();

  // The text in the key; "" when it cannot be read.
  std::string GetVAPData();

  // Replaces the store by what the text says. A text that is not JSON leaves it alone; one that
  // breaks off at a wrong type gives the sources before that.
  void ParseVAPData(const std::string& text);

  // Drops the first entry for that source, in memory only.
  void RemoveVAPForSource(int source);

  // Drops the entries of all sources that the list does not have, and writes the key if there were
  // any. A null list says nothing.
  void OnSourceListChange(const std::shared_ptr<std::multimap<int, CSourceItem>>& list);

 private:
  using Store = std::vector<VAPSourceData>;

  GameBarVAPManager();

  void m_LogVAPData();

  static SingletonPointer<GameBarVAPManager> m_pVAPDataMamager;

  Snapshot<const Store> m_Store;
  std::atomic<std::int32_t> m_RotateState;
};
