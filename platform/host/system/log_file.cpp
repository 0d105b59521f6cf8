// A lock on the file announces that lines wait to be written: it is cheap, visible to every
// process, and disappears with the process however it ends. It is taken before the first of the
// lines is queued, so that whoever got a reply finds it.

#include "system/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "system/environment.h"
#include "system/safe_directory.h"

namespace host {
namespace {

constexpr int kOpenFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
constexpr mode_t kMode = 0644;
constexpr std::chrono::milliseconds kLookPeriod(1);

bool IsSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether a relative path does not begin with "..".
bool StaysBelow(const std::filesystem::path& way) { return !way.empty() && *way.begin() != ".."; }

// The path from a set's root to the directory of `file`, if that is below it, however the two are
// spelled.
std::optional<std::filesystem::path> WayFromRoot(const std::filesystem::path& file) {
  std::error_code ignored;
  const std::filesystem::path root = std::filesystem::canonical(GetEnvironment().root, ignored);
  if (!root.has_relative_path()) {
    return std::nullopt;
  }
  // The path as spelled comes first: it shows the links in it.
  const std::filesystem::path spelled = std::filesystem::absolute(file);
  std::filesystem::path before;
  std::optional<std::filesystem::path> behind;
  for (const std::filesystem::path& component : spelled) {
    before /= component;
    if (std::filesystem::equivalent(before, root, ignored)) {
      behind.emplace();
    } else if (behind) {
      *behind /= component;
    }
  }
  if (behind && StaysBelow(behind->lexically_normal())) {
    return behind->lexically_normal().parent_path();
  }
  const std::filesystem::path real =
      std::filesystem::canonical(spelled.parent_path(), ignored).lexically_relative(root);
  return StaysBelow(real) ? std::optional(real) : std::nullopt;
}

FileDescriptor OpenDirectory(const std::filesystem::path& path) {
  return FileDescriptor(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

FileDescriptor OpenWithoutLinks(const std::filesystem::path& file,
                                const std::filesystem::path& way) {
  try {
    SafeDirectory directory(GetEnvironment().root);
    for (const std::filesystem::path& component : way) {
      if (component != ".") {
        directory = directory.Enter(component);
      }
    }
    return std::move(directory).TakeFd();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("cannot open the log file " + file.string() + ": " + failure.what());
  }
}

[[noreturn]] void FailToOpen(const std::filesystem::path& file, int error) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::symlink_status(file, ignored);
  if (error == ELOOP && std::filesystem::is_symlink(status)) {
    throw std::runtime_error("the log file " + file.string() + " is a symbolic link");
  }
  if (error == ENXIO && std::filesystem::is_fifo(std::filesystem::status(file, ignored))) {
    throw std::runtime_error("the log file " + file.string() + " is a pipe that nobody reads");
  }
  throw std::system_error(error, std::generic_category(),
                          "cannot open the log file " + file.string());
}

}  // namespace

LogFile::LogFile(const std::filesystem::path& file, std::uint64_t limit)
    : m_Name(file.filename()), m_Limit(limit) {
  // A pipe that nobody reads would keep the program waiting.
  if (const auto way = WayFromRoot(file)) {
    m_Directory = OpenWithoutLinks(file, *way);
    m_Fd = FileDescriptor(
        openat(m_Directory.Get(), m_Name.c_str(), kOpenFlags | O_NONBLOCK | O_NOFOLLOW, kMode));
  } else {
    m_Fd = FileDescriptor(open(file.c_str(), kOpenFlags | O_NONBLOCK, kMode));
  }
  if (!m_Fd) {
    FailToOpen(file, errno);
  }
  fcntl(m_Fd.Get(), F_SETFL, O_APPEND);

  struct stat status = {};
  if (fstat(m_Fd.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    m_Directory = FileDescriptor();
  } else if (!m_Directory) {
    // The name that is changed is the file's own, not that of a link to it.
    std::error_code ignored;
    const std::filesystem::path own =
        std::filesystem::canonical("/proc/self/fd/" + std::to_string(m_Fd.Get()), ignored);
    m_Directory = OpenDirectory(own.parent_path());
    m_Name = own.filename();
  }
}

void LogFile::MakeRoom(std::size_t size) {
  struct stat status = {};
  if (!m_Directory || fstat(m_Fd.Get(), &status) != 0 || status.st_size == 0 ||
      static_cast<std::uint64_t>(status.st_size) + size <= m_Limit) {
    return;
  }
  if (!Replace(status) && ftruncate(m_Fd.Get(), 0) != 0) {
    // A file that can only be appended to keeps growing.
    m_Directory = FileDescriptor();
  }
}

// At every moment there is a file of that name.
bool LogFile::Replace(const struct stat& old) {
  const int directory = m_Directory.Get();
  const std::string older = OlderLogFile(m_Name);
  const std::string draft = "." + m_Name + ".new";
  unlinkat(directory, draft.c_str(), 0);
  FileDescriptor next(openat(directory, draft.c_str(), kOpenFlags | O_EXCL | O_NOFOLLOW, kMode));
  if (!next) {
    return false;
  }
  fchmod(next.Get(), old.st_mode & 07777);
  unlinkat(directory, older.c_str(), 0);
  FileDescriptor previous = std::exchange(m_Fd, std::move(next));
  SetUnwritten(m_Unwritten);
  if (linkat(directory, m_Name.c_str(), directory, older.c_str(), 0) != 0 ||
      renameat(directory, draft.c_str(), directory, m_Name.c_str()) != 0) {
    m_Fd = std::move(previous);
    unlinkat(directory, draft.c_str(), 0);
    return false;
  }
  for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat status = {};
    if (fstat(standard, &status) == 0 && IsSame(status, old)) {
      dup2(m_Fd.Get(), standard);
    }
  }
  return true;
}

void LogFile::SetUnwritten(bool unwritten) {
  m_Unwritten = unwritten;
  struct flock lock = {};
  lock.l_type = unwritten ? F_WRLCK : F_UNLCK;
  lock.l_whence = SEEK_SET;
  fcntl(m_Fd.Get(), F_OFD_SETLK, &lock);
}

std::filesystem::path OlderLogFile(const std::filesystem::path& file) {
  return file.string() + ".1";
}

bool AwaitLogFile(const std::filesystem::path& file, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (true) {
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    if (!opened || fcntl(opened.Get(), F_OFD_GETLK, &lock) != 0) {
      return true;
    }
    // A new file is locked before it gets the name.
    struct stat looked = {};
    struct stat named = {};
    if (lock.l_type == F_UNLCK && (fstat(opened.Get(), &looked) != 0 ||
                                   stat(file.c_str(), &named) != 0 || IsSame(looked, named))) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(kLookPeriod);
  }
}

}  // namespace host
