#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "items/catalogue.h"
#include "items/disabled_items_text.h"
#include "items/inputs.h"
#include "items/item_listener.h"

namespace host {

// The record of items that applications disable, and its mirror in the key store (docs/items.md). A
// call whose change cannot be mirrored, or would exceed the record's limits, is logged and changes
// nothing. Without a catalogue nothing can be disabled, enabled or released. Main-loop thread only.
class DisabledItems {
 public:
  // `inputs` and `catalogue`, which has a value while one is loaded, must outlive it.
  DisabledItems(Inputs& inputs, const std::optional<Catalogue>& catalogue)
      : m_Inputs(inputs), m_Catalogue(catalogue) {}

  // Returns the items of `ids` that were enabled before and are disabled now. Identifiers that the
  // loaded catalogue does not have are ignored. A name that cannot be an application's is logged
  // and disables nothing.
  std::vector<std::string> Disable(std::span<const std::string> ids, const std::string& app);

  // Returns whether the item was disabled before and is enabled now.
  bool Enable(const std::string& id, const std::string& app);

  // Returns those of the application's items that are enabled now.
  std::vector<std::string> Release(const std::string& app);

  bool Contains(std::string_view id) const { return m_Record.items.contains(id); }

  // Who disables an item, in the order in which they came.
  std::vector<std::string> Applications(std::string_view id) const;

  // All items, in menu order. A catalogue must be loaded.
  std::vector<std::string> AllItems() const;

  // To be called when an instance of an application starts: it may have disabled items before it
  // took its name.
  void NoteInstance(const std::string& app);

  // Takes the record from the mirror, as far as that is sound. The end of an application that
  // lived when it disabled something and does not live any more is reported (app_manager.h). Throws
  // InputFailure when the mirror cannot be read; the record stays as it is then.
  void ReadMirror();

  // Drops the items that the loaded catalogue does not have. Without a catalogue all are kept.
  void DropUnknown();

  // From now on tells `listener` which items are disabled or released; null ends that.
  void Listen(ItemListener* listener) { m_Listener = listener; }

 private:
  using Items = decltype(DisabledRecord::items);

  // An application disabling an item: the item, and the place in its list.
  struct Relation {
    Items::iterator item;
    std::ptrdiff_t place;
  };

  bool IsKnown(const std::string& id) const { return m_Catalogue && m_Catalogue->Find(id); }
  std::vector<std::string> InMenuOrder(const std::vector<std::string>& ids) const;
  static std::optional<Relation> Find(Items::iterator item, const std::string& app);
  bool CountAdded(const std::string& app, std::size_t count);
  void SetDisabler(const std::string& app, Disabler disabler);
  std::vector<std::string> Remove(std::span<const Relation> relations, const std::string& app);
  bool DropUnknownItems();
  bool WriteMirror();
  std::vector<std::string> Told(std::vector<std::string> ids) const;

  Inputs& m_Inputs;
  const std::optional<Catalogue>& m_Catalogue;

  // No list is empty, and no application is without an item; with a catalogue, it has all these
  // items.
  DisabledRecord m_Record;

  ItemListener* m_Listener = nullptr;
};

}  // namespace host
