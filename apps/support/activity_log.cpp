#include "support/activity_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "dlog.h"
#include "system/environment.h"

namespace apps {
namespace {

host::FileDescriptor OpenLogFile(const std::string& id) {
  const std::filesystem::path directory = host::GetEnvironment().root / "var/log/apps";
  std::filesystem::create_directories(directory);
  const std::filesystem::path file = directory / (id + ".log");
  const int fd = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), file.native());
  }
  return host::FileDescriptor(fd);
}

// A line is one write, so that those of several processes do not mix.
void WriteLine(int fd, std::string_view line) {
  while (!line.empty()) {
    const ssize_t written = write(fd, line.data(), line.size());
    if (written < 0 && errno != EINTR) {
      return;
    }
    line.remove_prefix(written < 0 ? 0 : written);
  }
}

}  // namespace

ActivityLog::ActivityLog(const std::string& id, bool alsoPrints)
    : m_Id(id), m_AlsoPrints(alsoPrints), m_File(OpenLogFile(id)), m_Formatter(getpid()) {}

void ActivityLog::Print(const std::string& text) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::string line;
  m_Formatter.Append(line, {now, DLOG_INFO, m_Id, text});
  if (m_AlsoPrints) {
    WriteLine(STDOUT_FILENO, line);
  }
  WriteLine(m_File.Get(), line);
}

}  // namespace apps
