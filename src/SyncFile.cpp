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

// Of a regular file; of nothing when it cannot be opened or is anything else.
class FileDescriptor {
 public:
  FileDescriptor(const std::string& path, int flags)
      : m_File(open(path.c_str(), flags | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, kMode)) {
    struct stat status {};
    if (m_File >= 0 && (fstat(m_File, &status) != 0 || !S_ISREG(status.st_mode))) {
      close(m_File);
      m_File = -1;
    }
  }
  ~FileDescriptor() {
    if (m_File >= 0) {
      close(m_File);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  explicit operator bool() const { return m_File >= 0; }
  int Get() const { return m_File; }

 private:
  int m_File;
};

std::optional<int> ParseNumber(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(text, &end, 10);
  if (end == text || errno != 0 || number < INT_MIN || number > INT_MAX) {
    return std::nullopt;
  }
  return static_cast<int>(number);
}

bool IsThere(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

SyncFile::SyncFile()
    : m_Path(ComposePlatformPath(PLATFORM_DIRECTORY_APP_DATA, kRelativePath)),
      m_Mark(m_Path.empty() ? "" : m_Path + ".unfinished") {}

bool SyncFile::Exists() const { return IsThere(m_Path); }

bool SyncFile::Read(int& count) const {
  const FileDescriptor file(m_Path, O_RDWR);
  if (!file) {
    return false;
  }
  char text[kMostRead + 1] = {};
  if (read(file.Get(), text, kMostRead) > 0) {
    count = ParseNumber(text).value_or(count);
  }
  return true;
}

bool SyncFile::IsMarked() const { return IsThere(m_Mark); }

SyncFile::Written SyncFile::Write(int count) const {
  if (FileDescriptor(m_Mark, O_WRONLY | O_CREAT)) {
    m_FlushDirectory();
  }
  const FileDescriptor file(m_Path, O_WRONLY | O_CREAT);
  if (!file || ftruncate(file.Get(), 0) != 0) {
    return Written::kNotOpened;
  }
  if (dprintf(file.Get(), "%d", count) < 0 || fsync(file.Get()) != 0) {
    return Written::kFailed;
  }
  m_FlushDirectory();
  return Written::kDone;
}

void SyncFile::EndApplying() const { unlink(m_Mark.c_str()); }

void SyncFile::m_FlushDirectory() const {
  const std::string directory = m_Path.substr(0, m_Path.rfind('/') + 1);
  const int opened = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened >= 0) {
    fsync(opened);
    close(opened);
  }
}
