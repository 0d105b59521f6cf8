#include "fixture.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "apps/application_id.h"
#include "support/applications.h"

using support::ReadFile;

Applications::Applications()
    : m_Keys(m_Root / "var/lib/settings-service", m_Root / "run/settings-service") {
  const std::filesystem::path services = m_Root / "services";
  std::filesystem::create_directory(services);
  std::ofstream(services / (kBroken + ".service"))
      << "[D-BUS Service]\nName=" << kBroken << "\nExec=/bin/false\n";
  m_Bus = std::make_unique<support::PrivateBus>(
      m_Root.Path(), std::vector<std::filesystem::path>{services, APPLICATIONS "/services"},
      support::Variables{{"SETTINGS_ROOT", m_Root.Path()}});
}

Applications::~Applications() {
  const std::vector<pid_t> running = support::ApplicationProcesses(m_Root.Path());
  m_Bus->End();
  for (const pid_t pid : running) {
    EXPECT_TRUE(support::WaitForEnd(pid)) << pid;
  }
  // What they print on standard error is in the log of the bus, which does not mind.
  const std::string said = ReadFile(m_Root / "bus.log");
  EXPECT_EQ(said.find("Sanitizer"), std::string::npos) << said;
}

support::Variables Applications::Variables() const {
  return {{"DBUS_SESSION_BUS_ADDRESS", m_Bus->Address()}, {"SETTINGS_ROOT", m_Root.Path()}};
}

support::Outcome Applications::App(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command{SETCTL, "app"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return support::RunCommand(command, Variables());
}

void Applications::AppDone(const std::vector<std::string>& arguments) const {
  const support::Outcome outcome = App(arguments);
  EXPECT_EQ(outcome.status, 0) << testing::PrintToString(arguments);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");
}

Json::Value Applications::Listed(const std::string& id) const {
  const support::Outcome outcome = App({"list", "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  std::istringstream lines(outcome.out);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream text(line);
    Json::Value value;
    text >> value;
    if (value["app"] == id) {
      return value;
    }
  }
  return Json::nullValue;
}

std::unique_ptr<support::Process> Applications::StartByHand(const std::string& id) const {
  return std::make_unique<support::Process>(
      std::vector<std::string>{std::string(APPLICATIONS "/") + id}, Variables(),
      support::Files{"/dev/null", m_Root / "out", m_Root / "err"});
}

std::vector<std::string> Applications::Log(const std::string& id) const {
  return support::ApplicationLog(m_Root.Path(), id);
}

bool Applications::WaitForLog(const std::string& id, const std::string& line) const {
  return support::WaitUntil([&] {
    const std::vector<std::string> lines = Log(id);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  });
}

std::optional<host::KeyValue> Applications::Status(const std::string& id) {
  return Key(host::ApplicationStatusKey(id));
}
