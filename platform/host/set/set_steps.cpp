#include "set/set_steps.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "set/keys.h"
#include "set/ports.h"
#include "set/set_error.h"
#include "tv_service.h"

namespace host {
namespace {

using Sources = std::vector<SetSource>;

constexpr int kNoPicture = 0;
constexpr std::chrono::milliseconds kBetweenSteps{50};
constexpr std::chrono::milliseconds kGeneralReset{500};

std::string NameOf(int source) {
  const Port* port = FindPort(source);
  return port != nullptr ? std::string(port->name) : std::to_string(source);
}

Sources::iterator Find(Sources& sources, int source) {
  return std::find_if(sources.begin(), sources.end(),
                      [&](const SetSource& held) { return held.sourceId == source; });
}

Sources::iterator Existing(Sources& sources, int source) {
  const auto found = Find(sources, source);
  if (found == sources.end()) {
    throw SetError(SetError::Kind::kNoSource, NameOf(source),
                   fmt::format("no source {}", NameOf(source)));
  }
  return found;
}

Step WriteType(int source) { return {kSourceTypeKey, std::string(SourceType(source))}; }

}  // namespace

Steps AddSource(const SetView& view, int source, const std::string& name,
                const std::optional<std::string>& detected) {
  const Port* port = FindPort(source);
  SetSource added;
  added.sourceId = source;
  added.isEmpty = name.empty();
  added.editName = !added.isEmpty    ? name
                   : port != nullptr ? std::string(port->label)
                                     : fmt::format("Source {}", source);
  added.detectedName = detected.value_or(name);
  Sources sources = view.Sources();
  const auto held = Find(sources, source);
  if (held == sources.end()) {
    if (sources.size() == kMostSources) {
      throw SetError(SetError::Kind::kTooManySources, NameOf(source),
                     fmt::format("a set has at most {} sources", kMostSources));
    }
    sources.push_back(added);
  } else if (!added.isEmpty && held->isEmpty) {
    *held = added;
  } else {
    throw SetError(SetError::Kind::kSourceExists, NameOf(source),
                   fmt::format("source {} already exists: \"{}\"", NameOf(source), held->editName));
  }
  return {{kSourcesKey, WriteSources(sources)}};
}

Steps RemoveSource(const SetView& view, int source) {
  const Port* port = FindPort(source);
  Sources sources = view.Sources();
  const auto held = Existing(sources, source);
  if (port != nullptr && port != &Ports()[0] && !held->isEmpty) {
    *held = EmptyPort(*port);
  } else {
    sources.erase(held);
  }
  return {{kSourcesKey, WriteSources(sources)}};
}

Steps RenameSource(const SetView& view, int source, const std::string& name) {
  Sources sources = view.Sources();
  Existing(sources, source)->editName = name;
  return {{kSourcesKey, WriteSources(sources)}};
}

Steps SwitchTo(const SetView& view, int source) {
  Sources sources = view.Sources();
  const bool isEmpty = Existing(sources, source)->isEmpty;
  Steps steps = {
      {kPreviewKey, kNoPreview},
      {kCurrentSourceKey, source},
      WriteType(source),
      {kSourceStateKey, isEmpty ? kNoPicture : kPictureShown},
      // Before the start of the change is signalled: in between, this signal would cancel the
      // change.
      {kSignalKey, SIGNAL_SOURCE_INFO_CHANGE},
      {kSignalKey, SIGNAL_EXT_SOURCE_CHANGE_START, kBetweenSteps},
  };
  if (isEmpty) {
    steps.push_back({kSignalKey, SIGNAL_EXT_SOURCE_NO_SIGNAL, kBetweenSteps});
  } else {
    steps.push_back({kPictureSettingKey, kPictureSettingDone, kBetweenSteps});
    steps.push_back({kSignalKey, SIGNAL_EXT_SOURCE_SIGNAL_OK, kBetweenSteps});
  }
  return steps;
}

Steps Preview(const SetView& view, int source) {
  int shown = source;
  if (source == kNoPreview) {
    shown = view.Number(kCurrentSourceKey).value_or(Ports()[0].sourceId);
  } else {
    Sources sources = view.Sources();
    Existing(sources, source);
  }
  return {{kPreviewKey, source}, WriteType(shown), {kSignalKey, SIGNAL_SOURCE_INFO_CHANGE}};
}

Steps Resize(const SetView& view, int width, int height) {
  Window window = view.PictureWindow();
  window.width = width;
  window.height = height;
  return {{kWindowKey, WriteWindow(window)}};
}

Steps GeneralReset() { return {{kGeneralResetKey, 1}, {kGeneralResetKey, 0, kGeneralReset}}; }

Steps FactoryReset(const SetView& view) {
  const int count = view.Number(kFactoryResetCountKey).value_or(0);
  if (count == std::numeric_limits<int>::max()) {
    throw SetError(SetError::Kind::kCannotCount, kFactoryResetCountKey,
                   fmt::format("{} cannot count any further", kFactoryResetCountKey));
  }
  return {{kFactoryResetCountKey, count + 1}};
}

}  // namespace host
