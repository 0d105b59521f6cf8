#include "items/item_value.h"

#include "items/active_speaker.h"
#include "items/key_text.h"
#include "items/library.h"
#include "vconf.h"

namespace host {
namespace {

// Keys cannot be removed through vconf.h: an empty text means that there is no preview.
std::string PreviewKey(const Item& item) { return "memory/menu/preview/" + item.id; }

// An empty text is the value of no item.
std::optional<ValuePosition> FindText(const ValueDefinition& value,
                                      const std::optional<std::string>& text) {
  return text ? FindValue(value.values, *text) : std::nullopt;
}

std::optional<ValuePosition> FollowedValue(const ValueDefinition& value) {
  return value.followsSpeaker ? FindText(value, ActiveSpeakerType()) : std::nullopt;
}

std::optional<ValuePosition> StoredValue(const ValueDefinition& value) {
  if (value.storage == Storage::kString) {
    return FindText(value, ReadKeyText(value.key));
  }
  int number = 0;
  return vconf_get_int(value.key.c_str(), &number) == 0 ? FindNumber(value.values, number)
                                                        : std::nullopt;
}

bool WriteText(const Item& item, const std::string& key, const std::string& text) {
  if (vconf_set_str(key.c_str(), text.c_str()) == 0) {
    return true;
  }
  LogError(item.id + ": cannot write key " + key);
  return false;
}

bool WriteNumber(const Item& item, const std::string& key, int number) {
  if (vconf_set_int(key.c_str(), number) == 0) {
    return true;
  }
  LogError(item.id + ": cannot write key " + key);
  return false;
}

// Before the value is stored: a failure that came after it would deny a change that was made.
bool EndPreview(const Item& item) {
  const std::string key = PreviewKey(item);
  const auto preview = ReadKeyText(key);
  return !preview || preview->empty() || WriteText(item, key, "");
}

}  // namespace

ValuePosition CurrentValue(const Item& item) {
  const ValueDefinition& value = *item.value;
  auto position = FindText(value, ReadKeyText(PreviewKey(item)));
  if (!position) {
    position = FollowedValue(value);
  }
  if (!position) {
    position = StoredValue(value);
  }
  return position.value_or(value.standard);
}

bool StoreValue(const Item& item, ValuePosition position) {
  const ValueDefinition& value = *item.value;
  if (!EndPreview(item)) {
    return false;
  }
  return value.storage == Storage::kString
             ? WriteText(item, value.key, ValueText(value.values, position))
             : WriteNumber(item, value.key, ValueNumber(value.values, position));
}

bool PreviewValue(const Item& item, ValuePosition position) {
  return WriteText(item, PreviewKey(item), ValueText(item.value->values, position));
}

}  // namespace host
