#include "items/item_library.h"
#include "system/error_log.h"

// The values of items in the key store (docs/items.md).

namespace host {
namespace {

bool LoggedUnless(bool done, const Item& item, const std::string& key) {
  if (!done) {
    LogError("settings-items", item.id + ": cannot write key " + key);
  }
  return done;
}

}  // namespace

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
