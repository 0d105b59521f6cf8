// A set has a directory for each preinstalled application, created when the application is
// installed. A plain machine installs none, so the directory is created when its path is first
// requested, in the one directory in which the service may always write.

#include "platform_path.h"

#include <filesystem>
#include <system_error>

#include "dlog.h"
#include "system/environment.h"
#include "system/safe_directory.h"

std::string ComposePlatformPath(int directory, const char* relative) {
  if (directory != PLATFORM_DIRECTORY_APP_DATA || relative == nullptr || *relative != '/') {
    return "";
  }
  const std::string path = (host::StateDir() / "app-data").string() + relative;
  try {
    host::MakeDirectories(std::filesystem::path(path).parent_path());
  } catch (const std::system_error& error) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "platform_path", "%s\n", error.what());
  }
  return path;
}
