#include "set/set_view.h"

#include <fmt/format.h>

#include <stdexcept>
#include <variant>

#include "set/fresh_set.h"
#include "set/keys.h"
#include "set/set_error.h"

namespace host {

std::vector<SetSource> SetView::Sources() const {
  const KeyValue value = *m_Value(kSourcesKey);
  try {
    return ReadSources(value);
  } catch (const std::runtime_error& error) {
    throw SetError(SetError::Kind::kUnreadable, kSourcesKey,
                   fmt::format("the list of sources in {} {}", kSourcesKey, error.what()));
  }
}

std::optional<int> SetView::Number(const std::string& key) const {
  const std::optional<KeyValue> value = m_Value(key);
  const int* number = value ? std::get_if<int>(&*value) : nullptr;
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

Window SetView::PictureWindow() const {
  const KeyValue value = *m_Value(kWindowKey);
  try {
    return ReadWindow(value);
  } catch (const std::runtime_error&) {
    return Window();
  }
}

std::optional<KeyValue> SetView::m_Value(const std::string& key) const {
  std::optional<KeyValue> value = m_Store.Get(key);
  if (value) {
    return value;
  }
  for (const auto& [freshKey, freshValue] : FreshSet()) {
    if (freshKey == key) {
      return freshValue;
    }
  }
  return std::nullopt;
}

}  // namespace host
