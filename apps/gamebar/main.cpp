// The game bar: an overlay over a game. It is launched by the settings service, and draws the
// crosshair that the service decides on.

#include <iterator>

#include "support/application.h"

namespace {

constexpr char kAimStatusKey[] = "memory/menu/virtualaim/status";
constexpr char kAimTypeKey[] = "db/menu/virtualaim/aimtype";

constexpr const char* kCrosshairs[] = {"+", "-+-", "-( )-", "( + )", "[ + ]", "> + <", "-(+)-"};

std::string CrosshairText(int status, int type) {
  if (status == 0) {
    return "no crosshair";
  }
  const bool known = type >= 0 && type < static_cast<int>(std::size(kCrosshairs));
  return std::string("crosshair  ") + kCrosshairs[known ? type : 0] + "  status " +
         std::to_string(status) + ", type " + std::to_string(type);
}

int NumberOf(const std::optional<host::KeyValue>& value) {
  const int* number = value ? std::get_if<int>(&*value) : nullptr;
  return number != nullptr ? *number : 0;
}

class GameBar : public apps::Application {
 public:
  GameBar() : Application("com.velmora.tv.gamebar") {}

 private:
  void OnStart() override {
    WatchKeys([this](const host::KeyChange& change) { Follow(change); });
    m_AimStatus = NumberOf(Keys().Get(kAimStatusKey));
    m_AimType = NumberOf(Keys().Get(kAimTypeKey));
    Draw();
  }

  void OnActivate(const apps::ExtraData& data) override {
    const auto found = data.find("mode");
    const std::string mode = found == data.end() ? "manual" : found->second;
    Say("mode " + mode);
    if (mode == "Terminate") {
      End("mode Terminate");
    } else if (mode == "auto_background") {
      EnterState(apps::State::kBackground);
    } else if (!data.contains("__NO_RAISE_WINDOW")) {
      EnterState(apps::State::kForeground);
    }
  }

  void Follow(const host::KeyChange& change) {
    if (change.key == kAimStatusKey) {
      m_AimStatus = NumberOf(change.value);
    } else if (change.key == kAimTypeKey) {
      m_AimType = NumberOf(change.value);
    }
    Draw();
  }

  // Draws what is not drawn yet: another type of crosshair is nothing to see while there is none.
  void Draw() {
    const std::string crosshair = CrosshairText(m_AimStatus, m_AimType);
    if (crosshair != m_Drawn) {
      m_Drawn = crosshair;
      Say(crosshair);
    }
  }

  int m_AimStatus = 0;
  int m_AimType = 0;
  std::string m_Drawn;
};

}  // namespace

int main(int argc, char** argv) { return apps::Main<GameBar>(argc, argv); }
