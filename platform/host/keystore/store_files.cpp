#include "keystore/store_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "system/file_descriptor.h"

namespace host {
namespace {

using std::filesystem::path;

constexpr std::string_view kLogSuffix = "-wal";
constexpr std::string_view kLogIndexSuffix = "-shm";
constexpr std::string_view kAsideMark = ".damaged-";

path WithSuffix(path file, std::string_view suffix) { return file += suffix; }

path NoteOf(const path& file) { return WithSuffix(file, "-pair"); }

// Tells a file from any other, also from one that gets its number once it is gone. Empty when it
// does not exist, and where nothing but that number is known.
std::string IdOf(const path& file) {
  struct statx status {};
  if (::statx(AT_FDCWD, file.c_str(), 0, STATX_INO | STATX_BTIME, &status) != 0 ||
      (status.stx_mask & STATX_BTIME) == 0) {
    return {};
  }
  return std::to_string(status.stx_ino) + "." + std::to_string(status.stx_btime.tv_sec) + "." +
         std::to_string(status.stx_btime.tv_nsec);
}

struct Pair {
  std::string file;
  std::string log;
  bool operator==(const Pair&) const = default;
};

Pair PairOf(const path& file) { return {IdOf(file), IdOf(LogOf(file))}; }

Pair NotedPair(const path& file) {
  Pair noted;
  std::ifstream(NoteOf(file)) >> noted.file >> noted.log;
  return noted;
}

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

void NotePair(const path& file) {
  const Pair pair = PairOf(file);
  if (pair.file.empty() || pair.log.empty() || pair == NotedPair(file)) {
    return;
  }
  // It may be another user's.
  ForgetPair(file);
  const FileDescriptor opened(
      ::open(NoteOf(file).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  const std::string note = pair.file + " " + pair.log + "\n";
  if (opened && ::write(opened.Get(), note.data(), note.size()) != std::ssize(note)) {
    ForgetPair(file);
  }
}

void ForgetPair(const path& file) { ::unlink(NoteOf(file).c_str()); }

bool HasForeignLog(const path& file) {
  const Pair pair = PairOf(file);
  const Pair noted = NotedPair(file);
  return !pair.log.empty() && pair.log == noted.log && !pair.file.empty() && !noted.file.empty() &&
         pair.file != noted.file && !IsMissingOrEmpty(file);
}

bool IsOnReadOnlyFileSystem(const path& file) {
  struct statvfs status;
  return (::statvfs(file.c_str(), &status) == 0 ||
          ::statvfs(file.parent_path().c_str(), &status) == 0) &&
         (status.f_flag & ST_RDONLY) != 0;
}

}  // namespace host
