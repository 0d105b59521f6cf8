#include "keystore/watcher_position.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace host {
namespace {

using Numbers = std::array<std::int64_t, kKeyFileCount>;

static_assert(std::atomic_ref<std::int64_t>::is_always_lock_free, "shared between processes");

[[noreturn]] void Fail(const std::string& what, const std::filesystem::path& path) {
  throw std::system_error(errno, std::generic_category(), what + " " + path.string());
}

std::int64_t* Map(const FileDescriptor& file, int protection) {
  void* address = ::mmap(nullptr, sizeof(Numbers), protection, MAP_SHARED, file.Get(), 0);
  return address == MAP_FAILED ? nullptr : static_cast<std::int64_t*>(address);
}

std::int64_t Load(std::int64_t& number) {
  return std::atomic_ref(number).load(std::memory_order_relaxed);
}

// Whether the file can still be found by name.
bool IsLinked(const FileDescriptor& file) {
  struct stat status;
  return ::fstat(file.Get(), &status) == 0 && status.st_nlink > 0;
}

// What the watcher that keeps `file` locked has stored in it: zeros if it has only created it so
// far.
Numbers ReadNumbers(const FileDescriptor& file, const std::filesystem::path& path) {
  Numbers result{};
  struct stat status;
  if (::fstat(file.Get(), &status) == 0 && status.st_size >= off_t{sizeof(Numbers)}) {
    std::int64_t* numbers = Map(file, PROT_READ);
    if (numbers == nullptr) {
      Fail("cannot map", path);
    }
    std::transform(numbers, numbers + kKeyFileCount, result.begin(), Load);
    ::munmap(numbers, sizeof(Numbers));
  }
  return result;
}

// The position in a file of the directory; nothing, and the file removed, when its watcher is
// dead.
std::optional<Numbers> ReadLiving(const FileDescriptor& directory,
                                  const std::filesystem::path& path) {
  const std::string name = path.filename();
  // Non-blocking, in case it is a pipe.
  const FileDescriptor file(
      ::openat(directory.Get(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (!file) {
    // Its watcher ended, or another process tidied up; or it is a link, and no watcher's.
    if (errno == ENOENT || errno == ELOOP) {
      return std::nullopt;
    }
    Fail("cannot open", path);
  }
  if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    return ReadNumbers(file, path);
  }
  // Nobody else holds the lock, so no watcher lives. The name may meanwhile lead to another file,
  // which must not be touched: then this one has lost its last link.
  if (IsLinked(file)) {
    ::unlinkat(directory.Get(), name.c_str(), 0);
  }
  return std::nullopt;
}

// A path that leads into the open directory, whatever is at its name meanwhile.
std::filesystem::path PathOf(const FileDescriptor& directory) {
  return "/proc/self/fd/" + std::to_string(directory.Get());
}

}  // namespace

FileDescriptor OpenPositions(const std::filesystem::path& directory) {
  FileDescriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened && std::filesystem::is_symlink(std::filesystem::symlink_status(directory))) {
    throw std::runtime_error(directory.string() + " is a symbolic link; remove it");
  }
  if (!opened) {
    Fail("cannot open the directory", directory);
  }
  return opened;
}

WatcherPosition::WatcherPosition(const std::filesystem::path& directory)
    : m_Place(directory), m_Directory(OpenPositions(directory)) {
  // Between its creation and its locking the file looks like a dead watcher's and may be removed.
  do {
    std::string path = PathOf(m_Directory) / "XXXXXX";
    m_File = FileDescriptor(::mkostemp(path.data(), O_CLOEXEC));
    m_Name = std::filesystem::path(path).filename();
    if (!m_File) {
      Fail("cannot make a watcher's position in", directory);
    }
  } while (::flock(m_File.Get(), LOCK_EX | LOCK_NB) != 0 || !IsLinked(m_File));
  // Written rather than just extended: a full file system must report it here, not when a page of
  // the mapping is touched.
  const Numbers zeros{};
  if (::write(m_File.Get(), &zeros, sizeof(zeros)) == ssize_t{sizeof(zeros)}) {
    m_Numbers = Map(m_File, PROT_READ | PROT_WRITE);
  }
  if (m_Numbers == nullptr) {
    const int error = errno;
    ::unlinkat(m_Directory.Get(), m_Name.c_str(), 0);
    errno = error;
    Fail("cannot make a watcher's position in", directory);
  }
}

WatcherPosition::~WatcherPosition() {
  ::unlinkat(m_Directory.Get(), m_Name.c_str(), 0);
  ::munmap(m_Numbers, sizeof(Numbers));
}

std::filesystem::path WatcherPosition::File() const { return m_Place / m_Name; }

bool WatcherPosition::IsInPlace() const {
  struct stat there;
  struct stat own;
  return ::stat(File().c_str(), &there) == 0 && ::fstat(m_File.Get(), &own) == 0 &&
         there.st_dev == own.st_dev && there.st_ino == own.st_ino;
}

std::int64_t WatcherPosition::Get(std::size_t keyFile) const { return Load(m_Numbers[keyFile]); }

void WatcherPosition::Set(std::size_t keyFile, std::int64_t number) {
  std::atomic_ref(m_Numbers[keyFile]).store(number, std::memory_order_relaxed);
}

std::optional<Numbers> SlowestPosition(const std::filesystem::path& directory) {
  const FileDescriptor opened = OpenPositions(directory);
  std::optional<Numbers> slowest;
  for (const auto& entry : std::filesystem::directory_iterator(PathOf(opened))) {
    if (const auto position = ReadLiving(opened, directory / entry.path().filename())) {
      if (!slowest) {
        slowest = *position;
      }
      std::transform(slowest->begin(), slowest->end(), position->begin(), slowest->begin(),
                     [](std::int64_t a, std::int64_t b) { return std::min(a, b); });
    }
  }
  return slowest;
}

}  // namespace host
