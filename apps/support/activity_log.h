#pragma once

#include <string>

#include "system/log_text.h"
#include "system/safe_directory.h"

namespace apps {

// What an application has to tell: lines at the end of <root>/var/log/apps/ID.log and, unless the
// application uses it otherwise, on standard output, both in the form of the daemon's log. A line
// that cannot be written is lost.
class ActivityLog {
 public:
  // Throws std::system_error or std::filesystem::filesystem_error that names the file.
  ActivityLog(const std::string& id, bool alsoPrints);

  void Print(const std::string& text);

 private:
  std::string m_Id;
  bool m_AlsoPrints;
  host::FileDescriptor m_File;
  host::LogFormatter m_Formatter;
};

}  // namespace apps
