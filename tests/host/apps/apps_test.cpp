#include "apps_test.h"

#include <Ecore.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "aul.h"
#include "contract/main_loop.h"
#include "framework/service_bus.h"
#include "support/wait.h"
#include "system/environment.h"
#include "system/host.h"
#include "system/log.h"

namespace {

// One set for the whole program: its key store, its log and its main loop.
class Set : public testing::Environment {
 public:
  void SetUp() override {
    host::SetEnvironment({.root = m_Root.Path(), .modelFile = {}, .dataDir = {}});
    host::OpenLog(LogFile());
    ecore_app_no_system_modules();
    ecore_init();
    // Ecore would wait for child processes, which belong to the tests.
    std::signal(SIGCHLD, SIG_DFL);
  }

  void TearDown() override {
    ecore_shutdown();
    host::FlushLog(support::kPatience);
  }

  std::filesystem::path LogFile() const { return m_Root / "log"; }

 private:
  support::TempDirectory m_Root;
};

const auto* const g_Set = static_cast<Set*>(testing::AddGlobalTestEnvironment(new Set()));

}  // namespace

std::ostream& operator<<(std::ostream& stream, const AppEvent& event) {
  return stream << (event.kind == APP_CONTEXT_EVENT_LAUNCHED ? "launched " : "terminated ")
                << event.appId;
}

BusClient::BusClient() {
  EXPECT_EQ(bus::Connect(host::BusAddress(), support::kPatience, m_Bus), 0);
}

std::vector<std::string> BusClient::Names() const {
  char** names = nullptr;
  EXPECT_GE(sd_bus_list_names(m_Bus.get(), &names, nullptr), 0);
  return bus::TakeTexts(names);
}

bool BusClient::IsOwned(const std::string& name) const {
  const int owned = bus::HasOwner(m_Bus.get(), name);
  EXPECT_GE(owned, 0) << name;
  return owned > 0;
}

void BusClient::Own(const std::string& name) {
  EXPECT_GE(sd_bus_request_name(m_Bus.get(), name.c_str(),
                                SD_BUS_NAME_ALLOW_REPLACEMENT | SD_BUS_NAME_REPLACE_EXISTING),
            0)
      << name;
}

void BusClient::Release(const std::string& name) {
  EXPECT_GE(sd_bus_release_name(m_Bus.get(), name.c_str()), 0) << name;
}

void BusClient::Forge(const std::string& to, const std::string& name, const std::string& oldOwner,
                      const std::string& newOwner) {
  bus::Message signal;
  EXPECT_GE(sd_bus_message_new_signal(m_Bus.get(), bus::Out(signal), "/org/freedesktop/DBus",
                                      "org.freedesktop.DBus", "NameOwnerChanged"),
            0);
  EXPECT_GE(
      sd_bus_message_append(signal.get(), "sss", name.c_str(), oldOwner.c_str(), newOwner.c_str()),
      0);
  EXPECT_GE(sd_bus_message_set_destination(signal.get(), to.c_str()), 0);
  EXPECT_GE(sd_bus_send(m_Bus.get(), signal.get(), nullptr), 0);
  EXPECT_GE(sd_bus_flush(m_Bus.get()), 0);
}

int Launch(const std::string& appId, const ExtraData& extraData) {
  app_control_h control = nullptr;
  EXPECT_EQ(app_control_create(&control), 0);
  EXPECT_EQ(app_control_set_app_id(control, appId.c_str()), 0);
  for (const auto& [key, value] : extraData) {
    EXPECT_EQ(app_control_add_extra_data(control, key.c_str(), value.c_str()), 0);
  }
  const int result = app_control_send_launch_request(control, nullptr, nullptr);
  EXPECT_EQ(app_control_destroy(control), 0);
  return result;
}

std::string LogText() {
  EXPECT_TRUE(host::FlushLog(support::kPatience));
  return support::ReadFile(g_Set->LogFile());
}

AppsTest::AppsTest() {
  std::filesystem::create_directory(m_Directory / "services");
  const std::string program = TEST_APPLICATION " " + m_RecordFile.string() + " ";
  Install(kGameBar, program + kGameBar);
  Install(kDashed, program + kDashed);
  Install(kMute, program + kMute + " mute");
  Install(kNameless, program + kNameless + " nameless");
  Install(kSwarm, program + kSwarm + " swarm " + std::to_string(kSwarmSize));
  Install(kBroken, (m_Directory / "no-such-program").string());
  StartBus();
}

AppsTest::~AppsTest() {
  app_manager_unset_app_context_event_cb();
  // An application ends with its bus, unless it cannot notice.
  for (const pid_t stopped : m_Stopped) {
    kill(stopped, SIGCONT);
  }
  EndBus();
  // The next test shall not find a connection to this bus. A process that the bus was about to
  // make an application of keeps it open for a moment longer.
  EXPECT_TRUE(support::WaitUntil([] {
    const int status = aul_app_get_status(kGameBar.c_str());
    return status == -ENOENT || status == -ECONNREFUSED;
  }));
}

