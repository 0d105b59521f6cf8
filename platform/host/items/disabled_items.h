#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "items/disabled_items_text.h"

namespace host {

// The record of items that applications disable, and its mirror in the key store
// (docs/items.md). A call whose change cannot be mirrored, or would make the record larger than its
// limits, is logged and changes nothing. While no catalogue is loaded nothing can be disabled,
// enabled or released. Main-loop thread only.
class DisabledItems {
 public:
  // The record of this process.
  static DisabledItems& Get();

  // The items, of those in `ids`, that were enabled before and are disabled now. Identifiers that
  // the loaded catalogue does not have are passed over. A name that cannot be an application's is
  // logged and disables nothing.
  std::vector<std::string> Disable(std::span<const std::string> ids, const std::string& app);

  // Whether the item was disabled before and is enabled now.
  bool Enable(const std::string& id, const std::string& app);

  // The items, of those that the application disabled, that are enabled now.
  std::vector<std::string> Release(const std::string& app);

  bool Contains(std::string_view id) const { return m_Record.items.contains(id); }

  // Who disables an item, in the order in which they came.
  std::vector<std::string> Applications(std::string_view id) const;

  // All items, in the order of the menu. A catalogue is loaded.
  std::vector<std::string> AllItems() const;

  // Takes the record from the mirror, as far as that is sound. The end of an application that
  // lived when it disabled something and does not live any more is reported (app_manager.h).
  void ReadMirror();

  // Drops the items that the loaded catalogue does not have. Without a catalogue all are kept.
  void DropUnknown();

 private:
  using Items = decltype(DisabledRecord::items);

  // That an application disables an item: the item, and the place in its list.
  struct Relation {
    Items::iterator item;
    std::ptrdiff_t place;
  };

  DisabledItems();

  static std::optional<Relation> Find(Items::iterator item, const std::string& app);
  bool CountAdded(const std::string& app, std::size_t count);
  void NoteInstance(const std::string& app);
  void SetDisabler(const std::string& app, Disabler disabler);
  std::vector<std::string> Remove(std::span<const Relation> relations, const std::string& app);
  bool DropUnknownItems();
  bool WriteMirror() const;

  // No list is empty, and no application is without an item; with a catalogue, all items are in
  // that.
  DisabledRecord m_Record;
};

}  // namespace host
