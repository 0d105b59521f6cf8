#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {

void EnterSet(const Options& options) {
  host::Environment environment = host::EnvironmentFromVariables();
  if (options.root) {
    environment.root = std::filesystem::absolute(*options.root);
  }
  // A mistyped directory must not become a new set.
  std::error_code ignored;
  if (!std::filesystem::is_directory(environment.root, ignored)) {
    throw tools::Failure(tools::ExitCode::kUsage,
                         fmt::format("no set in {}: there is no such directory; give the set's "
                                     "root with --root or SETTINGS_ROOT",
                                     tools::Quote(environment.root.native())));
  }
  host::SetEnvironment(std::move(environment));
}

}  // namespace setctl
