#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_view.h"

// Operations on a set, as data. Nothing here changes a set: SetOperator plays it. A source is given
// by its number; a source that is not in the list, and anything else that is impossible in the
// set's current state, throws SetError.
namespace host {

// A key written after a pause, so that services on other threads, and programs that read a key when
// notified of its change, see one step before the next.
struct Step {
  std::string key;
  KeyValue value;
  std::chrono::milliseconds pause{0};
};

using Steps = std::vector<Step>;

// Attaches a device to an empty port, or adds a source; without a name, an empty port. The device
// reports the same name unless `detected` is given.
Steps AddSource(const SetView& view, int source, const std::string& name,
                const std::optional<std::string>& detected);

// A port with a device becomes empty; an empty port, the tuner, or a source that is not at a port
// is removed.
Steps RemoveSource(const SetView& view, int source);

Steps RenameSource(const SetView& view, int source, const std::string& name);

// A change to that source, from its start to a picture, or to no signal.
Steps SwitchTo(const SetView& view, int source);

// Shows a source as a preview; kNoPreview ends that.
Steps Preview(const SetView& view, int source);

// Changes the size of the picture, not its position.
Steps Resize(const SetView& view, int width, int height);

Steps GeneralReset();

// What remains of a factory reset once the set has restarted.
Steps FactoryReset(const SetView& view);

}  // namespace host
