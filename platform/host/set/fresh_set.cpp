#include "set/fresh_set.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "set/keys.h"
#include "set/ports.h"
#include "set/set_value.h"

namespace host {
namespace {

SetSource EmptyPort(const char* name) { return EmptyPort(*FindPort(name)); }

constexpr Window kWholeScreen{.x = 0, .y = 0, .width = 1920, .height = 1080};
constexpr int kUpright = 1;

}  // namespace

SetLock::SetLock(const std::filesystem::path& runDir) {
  const std::filesystem::path file = runDir / "set.lock";
  m_File = FileDescriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  while (!m_File || ::flock(m_File.Get(), LOCK_EX) != 0) {
    if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "cannot lock " + file.string());
    }
  }
}

const std::vector<std::pair<std::string, KeyValue>>& FreshSet() {
  static const auto* const box = [] {
    SetSource tuner = EmptyPort("tv");
    tuner.isEmpty = false;
    return new std::vector<std::pair<std::string, KeyValue>>{
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
  }();
  return *box;
}

void PrepareFreshSet(KeyStore& store, const SetLock&) {
  for (const auto& [key, value] : FreshSet()) {
    if (!store.Get(key)) {
      store.Set(key, value);
    }
  }
}

}  // namespace host
