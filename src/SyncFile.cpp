#include "SyncFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "platform_path.h"

namespace {

constexpr char kRelativePath[] = "/org.pavix.menu/.autopoweroff_sync_done";
constexpr mode_t kMode = 0644;

// More than any number needs; what else a file holds is not read.
constexpr std::size_t kMostRead = 64;

class OpenFile {
 public:
  OpenFile(const std::string &path, int flags)
      : m_File(open(path.c_str(), flags | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, kMode)) {
    struct stat status {};
    if (m_File >= 0 && (fstat(m_File, &status) != 0 || !S_ISREG(status.st_mode))) {
      close(m_File);
      m_File = -1;
    }
  }
  ~OpenFile() {
    if (m_File >= 0) {
      close(m_File);
    }
  }
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  explicit operator bool() const { return m_File >= 0; }
  int Get() const { return m_File; }

 private:
  int m_File;
};

std::optional<int> ParseNumber(const char *text) {
  char *end = nullptr;
  errno = 0;
  const long number = std::strtol(text, &end, 10);
  if (end == text || errno != 0 || number < INT_MIN || number > INT_MAX) {
    return std::nullopt;
  }
  return static_cast<int>(number);
}

}  // namespace

SyncFile::SyncFile()
    : m_Path(ComposePlatformPath(PLATFORM_DIRECTORY_APP_DATA, kRelativePath)),
      m_Mark(m_Path.empty() ? "" : m_Path + ".unfinished") {}

bool SyncFile::Exists() const { return access(m_Path.c_str(), F_OK) == 0; }

bool SyncFile::Read(int &count) const {
  const OpenFile file(m_Path, O_RDWR);
  if (!file) {
    return false;
  }
  char text[kMostRead + 1] = {};
  if (access(m_Mark.c_str(), F_OK) != 0 && read(file.Get(), text, kMostRead) > 0) {
    count = ParseNumber(text).value_or(count);
  }
  return true;
}

bool SyncFile::Write(int count) const {
  const OpenFile file(m_Path, O_WRONLY | O_CREAT);
  if (!file) {
    return false;
  }
  // A write that fails leaves an empty file: the next start takes it for outdated, as it should.
  if (ftruncate(file.Get(), 0) == 0) {
    dprintf(file.Get(), "%d", count);
    fsync(file.Get());
  }
  return true;
}

void SyncFile::BeginApplying() const { OpenFile(m_Mark, O_WRONLY | O_CREAT); }

void SyncFile::EndApplying() const { unlink(m_Mark.c_str()); }
