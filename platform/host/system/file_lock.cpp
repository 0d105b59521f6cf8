#include "system/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace host {

FileDescriptor OpenLocked(const std::filesystem::path& file, int flags) {
  constexpr mode_t kMode = 0644;
  for (;;) {
    FileDescriptor opened(::open(file.c_str(), flags | O_CLOEXEC, kMode));
    if (opened && ::flock(opened.Get(), LOCK_EX) == 0) {
      return opened;
    }
    if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "cannot lock " + file.string());
    }
  }
}

}  // namespace host