void AppsTest::Install(const std::string& appId, const std::string& command) {
  std::ofstream(m_Directory / "services" / (appId + ".service"))
      << "[D-BUS Service]\nName=" << appId << "\nExec=" << command << "\n";
}

void AppsTest::StartBus() {
  m_Bus = std::make_unique<support::PrivateBus>(
      m_Directory.Path(), std::vector<std::filesystem::path>{m_Directory / "services"});
  BeginService();
}

void AppsTest::EndBus() {
  EndService();
  m_Bus->End();
}

void AppsTest::BeginService() {
  host::g_Host.serviceBus.Get([this] { return new host::ServiceBus(m_Bus->Address()); });
  sd_bus* const bus = host::ServiceBus::Current();
  host::g_Host.nameOwners.Get([bus] { return new host::NameOwners(bus); });
  m_Pump = std::make_unique<host::BusPump>(
      bus, [](int error) { ADD_FAILURE() << "the connection is lost: " << error; });
}

void AppsTest::EndService() {
  m_Pump.reset();
  host::g_Host.EndService();
}

void AppsTest::Watch() { ASSERT_EQ(app_manager_set_app_context_event_cb(CollectEvent, this), 0); }

void AppsTest::CollectEvent(app_context_h context, app_context_event_e kind, void* test) {
  char* appId = nullptr;
  ASSERT_EQ(app_context_get_app_id(context, &appId), 0);
  static_cast<AppsTest*>(test)->m_Events.push_back({kind, appId});
  std::free(appId);
}

bool AppsTest::RunUntilEvents(std::size_t count) {
  return contract::RunMainLoopUntil([&] { return m_Events.size() >= count; });
}

std::string AppsTest::ServiceConnection() const {
  const char* name = nullptr;
  EXPECT_GE(sd_bus_get_unique_name(host::ServiceBus::Current(), &name), 0);
  return name;
}

void AppsTest::ServeAll() {
  // A name that is no application's; the bus tells of it after everything else.
  const std::string mark = "org.nuvra.service.mark" + std::to_string(++m_Marks);
  BusClient client;
  client.Own(mark);
  EXPECT_TRUE(contract::RunMainLoopUntil(
      [&] { return !host::NameOwners::Current()->OwnerOf(mark).empty(); }));
}

std::unique_ptr<support::Process> AppsTest::Start(const std::string& appId) {
  return std::make_unique<support::Process>(
      std::vector<std::string>{TEST_APPLICATION, m_RecordFile.string(), appId},
      support::Variables{{"DBUS_SESSION_BUS_ADDRESS", m_Bus->Address()}},
      support::Files{"/dev/null", "/dev/null", m_Directory / "errors"});
}

std::vector<Json::Value> AppsTest::Record() const {
  std::istringstream text(support::ReadFile(m_RecordFile));
  std::vector<Json::Value> lines;
  for (std::string line; std::getline(text, line) && !text.eof();) {
    std::istringstream stream(line);
    Json::Value value;
    stream >> value;
    lines.push_back(value);
  }
  return lines;
}

int AppsTest::Starts(const std::string& appId) const {
  const std::vector<Json::Value> record = Record();
  return static_cast<int>(std::count_if(record.begin(), record.end(), [&](const Json::Value& line) {
    return line["started"] == appId;
  }));
}

std::vector<ExtraData> AppsTest::Activations(const std::string& appId) const {
  std::vector<ExtraData> activations;
  for (const Json::Value& line : Record()) {
    if (line["activated"] == appId) {
      ExtraData& data = activations.emplace_back();
      for (const std::string& key : line["data"].getMemberNames()) {
        data[key] = line["data"][key].asString();
      }
    }
  }
  return activations;
}

bool AppsTest::WaitForActivations(const std::string& appId, std::size_t count) {
  return support::WaitUntil([&] { return Activations(appId).size() >= count; });
}

bool AppsTest::WaitForStarts(const std::string& appId, int count) {
  return support::WaitUntil([&] { return Starts(appId) >= count; });
}

pid_t AppsTest::PidOf(const std::string& appId) const {
  EXPECT_EQ(Starts(appId), 1) << appId;
  for (const Json::Value& line : Record()) {
    if (line["started"] == appId) {
      return line["pid"].asInt();
    }
  }
  throw std::logic_error(appId + " was not started");
}

void AppsTest::Signal(const std::string& appId, int signal) {
  const pid_t pid = PidOf(appId);
  ASSERT_EQ(kill(pid, signal), 0);
  if (signal == SIGSTOP) {
    m_Stopped.push_back(pid);
  }
}

void AppsTest::SignalGroup(const std::string& appId, int signal) {
  ASSERT_EQ(kill(-PidOf(appId), signal), 0);
}

std::size_t AppsTest::Clients() {
  const std::vector<std::string> names = BusClient().Names();
  return std::count_if(names.begin(), names.end(),
                       [](const std::string& name) { return name.starts_with(':'); }) -
         1;  // the one that counts
}
