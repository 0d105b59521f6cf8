#include <gtest/gtest.h>

#include "contract/set.h"
#include "keystore/process_store.h"
#include "set/keys.h"
#include "set/set_operator.h"
#include "system/environment.h"

namespace contract {
namespace {

void Play(const host::Steps& steps) {
  host::SetOperator(host::ProcessStore(), host::RunDir()).Play([&](const host::SetView&) {
    return steps;
  });
}

// What makes a set complete are events of it: none is left for the first test.
class CompleteSet : public testing::Environment {
  void SetUp() override { Play({}); }
};
const testing::Environment* const g_CompleteSet =
    testing::AddGlobalTestEnvironment(new CompleteSet);

}  // namespace

void SetSources(const std::vector<CSourceItem>& sources) {
  std::vector<host::SetSource> attached;
  for (const CSourceItem& source : sources) {
    attached.push_back({source, false});
  }
  Play({{host::kSourcesKey, host::WriteSources(attached)}});
}

void PlaySourceEvent(int event) { Play({{host::kSourceEventKey, event}}); }

void ShowSource(int id) {
  Play({{host::kPreviewKey, host::kNoPreview}, {host::kCurrentSourceKey, id}});
}

void ShowPreview(int id) { Play({{host::kPreviewKey, id}}); }
void EndPreview() { ShowPreview(host::kNoPreview); }
void SetSourceState(int state) { Play({{host::kSourceStateKey, state}}); }

void SetWindow(int x, int y, int width, int height) {
  Play({{host::kWindowKey, host::WriteWindow({x, y, width, height})}});
}

void PlaySignal(int type) { Play({{host::kSignalKey, type}}); }
void SetPictureSetting(int value) { Play({{host::kPictureSettingKey, value}}); }
void SetGameItem(int value) { Play({{host::kGameItemKey, value}}); }
void SetGameMode(int value) { Play({{host::kGameModeKey, value}}); }
void SetPower(int state) { Play({{host::kPowerKey, state}}); }
void SetSpeaker(const std::string& name) { Play({{host::kSpeakerKey, name}}); }

}  // namespace contract
