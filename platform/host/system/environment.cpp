#include "system/environment.h"

#include <cstdlib>
#include <utility>

#include "system/host.h"

namespace host {
namespace {

std::string Variable(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

bool IsInstalled() {
  std::error_code ignored;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", ignored);
  return executable.native().rfind(std::string(SETTINGS_INSTALL_PREFIX) + "/", 0) == 0;
}

// A build that is not installed finds its data in the source tree, and what is generated from them
// in the build tree.
std::string DefaultDataDir() {
  return IsInstalled() ? SETTINGS_INSTALL_DATA_DIR : SETTINGS_SOURCE_DATA_DIR;
}

std::string LocaleDir() {
  return IsInstalled() ? SETTINGS_INSTALL_LOCALE_DIR : SETTINGS_BUILD_LOCALE_DIR;
}

}  // namespace

Environment EnvironmentFromVariables() {
  Environment environment;
  environment.root = std::filesystem::absolute(Variable("SETTINGS_ROOT", "/"));
  environment.dataDir = Variable("SETTINGS_DATA_DIR", DefaultDataDir());
  environment.modelFile = Variable("SETTINGS_MODEL", environment.dataDir / "models" / "full.json");
  environment.localeDir = LocaleDir();
  return environment;
}

const Environment& GetEnvironment() {
  return g_Host.environment.Get([] { return new Environment(EnvironmentFromVariables()); });
}

void SetEnvironment(Environment environment) { g_Host.environment.Get() = std::move(environment); }

std::filesystem::path StateDir() { return GetEnvironment().root / "var/lib/settings-service"; }

std::filesystem::path RunDir() { return GetEnvironment().root / "run/settings-service"; }

}  // namespace host
