// Shows several pictures at once. While it is in the foreground there is neither a game bar nor a
// crosshair.

#include "set/keys.h"
#include "support/application.h"

namespace {

class MultiScreenLauncher : public apps::Application {
 public:
  MultiScreenLauncher() : Application("com.velmora.tv.multiscreenlauncher") {}

 private:
  void OnState(apps::State state) override {
    const bool on = state == apps::State::kForeground;
    Keys().Set(host::kMultiScreenKey, on ? R"({"mode":"on"})" : R"({"mode":"off"})");
  }
};

}  // namespace

int main(int argc, char** argv) { return apps::Main<MultiScreenLauncher>(argc, argv); }
