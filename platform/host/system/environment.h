#pragma once

#include <filesystem>
#include <string>

namespace host {

// Where a set lives on this machine. Everything that the host reads or writes, except its own
// read-only data, is below `root`, the root directory of the set.
struct Environment {
  std::filesystem::path root;            // absolute; "/" on a real appliance
  std::filesystem::path modelFile;       // the model's features, JSON
  std::filesystem::path dataDir;         // catalogue and models; read only
  std::filesystem::path localeDir = {};  // translations, as gettext lays them out; may be empty
  std::filesystem::path configDir = {};  // what the machine's owner decides; read only
};

// What SETTINGS_ROOT, SETTINGS_MODEL, SETTINGS_DATA_DIR and SETTINGS_CONFIG_DIR say, with the
// defaults "/", the model "full" and the directories of the build or the installation. Translations
// always are those of the build or the installation.
Environment EnvironmentFromVariables();

// The environment of this process: what SetEnvironment gave, before that
// EnvironmentFromVariables. SetEnvironment is called before anything else uses the host, at
// most once, and before the process has a second thread.
const Environment& GetEnvironment();
void SetEnvironment(Environment environment);

// Durable data of the service: <root>/var/lib/settings-service.
std::filesystem::path StateDir();

// Data that ends with the set, on tmpfs: <root>/run/settings-service.
std::filesystem::path RunDir();

}  // namespace host
