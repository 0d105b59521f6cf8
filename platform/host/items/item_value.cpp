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

// The preview ends before the value is stored: a failure after that would deny a change that was
// made.
bool ItemLibrary::StoreValue(const Item& item, ValuePosition position) {
  const ValueDefinition& value = *item.value;
  const bool hadPreview = HasPreview(item);
  if (hadPreview && !WritePreview(item, "")) {
    return false;
  }
  const bool done =
      LoggedUnless(value.storage == Storage::kString
                       ? m_Inputs.WriteText(value.key, KeptText(value.values, position))
                       : m_Inputs.WriteNumber(value.key, KeptNumber(value.values, position)),
                   item, value.key);
  if (done && hadPreview && m_Listener != nullptr) {
    m_Listener->OnPreviewReplaced(item);
  }
  return done;
}

// Keys cannot be removed through vconf.h, so an empty string means that there is no preview.
bool ItemLibrary::HasPreview(const Item& item) const {
  const auto preview = m_Inputs.Text(item.value->previewKey);
  return preview && !preview->empty();
}

bool ItemLibrary::PreviewValue(const Item& item, ValuePosition position) {
  return WritePreview(item, ValueText(item.value->values, position));
}

bool ItemLibrary::WritePreview(const Item& item, const std::string& text) {
  const std::string& key = item.value->previewKey;
  return LoggedUnless(m_Inputs.WriteText(key, text), item, key);
}

}  // namespace host
