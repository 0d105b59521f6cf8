#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

// The command that runs one of the probes. It sees nothing of what a service manager put into the
// environment of the tests, only `variables`.
inline std::vector<std::string> ProbeCommand(const std::string& probe,
                                             const std::vector<std::string>& arguments,
                                             const support::Variables& variables) {
  std::vector<std::string> command = {"env"};
  for (const char* name :
       {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID", "JOURNAL_STREAM", "SETTINGS_ROOT",
        "SETTINGS_MODEL", "SETTINGS_DATA_DIR", "SETTINGS_CONFIG_DIR"}) {
    command.insert(command.end(), {"-u", name});
  }
  for (const auto& [name, value] : variables) {
    command.push_back(name + "=" + value);
  }
  command.push_back(probe);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}
