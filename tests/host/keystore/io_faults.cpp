// The program's own definitions take precedence over the C library's, also for SQLite.

#include "io_faults.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <string>
#include <string_view>

namespace host {
namespace {

std::mutex g_Mutex;
std::string g_Root;  // empty: nothing fails
IoFault g_Fault{};
int g_Nth = 0;
int g_Calls = 0;
std::string g_ReadOnly;    // empty: everything is writable
std::string g_Unreadable;  // empty: everything is readable
std::uintmax_t g_UnreadableFrom = 0;
std::string g_NumbersUsedAgain;  // empty: each file has its own

enum class Verdict { kGoesOn, kFails, kHalf };

Verdict JudgePath(IoCall call, std::string_view path) {
  if (g_Root.empty() || call != g_Fault.call || !path.starts_with(g_Root)) {
    return Verdict::kGoesOn;
  }
  const int behind = ++g_Calls - g_Nth;
  if (behind == 0 && g_Fault.kind == IoFault::kHalf) {
    return Verdict::kHalf;
  }
  // After half a write the caller writes the rest next.
  const bool fails = g_Fault.kind == IoFault::kOnce   ? behind == 0
                     : g_Fault.kind == IoFault::kHalf ? behind == 1
                                                      : behind >= 0;
  errno = g_Fault.error;
  return fails ? Verdict::kFails : Verdict::kGoesOn;
}

Verdict JudgeName(IoCall call, const char* path) {
  const std::lock_guard lock(g_Mutex);
  return JudgePath(call, path);
}

std::string NameOf(int fd) {
  std::array<char, 4096> path;
  const ssize_t size =
      ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path.data(), path.size());
  return {path.data(), static_cast<std::size_t>(size < 0 ? 0 : size)};
}

Verdict JudgeFile(IoCall call, int fd) {
  const std::lock_guard lock(g_Mutex);
  return g_Root.empty() ? Verdict::kGoesOn : JudgePath(call, NameOf(fd));
}

bool IsReadable(int fd, std::uintmax_t end) {
  const std::lock_guard lock(g_Mutex);
  if (g_Unreadable.empty() || end <= g_UnreadableFrom || NameOf(fd) != g_Unreadable) {
    return true;
  }
  errno = EIO;
  return false;
}

int Flush(int fd) { return JudgeFile(IoCall::kFlush, fd) == Verdict::kGoesOn ? 0 : -1; }

ssize_t WriteAt(int fd, const void* bytes, std::size_t size, off_t offset) {
  const Verdict verdict = JudgeFile(IoCall::kWrite, fd);
  if (verdict == Verdict::kFails) {
    return -1;
  }
  return ::syscall(SYS_pwrite64, fd, bytes, verdict == Verdict::kHalf ? (size + 1) / 2 : size,
                   offset);
}

std::uintmax_t LeftOf(int fd, off_t begin) {
  struct stat status {};
  return ::fstat(fd, &status) != 0 || status.st_size < begin ? 0 : status.st_size - begin;
}

bool IsReadOnly(std::string_view path) {
  const std::lock_guard lock(g_Mutex);
  return !g_ReadOnly.empty() && path.starts_with(g_ReadOnly);
}

bool HasNumberUsedAgain(std::string_view path) {
  const std::lock_guard lock(g_Mutex);
  return !g_NumbersUsedAgain.empty() && path.starts_with(g_NumbersUsedAgain);
}

int OpenFile(const char* path, int flags, mode_t mode) {
  if (IsReadOnly(path) &&
      ((flags & O_ACCMODE) != O_RDONLY || ((flags & O_CREAT) != 0 && ::access(path, F_OK) != 0))) {
    errno = EROFS;
    return -1;
  }
  if (JudgeName(IoCall::kOpen, path) != Verdict::kGoesOn) {
    return -1;
  }
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

}  // namespace

void BeginIoFault(const std::filesystem::path& root, const IoFault& fault, int nth) {
  const std::lock_guard lock(g_Mutex);
  g_Root = root;
  g_Fault = fault;
  g_Nth = nth;
  g_Calls = 0;
}

bool EndIoFault() {
  const std::lock_guard lock(g_Mutex);
  g_Root.clear();
  return g_Calls >= g_Nth;
}

UnreadableBytes::UnreadableBytes(const std::filesystem::path& file, std::uintmax_t begin) {
  const std::lock_guard lock(g_Mutex);
  g_Unreadable = file;
  g_UnreadableFrom = begin;
}

UnreadableBytes::~UnreadableBytes() {
  const std::lock_guard lock(g_Mutex);
  g_Unreadable.clear();
}

ReadOnlyFiles::ReadOnlyFiles(const std::filesystem::path& root) {
  const std::lock_guard lock(g_Mutex);
  g_ReadOnly = root;
}

ReadOnlyFiles::~ReadOnlyFiles() {
  const std::lock_guard lock(g_Mutex);
  g_ReadOnly.clear();
}

NumbersUsedAgain::NumbersUsedAgain(const std::filesystem::path& root) {
  const std::lock_guard lock(g_Mutex);
  g_NumbersUsedAgain = root;
}

NumbersUsedAgain::~NumbersUsedAgain() {
  const std::lock_guard lock(g_Mutex);
  g_NumbersUsedAgain.clear();
}

}  // namespace host

