#include "support/interrupted_open.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>
#include <string>

namespace {

std::string g_File;

}  // namespace

void InterruptNextOpen(const std::filesystem::path& file) { g_File = file; }

bool WasOpenInterrupted() { return g_File.empty(); }

extern "C" {

// What the linker makes of the name `open` in the program and in the library behind it.
int __real_open(const char* file, int flags, ...);

int __wrap_open(const char* file, int flags, ...) {
  if (!g_File.empty() && g_File == file) {
    g_File.clear();
    errno = EINTR;
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return __real_open(file, flags, mode);
}
}
