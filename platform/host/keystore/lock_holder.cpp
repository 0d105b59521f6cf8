#include "keystore/lock_holder.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace host {
namespace {

// Where SQLite's write lock is in the file beside the database whose name ends with this.
constexpr const char* kLocksSuffix = "-shm";
constexpr const char* kWriteLockByte = "120";

}  // namespace

// From the kernel's list. To query the lock itself the file would have to be opened, and closing it
// again would release all locks that this process has on it.
pid_t HolderOfWriteLock(const std::filesystem::path& file) {
  struct stat locks;
  if (::stat((file.string() + kLocksSuffix).c_str(), &locks) != 0) {
    return 0;
  }
  const std::string inode = ":" + std::to_string(locks.st_ino);
  std::ifstream list("/proc/locks");
  for (std::string line; std::getline(list, line);) {
    // 7: POSIX ADVISORY WRITE 4711 fe:00:25361 120 120; a waiting one has an arrow after the 7:.
    std::istringstream words(line);
    std::string number, kind, mode, access, where, first, last;
    pid_t holder = 0;
    words >> number >> kind >> mode >> access >> holder >> where >> first >> last;
    if (words && access == "WRITE" && where.ends_with(inode) && first == kWriteLockByte) {
      return holder;
    }
  }
  return 0;
}

std::string HeldTooLong(pid_t holder) {
  const std::string who = holder > 0 ? "process " + std::to_string(holder) : "another process";
  return who + " has kept it locked for " + std::to_string(kHeldTooLongSeconds) +
         " seconds: see whether it is stopped";
}

}  // namespace host
