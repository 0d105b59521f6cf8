// The TV viewer: shows the picture of a source. Others read from two keys whether it can be seen,
// and which banners it shows over the picture.

#include "set/keys.h"
#include "support/application.h"

namespace {

std::string ViewerState(apps::State state) {
  switch (state) {
    case apps::State::kForeground:
      return "resume_focus";
    case apps::State::kVisible:
      return "resume";
    default:
      return "pause";
  }
}

class TvViewer : public apps::Application {
 public:
  TvViewer() : Application("org.pavix.tv-viewer") {}

 private:
  // A launch request says which banners to show, separated by commas.
  void OnActivate(const apps::ExtraData& data) override {
    EnterState(apps::State::kForeground);
    const auto banners = data.find("banners");
    ShowBanners(banners == data.end() ? "" : banners->second);
  }

  void OnState(apps::State state) override {
    Keys().Set(host::kViewerStateKey, ViewerState(state));
    if (state == apps::State::kBackground) {
      ShowBanners("");
    }
  }

  void ShowBanners(const std::string& banners) {
    Keys().Set(host::kVisibleBannersKey, banners);
    if (banners != m_Banners) {
      m_Banners = banners;
      Say(banners.empty() ? "no banners" : "banners " + banners);
    }
  }

  std::string m_Banners;
};

}  // namespace

int main(int argc, char** argv) { return apps::Main<TvViewer>(argc, argv); }
