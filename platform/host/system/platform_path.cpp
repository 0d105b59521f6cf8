// A set has a directory for each preinstalled application, created when the application is
// installed. A plain machine installs none, so the directory is created when its path is first
// requested, in the one directory in which the service may always write.

#include "platform_path.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "dlog.h"
#include "system/environment.h"

namespace {

// Nobody but the owner writes there, whatever the umask is. Returns 0 or an errno.
int MakeDirectories(const std::filesystem::path& wanted) {
  std::filesystem::path directory;
  std::error_code ignored;
  for (const std::filesystem::path& part : wanted) {
    directory /= part;
    if (!std::filesystem::is_directory(directory, ignored) &&
        ::mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) {
      return errno;
    }
  }
  return std::filesystem::is_directory(wanted, ignored) ? 0 : ENOTDIR;
}

}  // namespace

std::string ComposePlatformPath(int directory, const char* relative) {
  if (directory != PLATFORM_DIRECTORY_APP_DATA || relative == nullptr || *relative != '/') {
    return "";
  }
  const std::string path = (host::StateDir() / "app-data").string() + relative;
  const auto parent = std::filesystem::path(path).parent_path();
  if (const int error = MakeDirectories(parent); error != 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "platform_path", "cannot make the directory %s: %s\n",
                 parent.c_str(), std::strerror(error));
  }
  return path;
}
