// No state of any item is kept. When a key changes, what mentions it is judged with what the key
// held before and once more with what it holds now. So nothing has to be read at the start but the
// keys themselves, and a change costs what it concerns.

#include "items/item_changes.h"

#include <variant>

#include "base/utf8.h"
#include "items/translation.h"
#include "set/keys.h"
#include "settings_item_info_api.h"

namespace host {
namespace {

// What the key of a preview holds while there is none.
std::optional<KeyValue> NoPreview() { return std::string(); }

// A text as the answer to a question for it.
std::string Answered(std::string text) {
  text.resize(base::CutSize(text, SETTINGS_ITEM_TEXT_SIZE - 1));
  return text;
}

}  // namespace

ItemChanges::ItemChanges(const Catalogue& catalogue, const ReadableInputs& model,
                         const DisabledItems& disabled, std::string speakerType)
    : m_Catalogue(catalogue),
      m_Disabled(disabled),
      m_Known(model),
      m_SpeakerType(std::move(speakerType)) {}

std::optional<int> ItemChanges::Known::Number(const std::string& key) const {
  const auto found = keys.find(key);
  const int* number = found != keys.end() ? std::get_if<int>(&found->second) : nullptr;
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::optional<std::string> ItemChanges::Known::Text(const std::string& key) const {
  const auto found = keys.find(key);
  const auto* text = found != keys.end() ? std::get_if<std::string>(&found->second) : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<bool> ItemChanges::Known::BoolFeature(const std::string& feature) const {
  return m_Model.BoolFeature(feature);
}

std::optional<int> ItemChanges::Known::IntFeature(const std::string& feature) const {
  return m_Model.IntFeature(feature);
}

std::optional<KeyValue> ItemChanges::Held(const std::string& key) const {
  const auto found = m_Known.keys.find(key);
  return found != m_Known.keys.end() ? std::optional(found->second) : std::nullopt;
}

void ItemChanges::Hold(const std::string& key, const std::optional<KeyValue>& value) {
  if (value) {
    m_Known.keys.insert_or_assign(key, *value);
  } else {
    m_Known.keys.erase(key);
  }
}

void ItemChanges::Begin(std::vector<std::pair<std::string, KeyValue>> keys) {
  m_Known.keys.clear();
  m_Replaced.clear();
  m_EndedPreview = nullptr;
  for (auto& [key, value] : keys) {
    if (key == kLanguageKey) {
      NoteLanguage(value);
      m_NewLanguage.reset();
    }
    if (!m_Catalogue.DependentsOf(key).empty()) {
      m_Known.keys.emplace(std::move(key), std::move(value));
    }
  }
}

void ItemChanges::NoteKeys(std::vector<std::pair<std::string, KeyValue>> keys) {
  m_Replaced.clear();
  std::unordered_map<std::string, KeyValue> gone = m_Known.keys;
  for (const auto& [key, value] : keys) {
    gone.erase(key);
    NoteKey(key, value);
  }
  for (const auto& [key, value] : gone) {
    NoteKey(key, std::nullopt);
  }
}

std::size_t ItemChanges::NoteKey(const std::string& key, const std::optional<KeyValue>& value) {
  if (key == kLanguageKey) {
    NoteLanguage(value);
  }
  const Item* ended = m_EndedPreview;
  if (ended != nullptr && ended->value->key != key) {
    Settle();
    ended = nullptr;
  }
  m_EndedPreview = nullptr;
  const auto replaced = m_Replaced.find(key);
  if (replaced != m_Replaced.end() && value == NoPreview()) {
    m_EndedPreview = replaced->second;
    m_Replaced.erase(replaced);
    return 0;
  }
  const std::vector<Dependent> dependents = m_Catalogue.DependentsOf(key);
  if (dependents.empty() || (ended == nullptr && Held(key) == value)) {
    return 0;
  }
  // Whatever depends on a preview depends on the key of the value, too.
  return NoteAround(dependents, [&] {
    if (ended != nullptr) {
      Hold(ended->value->previewKey, NoPreview());
    }
    Hold(key, value);
  });
}

void ItemChanges::Settle() {
  if (const Item* const ended = std::exchange(m_EndedPreview, nullptr)) {
    NoteKey(ended->value->previewKey, NoPreview());
  }
}

// A language that is not a text changes nothing (docs/language.md).
void ItemChanges::NoteLanguage(const std::optional<KeyValue>& value) {
  const auto* language = value ? std::get_if<std::string>(&*value) : nullptr;
  if (language != nullptr && m_Language != *language) {
    m_Language = *language;
    m_NewLanguage = *language;
  }
}

std::size_t ItemChanges::NoteSpeaker(const std::string& type) {
  if (type == m_SpeakerType) {
    return 0;
  }
  return NoteAround(m_Catalogue.DependentsOf(kSpeakerKey), [&] { m_SpeakerType = type; });
}

std::size_t ItemChanges::NoteDisabled(std::span<const std::string> ids) {
  for (const std::string& id : ids) {
    const Item* const item = m_Catalogue.Find(id);
    if (item != nullptr && m_Judge.IsTrue(item->states.enabled)) {
      m_Changed[m_Catalogue.PlaceOf(*item)] |= kEnabled;
    }
  }
  return ids.size();
}

template <typename Apply>
std::size_t ItemChanges::NoteAround(const std::vector<Dependent>& dependents, Apply apply) {
  std::vector<State> before;
  for (const Dependent& dependent : dependents) {
    before.push_back(StateOf(dependent));
  }
  apply();
  for (std::size_t i = 0; i < dependents.size(); ++i) {
    const State& old = before[i];
    const State now = StateOf(dependents[i]);
    std::uint8_t parts = 0;
    if (now.value != old.value) {
      const ValueSet& values = m_Catalogue.At(dependents[i].item).value->values;
      parts |= kValue;
      parts |= ValueName(values, now.value) != ValueName(values, old.value) ? kValueName : 0;
    }
    parts |= now.isVisible != old.isVisible ? kVisible : 0;
    parts |= now.isEnabled != old.isEnabled ? kEnabled : 0;
    if (parts != 0) {
      m_Changed[dependents[i].item] |= parts;
    }
  }
  return dependents.size();
}

ItemChanges::State ItemChanges::StateOf(const Dependent& dependent) const {
  const Item& item = m_Catalogue.At(dependent.item);
  State state;
  if ((dependent.parts & Dependent::kValue) != 0) {
    state.value = m_Judge.CurrentValue(item);
  }
  if ((dependent.parts & Dependent::kVisible) != 0) {
    state.isVisible = m_Judge.IsTrue(item.states.visible);
  }
  if ((dependent.parts & Dependent::kEnabled) != 0) {
    state.isEnabled = IsEnabled(item);
  }
  return state;
}

bool ItemChanges::IsEnabled(const Item& item) const {
  return !m_Disabled.Contains(item.id) && m_Judge.IsTrue(item.states.enabled);
}

void ItemChanges::NoteAll() {
  m_NewLanguage = m_Language;
  for (std::uint32_t place = 0; place < m_Catalogue.Items().size(); ++place) {
    m_Changed[place] = kVisible | kEnabled;
    if (m_Catalogue.At(place).value) {
      m_Changed[place] |= kValue | kValueName;
    }
  }
}

Json::Value ItemChanges::TakeItems(std::size_t count) {
  Json::Value items(Json::arrayValue);
  while (!m_Changed.empty() && items.size() < count) {
    const auto first = m_Changed.begin();
    items.append(Describe(first->first, first->second));
    m_Changed.erase(first);
  }
  Json::Value body;
  body["items"] = std::move(items);
  return body;
}

Json::Value ItemChanges::Describe(std::uint32_t place, std::uint8_t parts) const {
  const Item& item = m_Catalogue.At(place);
  Json::Value described;
  described["menuID"] = item.id;
  if ((parts & (kValue | kValueName)) != 0) {
    const ValueSet& values = item.value->values;
    const ValuePosition value = m_Judge.CurrentValue(item);
    if ((parts & kValue) != 0) {
      described["value"] = Answered(ValueText(values, value));
    }
    if ((parts & kValueName) != 0) {
      described["valueName"] = Answered(ValueName(values, value));
    }
  }
  if ((parts & kVisible) != 0) {
    described["visible"] = m_Judge.IsTrue(item.states.visible);
  }
  if ((parts & kEnabled) != 0) {
    described["enabled"] = IsEnabled(item);
  }
  return described;
}

}  // namespace host