extern "C" {

int statvfs(const char* path, struct statvfs* status) {
  struct statfs there;
  if (::statfs(path, &there) != 0) {
    return -1;
  }
  *status = {};
  status->f_flag = host::IsReadOnly(path) ? ST_RDONLY : 0;
  return 0;
}

int statx(int directory, const char* path, int flags, unsigned mask,
          struct statx* status) noexcept {
  const auto result = static_cast<int>(::syscall(SYS_statx, directory, path, flags, mask, status));
  if (result == 0 && host::HasNumberUsedAgain(path)) {
    status->stx_mask &= ~STATX_BTIME;
    status->stx_btime = {};
    if (std::string_view(path).ends_with("-wal")) {
      status->stx_ino = 7;
    }
  }
  return result;
}

int rename(const char* from, const char* to) noexcept {
  if (host::IsReadOnly(from) || host::IsReadOnly(to)) {
    errno = EROFS;
    return -1;
  }
  if (host::JudgeName(host::IoCall::kMove, from) != host::Verdict::kGoesOn) {
    return -1;
  }
  return static_cast<int>(::syscall(SYS_rename, from, to));
}

int link(const char* from, const char* to) noexcept {
  if (host::JudgeName(host::IoCall::kMove, from) != host::Verdict::kGoesOn) {
    return -1;
  }
  return static_cast<int>(::syscall(SYS_link, from, to));
}

// The C++ library copies files so.
ssize_t sendfile(int to, int from, off_t* offset, size_t size) noexcept {
  if (host::JudgeFile(host::IoCall::kWrite, to) == host::Verdict::kFails) {
    return -1;
  }
  const off_t begin = offset != nullptr ? *offset : ::lseek(from, 0, SEEK_CUR);
  if (!host::IsReadable(from, begin + std::min<std::uintmax_t>(size, host::LeftOf(from, begin)))) {
    return -1;
  }
  return ::syscall(SYS_sendfile, to, from, offset, size);
}

int unlink(const char* path) noexcept {
  if (host::IsReadOnly(path)) {
    errno = EROFS;
    return -1;
  }
  if (host::JudgeName(host::IoCall::kMove, path) != host::Verdict::kGoesOn) {
    return -1;
  }
  return static_cast<int>(::syscall(SYS_unlink, path));
}

int fsync(int fd) { return host::Flush(fd); }

int fdatasync(int fd) { return host::Flush(fd); }

ssize_t pread(int fd, void* bytes, size_t size, off_t offset) {
  if (!host::IsReadable(fd, offset + std::min<std::uintmax_t>(size, host::LeftOf(fd, offset)))) {
    return -1;
  }
  return ::syscall(SYS_pread64, fd, bytes, size, offset);
}

ssize_t pread64(int fd, void* bytes, size_t size, off64_t offset) {
  return pread(fd, bytes, size, offset);
}

ssize_t pwrite64(int fd, const void* bytes, size_t size, off64_t offset) {
  return host::WriteAt(fd, bytes, size, offset);
}

ssize_t write(int fd, const void* bytes, size_t size) {
  const host::Verdict verdict = host::JudgeFile(host::IoCall::kWrite, fd);
  if (verdict == host::Verdict::kFails) {
    return -1;
  }
  return ::syscall(SYS_write, fd, bytes, verdict == host::Verdict::kHalf ? (size + 1) / 2 : size);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return host::OpenFile(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return host::OpenFile(path, flags, mode);
}

}  // extern "C"
