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

// The first directory above the program that has our data below it: the prefix of an installation,
// also of one that was moved, or a build, which has the same layout.
std::filesystem::path Prefix() {
  std::error_code ignored;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
  for (auto above = program.parent_path(); above.has_relative_path(); above = above.parent_path()) {
    if (std::filesystem::is_directory(above / SETTINGS_DATA_DIR, ignored)) {
      return above;
    }
  }
  return SETTINGS_PREFIX;
}

// The configuration of what is in /usr is beside it.
std::filesystem::path ConfigDir(const std::filesystem::path& prefix) {
  return (prefix == "/usr" ? "/" : prefix) / SETTINGS_CONFIG_DIR;
}

}  // namespace

Environment EnvironmentFromVariables() {
  Environment environment;
  environment.root = std::filesystem::absolute(Variable("SETTINGS_ROOT", "/"));
  const std::filesystem::path prefix = Prefix();
  environment.dataDir = Variable("SETTINGS_DATA_DIR", prefix / SETTINGS_DATA_DIR);
  environment.modelFile = Variable("SETTINGS_MODEL", environment.dataDir / "models" / "full.json");
  environment.localeDir = prefix / SETTINGS_LOCALE_DIR;
  environment.configDir = Variable("SETTINGS_CONFIG_DIR", ConfigDir(prefix));
  return environment;
}

const Environment& GetEnvironment() {
  return g_Host.environment.Get([] { return new Environment(EnvironmentFromVariables()); });
}

void SetEnvironment(Environment environment) { g_Host.environment.Get() = std::move(environment); }

std::filesystem::path StateDir() { return GetEnvironment().root / "var/lib/settings-service"; }

std::filesystem::path RunDir() { return GetEnvironment().root / "run/settings-service"; }

}  // namespace host
