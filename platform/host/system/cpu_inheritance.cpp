// A plain machine has no priority inheritance between processes. The registration is a file, for
// tools that show the set or act on it: cpu-inheritance/NAME in the run directory, which contains
// the process ID and a newline.

#include "cpu_inheritance.h"

#include <stdexcept>
#include <string>

#include "system/environment.h"
#include "system/exception_border.h"
#include "system/safe_directory.h"

int resource_register_cpu_inheritance_destination(const char* name, pid_t pid) {
  const std::string what = std::string(name != nullptr ? name : "(null)") + " (process " +
                           std::to_string(pid) + ") is not registered";
  return host::Guarded("cpu_inheritance", what, -1, [&] {
    // A hidden file is one that is being made.
    if (name == nullptr || *name == '.' || pid <= 0) {
      throw std::invalid_argument("the name or the process is not valid");
    }
    host::MakeDirectories(host::RunDir());
    host::SafeDirectory(host::RunDir())
        .EnterOrMake("cpu-inheritance", 0755)
        .ReplaceFile(name, std::to_string(pid) + "\n");
    return 0;
  });
}
