#include "framework_test.h"

#include <algorithm>
#include <sstream>

#include "support/wait.h"

namespace {

using bus::Check;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

Answer ReadAnswer(sd_bus_message* message) {
  Answer answer;
  if (const sd_bus_error* error = sd_bus_message_get_error(message)) {
    answer.error = error->name;
    answer.message = error->message;
    return answer;
  }
  const char* body = nullptr;
  Check(sd_bus_message_read(message, "is", &answer.type, &body), "reply");
  answer.body = body;
  return answer;
}

std::ostream& operator<<(std::ostream& stream, const Answer& answer) {
  return stream << answer.type << ' ' << answer.body << ' ' << answer.error << ' '
                << answer.message;
}

std::ostream& operator<<(std::ostream& stream, const ReceivedSignal& signal) {
  return stream << signal.name << ' ' << signal.type << ' ' << signal.body;
}

Client::Client(const std::string& address) {
  Check(bus::Connect(address, support::kPatience, m_Bus), address.c_str());
}

Client::~Client() { sd_bus_flush(m_Bus.get()); }

std::string Client::UniqueName() const {
  const char* name = nullptr;
  Check(sd_bus_get_unique_name(m_Bus.get(), &name), "sd_bus_get_unique_name");
  return name;
}

Answer Client::Request(const std::string& body, int type, const std::string& to) {
  bus::Error error;
  bus::Message reply;
  const int result = sd_bus_call_method(m_Bus.get(), to.c_str(), kObject, kInterface, "Request",
                                        error.Out(), bus::Out(reply), "is", type, body.c_str());
  if (result < 0) {
    return {0, "", error.Name().empty() ? "no answer" : error.Name(), error.Text()};
  }
  return ReadAnswer(reply.get());
}

void Client::Post(const std::string& body, bool expectReply) {
  bus::Message message;
  Check(sd_bus_message_new_method_call(m_Bus.get(), bus::Out(message), kBusName, kObject,
                                       kInterface, "Request"),
        "sd_bus_message_new_method_call");
  Check(sd_bus_message_append(message.get(), "is", 0, body.c_str()), "sd_bus_message_append");
  if (expectReply) {
    Check(sd_bus_call_async(m_Bus.get(), nullptr, message.get(), OnAnswer, this, 0),
          "sd_bus_call_async");
  } else {
    Check(sd_bus_message_set_expect_reply(message.get(), false), "sd_bus_message_set_expect_reply");
    Check(sd_bus_send(m_Bus.get(), message.get(), nullptr), "sd_bus_send");
  }
}

int Client::OnAnswer(sd_bus_message* message, void* self, sd_bus_error*) {
  static_cast<Client*>(self)->m_Answers.push_back(ReadAnswer(message));
  return 0;
}

void Client::Listen() {
  Check(sd_bus_match_signal(m_Bus.get(), nullptr, nullptr, kObject, kInterface, "Signal", OnSignal,
                            this),
        "sd_bus_match_signal");
}

int Client::OnSignal(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* name = nullptr;
  const char* body = nullptr;
  ReceivedSignal signal;
  Check(sd_bus_message_read(message, "sis", &name, &signal.type, &body), "signal");
  signal.name = name;
  signal.body = body;
  static_cast<Client*>(self)->m_Signals.push_back(signal);
  return 0;
}

bool Client::HasOwner(const std::string& name) {
  return Check(bus::HasOwner(m_Bus.get(), name), "HasOwner") > 0;
}

bool Client::Until(const std::function<bool()>& done) {
  return support::WaitUntil([&] {
    while (sd_bus_process(m_Bus.get(), nullptr) > 0) {
    }
    return done();
  });
}

FrameworkTest::FrameworkTest() {
  m_Bus = std::make_unique<support::PrivateBus>(m_Directory.Path());
}

FrameworkTest::~FrameworkTest() {
  m_Services.clear();
  if (HasFailure()) {
    std::cerr << "log of the service:\n" << Log();
  }
}

support::Variables FrameworkTest::WithDefaults(const support::Variables& variables) const {
  support::Variables all = {{"DBUS_SESSION_BUS_ADDRESS", Address()},
                            {"SETTINGS_ROOT", m_Directory.Path()},
                            {"TRACE", Path("trace")}};
  for (const auto& [name, value] : variables) {
    all[name] = value;
  }
  return all;
}

support::Process& FrameworkTest::Start(const support::Variables& variables,
                                       const std::vector<std::string>& options) {
  std::vector<std::string> command = {TEST_SERVICE};
  command.insert(command.end(), options.begin(), options.end());
  m_Services.push_back(std::make_unique<support::Process>(
      command, WithDefaults(variables), support::Files{"/dev/null", "/dev/null", Path("log")}));
  return *m_Services.back();
}

support::Process& FrameworkTest::StartAndWait(const support::Variables& variables,
                                              const std::vector<std::string>& options) {
  support::Process& service = Start(variables, options);
  Client client(Address());
  const bool up = support::WaitUntil([&] { return client.HasOwner() || !service.Running(); });
  if (!up || client.Request(R"({"do":"echo"})").body != R"({"do":"echo"})") {
    throw std::runtime_error("the service does not serve");
  }
  return service;
}

support::Outcome FrameworkTest::Run(const std::vector<std::string>& options,
                                    const support::Variables& variables) {
  std::vector<std::string> command = {TEST_SERVICE};
  command.insert(command.end(), options.begin(), options.end());
  return support::RunCommand(command, WithDefaults(variables));
}

std::vector<std::string> FrameworkTest::Trace() const {
  return Lines(support::ReadFile(Path("trace")));
}

bool FrameworkTest::WaitForTrace(const std::string& line) const {
  return support::WaitUntil([&] {
    const std::vector<std::string> lines = Trace();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  });
}

std::string FrameworkTest::Log() const { return support::ReadFile(Path("log")); }

std::vector<std::string> FrameworkTest::LogLinesWith(const std::string& text) const {
  std::vector<std::string> found;
  for (const std::string& line : Lines(Log())) {
    if (line.find(text) != std::string::npos) {
      found.push_back(line);
    }
  }
  return found;
}
