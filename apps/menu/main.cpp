// The settings menu. The settings service launches it with a popup that it wants to be seen.

#include "support/application.h"

namespace {

class Menu : public apps::Application {
 public:
  Menu() : Application("org.pavix.menu") {}

 private:
  void OnActivate(const apps::ExtraData& data) override {
    const auto popup = data.find("type");
    Say(popup == data.end() ? "menu open" : "popup " + popup->second);
    EnterState(apps::State::kForeground);
  }
};

}  // namespace

int main(int argc, char** argv) { return apps::Main<Menu>(argc, argv); }
