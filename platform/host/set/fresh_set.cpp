#include "set/fresh_set.h"

#include <fcntl.h>

#include <algorithm>
#include <string>

#include "set/keys.h"
#include "set/ports.h"
#include "set/set_value.h"
#include "system/file_lock.h"

namespace host {
namespace {

SetSource EmptyPort(const char* name) { return EmptyPort(*FindPort(name)); }

constexpr Window kWholeScreen{.x = 0, .y = 0, .width = 1920, .height = 1080};
constexpr int kUpright = 1;

}  // namespace

SetLock::SetLock(const std::filesystem::path& runDir)
    : m_File(OpenLocked(runDir / "set.lock", O_RDWR | O_CREAT)) {}

std::vector<std::pair<std::string, KeyValue>> FreshSet() {
  SetSource tuner = EmptyPort("tv");
  tuner.isEmpty = false;
  return {
      {kSourcesKey, WriteSources({tuner, EmptyPort("hdmi1"), EmptyPort("hdmi2")})},
      {kCurrentSourceKey, tuner.sourceId},
      {kPreviewKey, kNoPreview},
      {kSourceStateKey, kPictureShown},
      {kSourceTypeKey, std::string(SourceType(tuner.sourceId))},
      {kWindowKey, WriteWindow(kWholeScreen)},
      {kGameItemKey, 0},
      {kGameModeKey, 0},
      {kPowerKey, kPowerOn},
      {kViewerStateKey, ""},
      {kVisibleBannersKey, ""},
      {kRotationKey, kUpright},
      {kFactoryResetCountKey, 0},
  };
}

bool IsPrepared(KeyStore& store) {
  const auto keys = FreshSet();
  return std::all_of(keys.begin(), keys.end(),
                     [&](const auto& key) { return store.Get(key.first).has_value(); });
}

void PrepareFreshSet(KeyStore& store, const SetLock&) {
  for (const auto& [key, value] : FreshSet()) {
    if (!store.Get(key)) {
      store.Set(key, value);
    }
  }
}

}  // namespace host
