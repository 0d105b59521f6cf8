#include "Log.h"
#include "SettingsService.h"
#include "nuvra/app_main.h"

namespace {
constexpr char kLogModule[] = "SettingsService";
}

int main(int argc, char** argv) {
  SETTINGS_INFO("main start!!");
  // Callbacks may still arrive while the process ends, so the service is never deleted.
  auto* service = new SettingsService();
  return Nuvra::AppMain(argc, argv, service);
}
