#include "setctl/log_file.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include "system/log_file.h"

namespace setctl {
namespace {

constexpr off_t kBlock = 64 * 1024;

std::system_error ErrorAt(const std::filesystem::path& path) {
  return std::system_error(errno, std::generic_category(), path.native());
}

// Where the last `lines` lines begin; `lines` becomes the number of those missing. A line end at
// the end of the file does not begin a line.
off_t BeginOfLastLines(int fd, int& lines) {
  struct stat status {};
  const off_t size = fstat(fd, &status) == 0 ? status.st_size : 0;
  std::string block(kBlock, '\0');
  off_t end = size;
  while (end > 0) {
    const off_t begin = std::max<off_t>(end - kBlock, 0);
    const ssize_t count = pread(fd, block.data(), end - begin, begin);
    if (count <= 0) {
      return begin;
    }
    for (off_t at = begin + count; at-- > begin;) {
      if (block[at - begin] == '\n' && at + 1 != size && --lines == 0) {
        return at + 1;
      }
    }
    end = begin;
  }
  lines -= size > 0 ? 1 : 0;
  return 0;
}

bool IsSame(int fd, int otherFd) {
  struct stat one {};
  struct stat other {};
  return fstat(fd, &one) == 0 && fstat(otherFd, &other) == 0 && one.st_dev == other.st_dev &&
         one.st_ino == other.st_ino;
}

}  // namespace

LogFile::LogFile(const std::filesystem::path& file, std::optional<int> lines)
    : m_File(file), m_Fd(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (!m_Fd) {
    throw ErrorAt(file);
  }
  int missing = lines.value_or(1);
  if (lines) {
    lseek(m_Fd.Get(), BeginOfLastLines(m_Fd.Get(), missing), SEEK_SET);
  }
  host::FileDescriptor older(
      missing > 0 ? open(host::OlderLogFile(file).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1);
  // It may be the file just opened, renamed meanwhile.
  if (older && !IsSame(older.Get(), m_Fd.Get())) {
    if (lines) {
      lseek(older.Get(), BeginOfLastLines(older.Get(), missing), SEEK_SET);
    }
    // Kept open: it may have lost its name when its turn comes.
    m_NextFd = std::exchange(m_Fd, std::move(older));
  }
}

void LogFile::Read(const LineCallback& line) {
  do {
    m_ReadOpened(line);
  } while (m_OpenNext(line));
}

void LogFile::ReadRest(const LineCallback& line) {
  if (!m_Rest.empty()) {
    line(std::exchange(m_Rest, ""));
  }
}

void LogFile::m_ReadOpened(const LineCallback& line) {
  struct stat status {};
  if (fstat(m_Fd.Get(), &status) == 0 && status.st_size < lseek(m_Fd.Get(), 0, SEEK_CUR)) {
    // It was truncated: all that is in it is new.
    ReadRest(line);
    lseek(m_Fd.Get(), 0, SEEK_SET);
  }
  std::string block(kBlock, '\0');
  for (;;) {
    const ssize_t count = read(m_Fd.Get(), block.data(), block.size());
    if (count < 0) {
      throw ErrorAt(m_File);
    }
    if (count == 0) {
      return;
    }
    m_Rest.append(block, 0, count);
    std::size_t begin = 0;
    for (std::size_t end; (end = m_Rest.find('\n', begin)) != std::string::npos; begin = end + 1) {
      line(m_Rest.substr(begin, end - begin));
    }
    m_Rest.erase(0, begin);
  }
}

// Switches to the file known to come next, otherwise to the one that has the name now, if that is a
// different file.
bool LogFile::m_OpenNext(const LineCallback& line) {
  if (!m_NextFd) {
    host::FileDescriptor named(open(m_File.c_str(), O_RDONLY | O_CLOEXEC));
    if (!named || IsSame(named.Get(), m_Fd.Get())) {
      return false;
    }
    m_NextFd = std::move(named);
  }
  // Written between the last reading of the old file and the creation of the new one.
  m_ReadOpened(line);
  ReadRest(line);
  m_Fd = std::exchange(m_NextFd, host::FileDescriptor());
  return true;
}

DirectoryWatch::DirectoryWatch(const std::filesystem::path& directory)
    : m_Fd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  constexpr uint32_t kChanges = IN_MODIFY | IN_CREATE | IN_MOVED_TO;
  if (m_Fd < 0 || inotify_add_watch(m_Fd, directory.c_str(), kChanges) < 0) {
    const std::system_error error = ErrorAt(directory);
    close(m_Fd);
    throw error;
  }
}

DirectoryWatch::~DirectoryWatch() { close(m_Fd); }

void DirectoryWatch::Clear() {
  alignas(inotify_event) char events[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
  while (read(m_Fd, events, sizeof events) > 0) {
  }
}

}  // namespace setctl
