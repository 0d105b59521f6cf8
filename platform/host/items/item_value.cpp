#include "items/item_library.h"
#include "system/error_log.h"

// The values of items in the key store (docs/items.md).

namespace host {
namespace {

// No item has an empty value.
std::optional<ValuePosition> FindText(const ValueDefinition& value,
                                      const std::optional<std::string>& text) {
  return text ? FindValue(value.values, *text) : std::nullopt;
}

bool LoggedUnless(bool done, const Item& item, const std::string& key) {
  if (!done) {
    LogError("settings-items", item.id + ": cannot write key " + key);
  }
  return done;
}

}  // namespace

ValuePosition ItemLibrary::CurrentValue(const Item& item) const {
  const ValueDefinition& value = *item.value;
  auto position = FindText(value, m_Inputs.Text(value.previewKey));
  if (!position && value.followsSpeaker) {
    position = FindText(value, m_SpeakerType);
  }
  if (!position) {
    position = StoredValue(value);
  }
  return position.value_or(value.standard);
}

std::optional<ValuePosition> ItemLibrary::StoredValue(const ValueDefinition& value) const {
  if (value.storage == Storage::kString) {
    const auto text = m_Inputs.Text(value.key);
    return text ? FindKeptText(value.values, *text) : std::nullopt;
  }
  const auto number = m_Inputs.Number(value.key);
  return number ? FindKeptNumber(value.values, *number) : std::nullopt;
}

bool ItemLibrary::StoreValue(const Item& item, ValuePosition position) {
  const ValueDefinition& value = *item.value;
  if (!EndPreview(item)) {
    return false;
  }
  return LoggedUnless(value.storage == Storage::kString
                          ? m_Inputs.WriteText(value.key, KeptText(value.values, position))
                          : m_Inputs.WriteNumber(value.key, KeptNumber(value.values, position)),
                      item, value.key);
}

// Before the value is stored: a failure after that would deny a change that was made. Keys cannot
// be removed through vconf.h, so an empty string means that there is no preview.
bool ItemLibrary::EndPreview(const Item& item) {
  const auto preview = m_Inputs.Text(item.value->previewKey);
  return !preview || preview->empty() || WritePreview(item, "");
}

bool ItemLibrary::PreviewValue(const Item& item, ValuePosition position) {
  return WritePreview(item, ValueText(item.value->values, position));
}

bool ItemLibrary::WritePreview(const Item& item, const std::string& text) {
  const std::string& key = item.value->previewKey;
  return LoggedUnless(m_Inputs.WriteText(key, text), item, key);
}

}  // namespace host
