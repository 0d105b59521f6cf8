#include "system/lock_holder.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace host {
namespace {

// From the kernel's list. To query the lock of a byte itself the file would have to be opened, and
// closing it again would release all such locks that this process has on it.
pid_t HolderOf(const std::filesystem::path& file, const std::string& kind, off_t begin) {
  struct stat status;
  if (::stat(file.c_str(), &status) != 0) {
    return 0;
  }
  const std::string inode = ":" + std::to_string(status.st_ino);
  std::ifstream list("/proc/locks");
  for (std::string line; std::getline(list, line);) {
    // 7: POSIX ADVISORY WRITE 4711 fe:00:25361 120 120; a waiting one has an arrow after the 7:.
    std::istringstream words(line);
    std::string number, kindThere, mode, access, where, first, last;
    pid_t holder = 0;
    words >> number >> kindThere >> mode >> access >> holder >> where >> first >> last;
    if (words && kindThere == kind && access == "WRITE" && where.ends_with(inode) &&
        first == std::to_string(begin)) {
      return holder;
    }
  }
  return 0;
}

}  // namespace

pid_t HolderOfFile(const std::filesystem::path& file) { return HolderOf(file, "FLOCK", 0); }

pid_t HolderOfByte(const std::filesystem::path& file, off_t byte) {
  return HolderOf(file, "POSIX", byte);
}

std::string HeldTooLong(pid_t holder) {
  const std::string who = holder > 0 ? "process " + std::to_string(holder) : "another process";
  return who + " has kept it locked for " + std::to_string(kHeldTooLongSeconds) +
         " seconds: see whether it is stopped";
}

}  // namespace host
