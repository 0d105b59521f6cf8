#pragma once

#include <span>
#include <string>

#include "items/item.h"

namespace host {

// Hears from an ItemLibrary what happened to its items, beside changes of keys, which it does not
// watch itself. Main-loop thread only.
class ItemListener {
 public:
  virtual ~ItemListener() = default;

  // There is another catalogue, or none any longer.
  virtual void OnLoaded() = 0;

  // The type of the active speaker was read again.
  virtual void OnSpeakerRead() = 0;

  // A value was stored in place of the item's preview. Two keys were written, and nobody saw one
  // without the other.
  virtual void OnPreviewReplaced(const Item& item) = 0;

  // These items were not disabled by applications before and are now, or the other way round.
  virtual void OnDisabledOrReleased(std::span<const std::string> ids) = 0;
};

}  // namespace host
