#include "system/safe_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {
namespace {

[[noreturn]] void Fail(const std::string& doing, const std::filesystem::path& path) {
  throw std::system_error(errno, std::generic_category(), "cannot " + doing + " " + path.string());
}

void RequireType(const std::filesystem::path& path, mode_t mode, mode_t wanted) {
  if ((mode & S_IFMT) == wanted) {
    return;
  }
  const std::string expected = wanted == S_IFDIR ? "a directory" : "a regular file";
  throw std::runtime_error(path.string() + (S_ISLNK(mode) ? " is a symbolic link" : " is") +
                           " not " + expected);
}

void WriteAll(int fd, std::string_view content, const std::filesystem::path& path) {
  while (!content.empty()) {
    const ssize_t written = write(fd, content.data(), content.size());
    if (written >= 0) {
      content.remove_prefix(static_cast<size_t>(written));
    } else if (errno != EINTR) {
      Fail("write", path);
    }
  }
}

}  // namespace

void MakeDirectories(const std::filesystem::path& wanted) {
  std::filesystem::path directory;
  std::error_code ignored;
  for (const std::filesystem::path& part : wanted) {
    directory /= part;
    if (!std::filesystem::is_directory(directory, ignored) && mkdir(directory.c_str(), 0755) != 0 &&
        errno != EEXIST) {
      Fail("make the directory", wanted);
    }
  }
  if (!std::filesystem::is_directory(wanted, ignored)) {
    errno = ENOTDIR;
    Fail("make the directory", wanted);
  }
}

SafeDirectory::SafeDirectory(const std::filesystem::path& trusted)
    : m_Fd(open(trusted.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), m_Path(trusted) {
  if (m_Fd.Get() < 0) {
    Fail("open the directory", trusted);
  }
}

SafeDirectory::SafeDirectory(FileDescriptor fd, std::filesystem::path path)
    : m_Fd(std::move(fd)), m_Path(std::move(path)) {}

std::filesystem::path SafeDirectory::PathOf(const std::string& name) const {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    throw std::runtime_error("\"" + name + "\" is not the name of anything in " + m_Path.string());
  }
  return m_Path / name;
}

// False when there is nothing of that name; throws when it is something else.
bool SafeDirectory::HasEntry(const std::string& name, mode_t type) const {
  struct stat status = {};
  if (fstatat(m_Fd.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) {
      return false;
    }
    Fail("look at", PathOf(name));
  }
  RequireType(PathOf(name), status.st_mode, type);
  return true;
}

SafeDirectory SafeDirectory::Enter(const std::string& name) const {
  const std::filesystem::path path = PathOf(name);
  HasEntry(name, S_IFDIR);
  FileDescriptor directory(
      openat(m_Fd.Get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (directory.Get() < 0) {
    Fail("open the directory", path);
  }
  return SafeDirectory(std::move(directory), path);
}

SafeDirectory SafeDirectory::EnterOrMake(const std::string& name, mode_t mode) const {
  const std::filesystem::path path = PathOf(name);
  const bool made = mkdirat(m_Fd.Get(), name.c_str(), 0700) == 0;
  if (!made && errno != EEXIST) {
    Fail("make the directory", path);
  }
  SafeDirectory directory = Enter(name);
  if (made) {
    const FileDescriptor readable(
        openat(directory.m_Fd.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (readable.Get() < 0 || fchmod(readable.Get(), mode) != 0) {
      Fail("set the permissions of", path);
    }
  }
  return directory;
}

void SafeDirectory::MakeFile(const std::string& name, std::string_view content) const {
  const std::filesystem::path path = PathOf(name);
  if (HasEntry(name, S_IFREG)) {
    RemoveFile(name);
  }
  const FileDescriptor file(
      openat(m_Fd.Get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (file.Get() < 0) {
    Fail("make", path);
  }
  try {
    WriteAll(file.Get(), content, path);
  } catch (const std::runtime_error&) {
    unlinkat(m_Fd.Get(), name.c_str(), 0);
    throw;
  }
}

void SafeDirectory::ReplaceFile(const std::string& name, std::string_view content) const {
  const std::filesystem::path path = PathOf(name);
  HasEntry(name, S_IFREG);
  const std::string draft = "." + name + ".new";
  MakeFile(draft, content);
  if (renameat(m_Fd.Get(), draft.c_str(), m_Fd.Get(), name.c_str()) != 0) {
    Fail("replace", path);
  }
}

std::optional<std::string> SafeDirectory::ReadFile(const std::string& name, size_t limit) const {
  const std::filesystem::path path = PathOf(name);
  if (!HasEntry(name, S_IFREG)) {
    return std::nullopt;
  }
  // Non-blocking, in case that it became a pipe in the meantime.
  const FileDescriptor file(
      openat(m_Fd.Get(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (file.Get() < 0) {
    Fail("open", path);
  }
  std::string content(limit + 1, '\0');
  size_t size = 0;
  while (size < content.size()) {
    const ssize_t result = read(file.Get(), content.data() + size, content.size() - size);
    if (result == 0) {
      break;
    }
    if (result > 0) {
      size += static_cast<size_t>(result);
    } else if (errno != EINTR) {
      Fail("read", path);
    }
  }
  if (size > limit) {
    throw std::runtime_error(path.string() + " is longer than " + std::to_string(limit) + " bytes");
  }
  content.resize(size);
  return content;
}

void SafeDirectory::RemoveFile(const std::string& name) const {
  const std::filesystem::path path = PathOf(name);
  if (unlinkat(m_Fd.Get(), name.c_str(), 0) != 0 && errno != ENOENT) {
    Fail("remove", path);
  }
}

}  // namespace host
