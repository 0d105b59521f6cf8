#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "call.h"
#include "platform_path.h"

// The process's own surroundings: its environment, its locale and its files. Programs that use the
// fake are linked so that every setenv and setlocale comes here; what they change is kept here
// alone. The directory of files is a real one.
using namespace fakes;

extern "C" int __wrap_setenv(const char* name, const char* value, int overwrite);
extern "C" char* __wrap_setlocale(int category, const char* locale);

namespace {

std::string CategoryText(int category) {
  return category == LC_ALL ? "LC_ALL" : std::to_string(category);
}

// The locale that the environment asks for.
std::string LocaleOfEnvironment(const State& state) {
  const auto lang = state.environment.find("LANG");
  return lang == state.environment.end() ? "C" : lang->second;
}

std::shared_ptr<const std::filesystem::path> MakeTemporaryDirectory() {
  std::string path = std::filesystem::temp_directory_path() / "fake-platform.XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error("cannot make " + path + ": " + std::strerror(errno));
  }
  return {new std::filesystem::path(path), [](const std::filesystem::path* directory) {
            std::error_code ignored;
            std::filesystem::remove_all(*directory, ignored);
            delete directory;
          }};
}

// The caller holds the lock.
const std::filesystem::path& AppData() {
  auto& directory = Shared().state.appData;
  if (directory == nullptr) {
    directory = MakeTemporaryDirectory();
  }
  return *directory;
}

}  // namespace

int __wrap_setenv(const char* name, const char* value, int overwrite) {
  Call call("setenv", name, value, overwrite);
  if (auto error = call.Failure(ENOMEM)) {
    call.Returns(Verbatim{strerrorname_np(*error)});
    errno = *error;
    return -1;
  }
  if (overwrite != 0) {
    call->environment.insert_or_assign(name, value);
  } else {
    call->environment.try_emplace(name, value);
  }
  return call.Returns(0);
}

char* __wrap_setlocale(int category, const char* locale) {
  Call call("setlocale", Verbatim{CategoryText(category)}, locale);
  if (call.Failure(0)) {
    call.Returns(Verbatim{"null"});
    return nullptr;
  }
  if (locale != nullptr) {
    call->locale = *locale == '\0' ? LocaleOfEnvironment(*call.operator->()) : locale;
  }
  call.Returns(call->locale);
  return call->locale.data();
}

std::string ComposePlatformPath(int directory, const char* relative) {
  Call call("ComposePlatformPath", directory, relative);
  if (call.Failure(0) || directory != PLATFORM_DIRECTORY_APP_DATA || relative == nullptr ||
      *relative != '/') {
    return call.Returns(std::string());
  }
  const std::string path = AppData().string() + relative;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  call.Returns(Verbatim{std::string("app data") + relative});
  return path;
}

namespace fakes {

std::optional<std::string> Platform::Variable(const std::string& name) const {
  std::lock_guard lock(Shared().mutex);
  const auto& environment = Shared().state.environment;
  const auto variable = environment.find(name);
  return variable == environment.end() ? std::nullopt : std::optional(variable->second);
}

std::filesystem::path Platform::AppDataDirectory() const {
  std::lock_guard lock(Shared().mutex);
  return AppData();
}

void Platform::RemoveFiles() {
  std::lock_guard lock(Shared().mutex);
  Shared().state.appData.reset();
}

}  // namespace fakes
