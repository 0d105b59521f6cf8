#include "keystore/store_files.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <system_error>

namespace host {
namespace {

using std::filesystem::path;

constexpr std::string_view kLogSuffix = "-wal";
constexpr std::string_view kLogIndexSuffix = "-shm";
constexpr std::string_view kAsideMark = ".damaged-";

path WithSuffix(path file, std::string_view suffix) { return file += suffix; }

}  // namespace

path LogOf(const path& file) { return WithSuffix(file, kLogSuffix); }

path LogIndexOf(const path& file) { return WithSuffix(file, kLogIndexSuffix); }

path CopyOf(const path& file) { return WithSuffix(file, ".copy"); }

path NameAside(const path& file) {
  const auto now = std::chrono::system_clock::now();
  const auto micros =
      std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
  const auto seconds = static_cast<std::time_t>(micros / 1'000'000);
  std::tm utc{};
  ::gmtime_r(&seconds, &utc);
  char date[32];
  std::strftime(date, sizeof(date), "%Y%m%dT%H%M%S", &utc);
  char fraction[16];
  std::snprintf(fraction, sizeof(fraction), ".%06dZ", static_cast<int>(micros % 1'000'000));
  return WithSuffix(file, kAsideMark) += std::string(date) + fraction;
}

std::vector<path> SetAsideFiles(const path& file) {
  const std::string prefix = WithSuffix(file.filename(), kAsideMark);
  std::vector<path> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), error)) {
    const std::string name = entry.path().filename();
    const bool isBesideFile =
        name.ends_with(kLogSuffix) &&
        IsThere(file.parent_path() / name.substr(0, name.size() - kLogSuffix.size()));
    if (name.starts_with(prefix) && !isBesideFile && !name.ends_with(kLogIndexSuffix)) {
      found.push_back(entry.path());
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

bool IsThere(const path& file) {
  struct stat status;
  return ::lstat(file.c_str(), &status) == 0;
}

bool IsMissingOrEmpty(const path& file) {
  struct stat status;
  return ::stat(file.c_str(), &status) != 0 ? errno == ENOENT
                                            : S_ISREG(status.st_mode) && status.st_size == 0;
}

std::string AbsenceOf(const path& file) {
  if (!IsThere(file)) {
    return "is missing";
  }
  struct stat status;
  return ::stat(file.c_str(), &status) == 0 ? "is empty" : "is a link to a missing file";
}

bool HasCopyOrLog(const path& file) { return IsThere(CopyOf(file)) || IsThere(LogOf(file)); }

bool IsOnReadOnlyFileSystem(const path& file) {
  struct statvfs status;
  return (::statvfs(file.c_str(), &status) == 0 ||
          ::statvfs(file.parent_path().c_str(), &status) == 0) &&
         (status.f_flag & ST_RDONLY) != 0;
}

}  // namespace host
