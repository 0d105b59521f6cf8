#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "keystore/key_store.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "system/log.h"
#include "text.h"

namespace setctl {
namespace {

constexpr std::chrono::seconds kLogPatience(2);

// Whether this user may change what is in the directory, or make it where it is missing.
bool MayUse(std::filesystem::path directory) {
  std::error_code ignored;
  while (!std::filesystem::is_directory(directory, ignored) && directory.has_relative_path()) {
    directory = directory.parent_path();
  }
  return faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0 || errno != EACCES;
}

}  // namespace

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

void RequireSet() {
  if (!host::IsStoreMade(host::StateDir(), host::RunDir())) {
    throw tools::Failure(tools::ExitCode::kNotRunning,
                         fmt::format("no set runs in {}; start one, e.g. with ./run, or give the "
                                     "root of another one with --root or SETTINGS_ROOT",
                                     tools::Quote(host::GetEnvironment().root.native())));
  }
}

tools::ExitCode WithSet(const Options& options, const std::function<tools::ExitCode()>& verb) {
  EnterSet(options);
  try {
    return verb();
  } catch (const tools::Failure&) {
    throw;
  } catch (const std::runtime_error& error) {
    if (MayUse(host::StateDir()) && MayUse(host::RunDir())) {
      throw;
    }
    throw tools::Failure(tools::ExitCode::kNotAllowed, error.what());
  }
}

std::unique_ptr<host::KeyStore> OpenStore() {
  RequireSet();
  host::OpenLog({});
  auto store = std::make_unique<host::KeyStore>(host::StateDir(), host::RunDir());
  host::FlushLog(kLogPatience);
  return store;
}

tools::ExitCode WithStore(const Options& options,
                          const std::function<tools::ExitCode(host::KeyStore&)>& verb) {
  return WithSet(options, [&] { return verb(*OpenStore()); });
}

}  // namespace setctl
