#include "television_set.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <ostream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "support/applications.h"

std::ostream& operator<<(std::ostream& stream, const LogLine& line) {
  return stream << line.priority << ' ' << line.module << ' ' << line.function << " | "
                << line.message;
}

TelevisionSet::TelevisionSet(const std::string& model)
    : m_Bus(m_Root.Path(), {SETTINGS_APPLICATIONS "/services"}, {{"SETTINGS_ROOT", m_Root.Path()}}),
      m_ModelFile(std::filesystem::path(SETTINGS_DATA_DIRECTORY "/models") / (model + ".json")) {}

TelevisionSet::~TelevisionSet() {
  if (testing::Test::HasFailure()) {
    std::cerr << "The daemon's log:\n" << LogText();
  }
  // The applications end with the bus, before their directory goes.
  m_Bus.End();
  for (const pid_t pid : support::ApplicationProcesses(m_Root.Path())) {
    support::WaitForEnd(pid);
  }
}

support::Variables TelevisionSet::Variables() const {
  return {{"DBUS_SESSION_BUS_ADDRESS", m_Bus.Address()},
          {"SETTINGS_ROOT", Root()},
          {"SETTINGS_MODEL", m_ModelFile},
          {"SETTINGS_DATA_DIR", SETTINGS_DATA_DIRECTORY},
          {"LANGUAGE", ""},
          {"PATH", std::string(SETTINGS_BINARY_DIRECTORY ":") + std::getenv("PATH")}};
}

// The command that becomes the one behind it in the sandbox of a unit, if this run is to be one in
// it.
std::vector<std::string> TelevisionSet::Sandbox() const {
  const char* unit = std::getenv("SANDBOX_OF_UNIT");
  if (unit == nullptr) {
    return {};
  }
  return {SETTINGS_PYTHON, "-B", SANDBOX, unit, Root()};
}

void TelevisionSet::StartDaemon(const std::vector<std::string>& wrapper) {
  const std::filesystem::path log = Root() / "daemon.log";
  std::vector<std::string> command = wrapper;
  const std::vector<std::string> sandbox = Sandbox();
  command.insert(command.end(), sandbox.begin(), sandbox.end());
  command.push_back(SETTINGS_BINARY_DIRECTORY "/settings-service");
  m_Daemon = std::make_unique<support::Process>(command, Variables(),
                                                support::Files{"/dev/null", "/dev/null", log});
  const std::string ready = std::to_string(m_Daemon->Pid()) + "\n";
  const bool up = support::WaitUntil([&] {
    return support::ReadFile(Root() / "tmp/settings-service_ready") == ready ||
           !m_Daemon->Running();
  });
  if (!up || !m_Daemon->Running()) {
    throw std::runtime_error("the daemon did not start:\n" + LogText());
  }
}

int TelevisionSet::EndDaemon() {
  m_Daemon->Signal(SIGTERM);
  return m_Daemon->Wait().value_or(-1);
}

void TelevisionSet::KillDaemon() {
  m_Daemon->Signal(SIGKILL);
  m_Daemon->Wait();
}

support::Outcome TelevisionSet::Run(const std::vector<std::string>& command,
                                    const std::string& input) {
  return support::RunCommand(command, Variables(), input);
}

std::string TelevisionSet::LogText() const { return support::ReadFile(Root() / "daemon.log"); }

std::vector<LogLine> TelevisionSet::LogLines() const {
  static const std::regex kLine(
      R"(\S+ ([DIWE]) settings-service\((\d+)\): (\w+): (\w+)\((\d+)\) > \[(\w+):(\d+)\] (.*))");
  static const std::regex kPointer("0x[0-9a-f]+");
  static const std::regex kSender(R"(from::1\.\d+)");
  std::vector<LogLine> lines;
  std::istringstream text(LogText());
  for (std::string line; std::getline(text, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, kLine) || match[4] != match[6] || match[5] != match[7]) {
      lines.push_back({'?', "", "", line});
      continue;
    }
    std::string message = std::regex_replace(match[8].str(), kPointer, "PTR");
    message = std::regex_replace(message, kSender, "from:SENDER");
    message = std::regex_replace(message, std::regex("^pid:" + match[2].str() + "$"), "pid:PID");
    message = std::regex_replace(message, std::regex("^\\[" + match[2].str() + "\\]"), "[PID]");
    lines.push_back({match[1].str()[0], match[3], match[4], message});
  }
  return lines;
}

bool TelevisionSet::WaitForLog(const std::string& message) const {
  return support::WaitUntil([&] {
    const std::vector<LogLine> lines = LogLines();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const LogLine& line) { return line.message == message; });
  });
}
