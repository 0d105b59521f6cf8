#include "support/applications.h"

#include <set>
#include <sstream>

#include "support/temp_directory.h"
#include "support/wait.h"

namespace support {
namespace {

// "TIME PRIORITY ID(PROCESS): MESSAGE", as far as whole lines are there.
std::vector<std::string> Lines(const std::filesystem::path& log) {
  std::istringstream text(ReadFile(log));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line) && !text.eof();) {
    lines.push_back(line);
  }
  return lines;
}

std::filesystem::path LogDirectory(const std::filesystem::path& root) {
  return root / "var/log/apps";
}

}  // namespace

std::vector<std::string> ApplicationLog(const std::filesystem::path& root, const std::string& id) {
  std::vector<std::string> messages;
  for (const std::string& line : Lines(LogDirectory(root) / (id + ".log"))) {
    messages.push_back(line.substr(line.find("): ") + 3));
  }
  return messages;
}

std::vector<pid_t> ApplicationProcesses(const std::filesystem::path& root) {
  std::set<pid_t> pids;
  std::error_code noLogs;
  for (const auto& log : std::filesystem::directory_iterator(LogDirectory(root), noLogs)) {
    for (const std::string& line : Lines(log.path())) {
      pids.insert(std::stoi(line.substr(line.find('(') + 1)));
    }
  }
  return {pids.begin(), pids.end()};
}

bool WaitForEnd(pid_t pid) {
  return WaitUntil([&] {
    // One that nobody waits for has ended, too.
    const std::string status = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
  });
}

}  // namespace support
