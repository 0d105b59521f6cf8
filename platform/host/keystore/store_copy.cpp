#include "keystore/store_copy.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "keystore/page_check.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/file_descriptor.h"

namespace host {
namespace {

using std::filesystem::path;

[[noreturn]] void Fail(const std::string& what, const path& file, int error) {
  throw StoreError(error,
                   what + " " + file.string() + ": " + std::generic_category().message(error));
}

void Flush(const path& file, int flags) {
  const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | flags));
  if (!opened || ::fsync(opened.Get()) != 0) {
    Fail("cannot flush", file, errno);
  }
}

}  // namespace

Unfinished::Unfinished(const path& file) : m_File(file.string() + ".new") { Remove(); }

Unfinished::~Unfinished() { Remove(); }

void Unfinished::Remove() const {
  for (const path& file :
       {m_File, path(m_File.string() + "-journal"), LogOf(m_File), LogIndexOf(m_File)}) {
    ::unlink(file.c_str());
  }
}

FileDescriptor MakeNewFile(const path& file) {
  return FileDescriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
}

void CopyFile(const path& from, const path& to) {
  std::error_code error;
  std::filesystem::copy_file(from, to, error);
  if (error) {
    Fail("cannot copy", from, error.value());
  }
}

void CopyBeginning(const path& from, std::uintmax_t size, const path& to) {
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  const FileDescriptor target = MakeNewFile(to);
  while (size > 0) {
    const ssize_t copied = ::sendfile(target.Get(), source.Get(), nullptr, size);
    if (copied <= 0) {
      Fail("cannot copy", from, copied < 0 ? errno : EIO);
    }
    size -= copied;
  }
}

void GiveToOwnerOf(const path& other, const path& file) {
  struct stat wanted {};
  struct stat status {};
  if (::stat(other.c_str(), &wanted) == 0 && ::stat(file.c_str(), &status) == 0 &&
      (status.st_uid != wanted.st_uid || status.st_gid != wanted.st_gid) &&
      ::chown(file.c_str(), wanted.st_uid, wanted.st_gid) != 0) {
    // Only a privileged user can, and only a privileged user needs to.
  }
}

void WriteCopy(Database& from, const path& to) {
  Statement copy(from, "VACUUM INTO ?1");
  copy.Execute(std::string_view(to.native()));
  // SQLite writes some pages before the first one, which says that there are checks.
  PutMissingChecks(to);
}

void PutMissingChecks(const path& file) {
  const FileDescriptor opened(::open(file.c_str(), O_RDWR | O_CLOEXEC));
  std::array<unsigned char, kPageSize> page;
  const auto read = [&](off_t at) {
    return ::pread(opened.Get(), page.data(), page.size(), at) == ssize_t{kPageSize};
  };
  if (!opened) {
    Fail("cannot open", file, errno);
  }
  if (!read(0) || !HasChecks(page.data())) {
    return;
  }
  std::uint32_t number = 1;
  for (off_t at = 0; read(at); at += kPageSize, ++number) {
    if (StateOf(page.data(), number) != PageState::kUnchecked) {
      continue;
    }
    PutCheck(page.data(), number);
    if (::pwrite(opened.Get(), page.data(), page.size(), at) != ssize_t{kPageSize}) {
      Fail("cannot write", file, errno);
    }
  }
  if (::fsync(opened.Get()) != 0) {
    Fail("cannot flush", file, errno);
  }
}

void CopyKeyFile(const path& from, const path& to) {
  const Unfinished made(to);
  const path& unfinished = made.File();
  // SQLite would name `from` when the copy cannot be made.
  if (!MakeNewFile(unfinished)) {
    Fail("cannot make", unfinished, errno);
  }
  {
    Database source(from);
    WriteCopy(source, unfinished);
  }
  if (!Database(unfinished).IsSound()) {
    Fail("damaged while it was written:", unfinished, EIO);
  }
  GiveToOwnerOf(from, unfinished);
  MoveInPlace(unfinished, to);
}

void FlushFile(const path& file) { Flush(file, 0); }

void MoveInPlace(const path& from, const path& file) {
  Flush(from, 0);
  if (::rename(from.c_str(), file.c_str()) != 0) {
    Fail("cannot replace", file, errno);
  }
  const path directory = file.parent_path();
  Flush(directory.empty() ? "." : directory, O_DIRECTORY);
}

}  // namespace host
