#include <gtest/gtest.h>

#include "contract/set.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "vconf.h"

// The host's set is operated by its keys.
namespace contract {
namespace {

void Write(const char* key, int value) { EXPECT_EQ(vconf_set_int(key, value), 0); }

void Write(const char* key, const host::KeyValue& value) {
  EXPECT_EQ(vconf_set_str(key, host::ReadText(value).c_str()), 0);
}

}  // namespace

void SetSources(const std::vector<CSourceItem>& sources) {
  std::vector<host::SetSource> attached;
  for (const CSourceItem& source : sources) {
    attached.push_back({source, false});
  }
  Write(host::kSourcesKey, host::WriteSources(attached));
}

void PlaySourceEvent(int event) { Write(host::kSourceEventKey, event); }

void ShowSource(int id) {
  Write(host::kPreviewKey, host::kNoPreview);
  Write(host::kCurrentSourceKey, id);
}

void ShowPreview(int id) { Write(host::kPreviewKey, id); }
void EndPreview() { Write(host::kPreviewKey, host::kNoPreview); }
void SetSourceState(int state) { Write(host::kSourceStateKey, state); }

void SetWindow(int x, int y, int width, int height) {
  Write(host::kWindowKey, host::WriteWindow({x, y, width, height}));
}

void PlaySignal(int type) { Write(host::kSignalKey, type); }
void SetPictureSetting(int value) { Write(host::kPictureSettingKey, value); }
void SetGameItem(int value) { Write(host::kGameItemKey, value); }
void SetGameMode(int value) { Write(host::kGameModeKey, value); }
void SetPower(int state) { Write(host::kPowerKey, state); }

void SetSpeaker(const std::string& name) {
  EXPECT_EQ(vconf_set_str(host::kSpeakerKey, name.c_str()), 0);
}

}  // namespace contract
