#include "fixture.h"

#include <signal.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "bus/bus.h"

namespace {

constexpr char kConfiguration[] = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <auth>EXTERNAL</auth>
  <listen>ADDRESS</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  MORE
</busconfig>
)";

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  return text.replace(text.find(what), what.size(), by);
}

}  // namespace

TestBus::TestBus(const std::string& configuration)
    : m_Address("unix:path=" + (m_Directory / "bus").string()) {
  const std::filesystem::path file = m_Directory / "bus.conf";
  std::ofstream(file) << Replaced(Replaced(kConfiguration, "ADDRESS", m_Address), "MORE",
                                  configuration);
  const std::filesystem::path printed = m_Directory / "address";
  const std::filesystem::path log = m_Directory / "log";
  m_Daemon = std::make_unique<support::Process>(
      std::vector<std::string>{"dbus-daemon", "--nofork", "--nopidfile", "--print-address",
                               "--config-file=" + file.string()},
      support::Variables{}, support::Files{"/dev/null", printed, log});
  // The bus prints its address when it can be connected to.
  const bool up = support::WaitUntil(
      [&] { return !support::ReadFile(printed).empty() || !m_Daemon->Running(); });
  if (!up || !m_Daemon->Running()) {
    throw std::runtime_error("the bus did not start: " + support::ReadFile(log));
  }
}

void TestBus::End() {
  m_Daemon->Signal(SIGTERM);
  m_Daemon->Wait();
}

Background::Background(const std::vector<std::string>& command, const support::Variables& variables)
    : m_Process(command, variables,
                support::Files{"/dev/null", m_Directory / "out", m_Directory / "err"}) {}

bool Background::WaitForOut(const std::string& text) const {
  return support::WaitUntil([&] { return Out().find(text) != std::string::npos; });
}

bool Background::WaitForErr(const std::string& text) const {
  return support::WaitUntil([&] { return Err().find(text) != std::string::npos; });
}

void OnBus::StartService() {
  m_Service = std::make_unique<Background>(std::vector<std::string>{FAKE_SERVICE, m_Bus.Address()});
  ASSERT_TRUE(m_Service->WaitForOut("ready\n")) << m_Service->Err();
}

void OnBus::EndService() {
  m_Service->Process().Signal(SIGTERM);
  ASSERT_TRUE(m_Service->Process().Wait());
}

support::Variables OnBus::Variables() const {
  return {{"DBUS_SESSION_BUS_ADDRESS", m_Bus.Address()}};
}

std::vector<std::string> OnBus::Command(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), SETTINGSCTL);
  return arguments;
}

support::Outcome OnBus::Run(const std::vector<std::string>& arguments) const {
  return support::RunCommand(Command(arguments), Variables());
}

support::Outcome OnBus::Request(const std::string& method, const std::string& data) const {
  return Run({"request", "{\"method\":\"" + method + "\",\"data\":" + data + "}"});
}

void OnBus::Forge(const std::string& client) const {
  bus::Connection forger;
  ASSERT_EQ(bus::Connect(m_Bus.Address(), std::nullopt, forger), 0);
  const auto send = [&](const char* destination, const char* interface, const char* member,
                        const char* signature, auto... values) {
    bus::Message signal;
    ASSERT_GE(sd_bus_message_new_signal(forger.get(), bus::Out(signal),
                                        "/org/nuvra/service/settings_service", interface, member),
              0);
    ASSERT_GE(sd_bus_message_append(signal.get(), signature, values...), 0);
    ASSERT_GE(sd_bus_send_to(forger.get(), signal.get(), destination, nullptr), 0);
  };
  const char* const service = "org.nuvra.service.settings_service";
  for (const char* const destination : {static_cast<const char*>(nullptr), client.c_str()}) {
    send(destination, "org.nuvra.Items1", "Changed", "s",
         R"({"items":[{"menuID":"brightness","value":"forged"}]})");
    send(destination, "org.nuvra.Items1", "LanguageChanged", "s", "forged");
    send(destination, "org.nuvra.Service1", "Signal", "sis", "settings_service_signal", 3,
         "forged");
    send(destination, "org.freedesktop.DBus", "NameOwnerChanged", "sss", service, ":1.1", "");
  }
  // The bus has passed on what was sent before it answers.
  ASSERT_GT(bus::HasOwner(forger.get(), service), 0);
}

int Lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

void ExpectOutput(const support::Outcome& outcome, const std::string& text) {
  EXPECT_EQ(outcome.out, text);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
}

void ExpectFailureOf(const std::string& tool, const support::Outcome& outcome, int status,
                     const std::string& message) {
  EXPECT_EQ(outcome.status, status) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err,
              testing::AllOf(testing::StartsWith(tool + ": "), testing::HasSubstr(message)));
  EXPECT_EQ(Lines(outcome.err), 1) << outcome.err;
}
