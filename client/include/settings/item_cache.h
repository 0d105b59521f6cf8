#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "settings/client.h"

namespace settings {

// What a menu shows of an item.
struct ItemState {
  std::string name;                  // in the menu language
  std::optional<std::string> value;  // nothing for a group or an action
  std::string valueName;             // in the menu language
  bool visible = false;              // the item's own states
  bool enabled = false;
  bool pathVisible = false;  // the same of the item and every group above it
  bool pathEnabled = false;
};

struct ItemChange {
  std::string item;
  ItemState from;
  ItemState to;
};

// Why a cache's callback is called.
enum class CacheEvent {
  kRead,      // all items have been read, at first or after a restart of the service
  kChanged,   // the service announced changes
  kLanguage,  // names are in another menu language
  kGone,      // the service ended
};

// Called with what is another than it was when the callback was called last, in the order of the
// IDs; with nothing when the items were read for the first time.
using CacheCallback = std::function<void(CacheEvent event, const std::vector<ItemChange>& changes)>;

// What items are at present, for a menu: read once, in few messages, and kept right by what the
// service announces. A service that was restarted is read again. The client's thread only.
class [[gnu::visibility("default")]] ItemCache {
 public:
  // Begins to read the items, without waiting, which starts the service if the bus can. The
  // client must outlive the cache. Only the client's Process and RunUntil do its work and call
  // `callback`, which may do what the callback of a subscription may, and end the cache. Throws
  // Error when the connection is lost. An answer that does not come in time is asked for again;
  // any other error, but for the service's absence, leaves Process or RunUntil, and the items are
  // read again when the service is restarted.
  ItemCache(Client & client, const std::vector<std::string>& items, CacheCallback callback);
  ~ItemCache();
  ItemCache(const ItemCache&) = delete;
  ItemCache& operator=(const ItemCache&) = delete;

  // Whether all items have been read from the running service: not before the first kRead, and not
  // from a kGone until the next kRead, when Find has what was known last.
  bool IsCurrent() const;

  // What the callback was told last, without a message to the service. Null for an item that is not
  // among the cache's, does not exist or was not read yet. Valid until the next Process or
  // RunUntil.
  const ItemState* Find(const std::string& item) const;

 private:
  struct [[gnu::visibility("hidden")]] Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace settings
