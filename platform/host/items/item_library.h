#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "items/catalogue.h"
#include "items/disabled_items.h"
#include "items/inputs.h"
#include "items/item_listener.h"
#include "items/judge.h"

namespace host {

// The settings data library over a key store and a model (docs/items.md): the catalogue, the
// values and states of its items, and the record of disabled ones. Main-loop thread only.
class ItemLibrary {
 public:
  // `inputs` must outlive it.
  explicit ItemLibrary(Inputs& inputs) : m_Inputs(inputs) {}
  ItemLibrary(const ItemLibrary&) = delete;
  ItemLibrary& operator=(const ItemLibrary&) = delete;

  // Replaces the catalogue with the one in `file`, reads the type of the speaker, and drops from
  // the record what the catalogue does not have. If the file has mistakes, each is logged and no
  // catalogue is loaded.
  void Load(const std::filesystem::path& file);

  // Null while none is loaded.
  const Catalogue* Loaded() const { return m_Catalogue ? &*m_Catalogue : nullptr; }

  // Null when there is no such item. A null `menuID` names none.
  const Item* Find(const char* menuID) const;
  const Item* Find(std::string_view menuID) const;

  // Reads the type of the active speaker, which is known from here on. It stays what it was when
  // the key store cannot be read.
  void FreshSpeakerType();

  // What items are now. A catalogue must be loaded; the result ends with it.
  Judge Now() const { return Judge(*m_Catalogue, m_Inputs, m_SpeakerType); }

  // The value in effect of an item that has one. Throws InputFailure when the key store cannot be
  // read, as the next three do.
  ValuePosition CurrentValue(const Item& item) const { return Now().CurrentValue(item); }

  // Stores a value permanently and ends a preview. False, and logged, when the key store failed;
  // the value is then not stored.
  bool StoreValue(const Item& item, ValuePosition position);

  // Shows a value until the next StoreValue, at most until the set restarts. False, and logged,
  // when the key store failed.
  bool PreviewValue(const Item& item, ValuePosition position);

  // Whether a rule of the loaded catalogue is currently true.
  bool IsTrue(RuleIndex rule) const { return rule == kNoRule || Now().IsTrue(rule); }

  DisabledItems& Disabled() { return m_Disabled; }
  const DisabledItems& Disabled() const { return m_Disabled; }

  // The type of the active speaker as it was read last; empty when no speaker was chosen.
  const std::string& SpeakerType() const { return m_SpeakerType; }

  // From now on tells `listener`, which replaces the previous one, of what happens; null ends that.
  void Listen(ItemListener* listener);

 private:
  void ReadSpeakerType();
  bool HasPreview(const Item& item) const;
  bool WritePreview(const Item& item, const std::string& text);

  Inputs& m_Inputs;
  std::optional<Catalogue> m_Catalogue;
  std::string m_SpeakerType;  // empty when no speaker was chosen on the set
  DisabledItems m_Disabled{m_Inputs, m_Catalogue};
  ItemListener* m_Listener = nullptr;
};

}  // namespace host
