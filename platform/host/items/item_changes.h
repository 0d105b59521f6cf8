#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "items/catalogue.h"
#include "items/disabled_items.h"
#include "items/judge.h"
#include "keystore/key_value.h"

namespace host {

// Finds out what became of the items of a catalogue: it is told of every change of what they depend
// on, remembers what they depended on before, and notes what differs. What changed and changed back
// is noted, too, because somebody may have seen it in between. Main-loop thread only.
class ItemChanges {
 public:
  // All are referenced. `model` has the features; `speakerType` is that of the moment.
  ItemChanges(const Catalogue& catalogue, const ReadableInputs& model,
              const DisabledItems& disabled, std::string speakerType);
  ItemChanges(const ItemChanges&) = delete;
  ItemChanges& operator=(const ItemChanges&) = delete;

  // Note a change: of a key, to what it holds now; of the type of the speaker; of who was disabled
  // by applications and is not, or the other way round. They return how many items were judged:
  // those that mention what changed, whatever else there is.
  std::size_t NoteKey(const std::string& key, const std::optional<KeyValue>& value);
  std::size_t NoteSpeaker(const std::string& type);
  std::size_t NoteDisabled(std::span<const std::string> ids);

  // The preview of this item ended and its value was stored as one: when NoteKey is told of both,
  // they count as one change. An end whose store does not follow at once counts from Settle on.
  void ExpectReplacedPreview(const Item& item) {
    m_Replaced.emplace(item.value->previewKey, &item);
  }
  void Settle();

  // The keys hold these, and no others: notes what differs from before.
  void NoteKeys(std::vector<std::pair<std::string, KeyValue>> keys);

  // The same, before anything changes: notes nothing.
  void Begin(std::vector<std::pair<std::string, KeyValue>> keys);

  // Notes everything about every item, and the language.
  void NoteAll();

  // Whether anything is noted, and whether that is about items.
  bool IsEmpty() const { return !HasItems() && !m_NewLanguage && m_EndedPreview == nullptr; }
  bool HasItems() const { return !m_Changed.empty(); }

  // What the first `count` of the noted items are, as far as noted, in the order of the menu; they
  // are forgotten: {"items":[{"menuID":"…","value":"…","valueName":"…"}]}.
  Json::Value TakeItems(std::size_t count);

  // The language of the menu, if it is another than at the last call.
  std::optional<std::string> TakeLanguage() { return std::exchange(m_NewLanguage, std::nullopt); }

 private:
  enum Part : std::uint8_t { kValue = 1, kValueName = 2, kVisible = 4, kEnabled = 8 };

  // What the keys held when the last change was noted.
  class Known : public ReadableInputs {
   public:
    explicit Known(const ReadableInputs& model) : m_Model(model) {}
    std::optional<int> Number(const std::string& key) const override;
    std::optional<std::string> Text(const std::string& key) const override;
    std::optional<bool> BoolFeature(const std::string& feature) const override;
    std::optional<int> IntFeature(const std::string& feature) const override;

    std::unordered_map<std::string, KeyValue> keys;

   private:
    const ReadableInputs& m_Model;
  };

  // What an item is; only the parts that are asked for.
  struct State {
    ValuePosition value = 0;
    bool isVisible = false;
    bool isEnabled = false;
  };

  std::optional<KeyValue> Held(const std::string& key) const;
  void Hold(const std::string& key, const std::optional<KeyValue>& value);
  State StateOf(const Dependent& dependent) const;
  bool IsEnabled(const Item& item) const;
  template <typename Apply>
  std::size_t NoteAround(const std::vector<Dependent>& dependents, Apply apply);
  void NoteLanguage(const std::optional<KeyValue>& value);
  Json::Value Describe(std::uint32_t place, std::uint8_t parts) const;

  const Catalogue& m_Catalogue;
  const DisabledItems& m_Disabled;
  Known m_Known;
  std::string m_SpeakerType;
  const Judge m_Judge{m_Catalogue, m_Known, m_SpeakerType};
  std::optional<std::string> m_Language;
  std::optional<std::string> m_NewLanguage;
  std::unordered_map<std::string, const Item*> m_Replaced;  // by the keys of their previews
  const Item* m_EndedPreview = nullptr;                     // the end is not noted yet
  std::map<std::uint32_t, std::uint8_t> m_Changed;          // parts of the item at a place
};

}  // namespace host
