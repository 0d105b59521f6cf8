#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_view.h"

// What a set goes through, as data. Nothing here changes a set: SetOperator plays it. A source is
// given by its number; one that is not in the list, and whatever else cannot be done with the set
// as it is, throws SetError.
namespace host {

// A key is written after a pause. Services on threads of their own, and programs that read a key
// when they hear of its change, see one step before the next.
struct Step {
  std::string key;
  KeyValue value;
  std::chrono::milliseconds pause{0};
};

using Steps = std::vector<Step>;

// Attaches a device to an empty port, or adds a source; an empty port when the device has no name.
// The device calls itself by the same name unless `detected` is given.
Steps AddSource(const SetView& view, int source, const std::string& name,
                const std::optional<std::string>& detected);

// What loses its device is a port that is empty again; what has none, and the tuner, goes itself.
Steps RemoveSource(const SetView& view, int source);

Steps RenameSource(const SetView& view, int source, const std::string& name);

// A change to that source, from its start to a picture, or to none.
Steps SwitchTo(const SetView& view, int source);

// Shows a source as a preview; kNoPreview ends that.
Steps Preview(const SetView& view, int source);

// The size of the picture; its place stays.
Steps Resize(const SetView& view, int width, int height);

Steps GeneralReset();

// All that is left of a factory reset when the set has started again.
Steps FactoryReset(const SetView& view);

}  // namespace host
