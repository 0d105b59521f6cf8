#include "support/application.h"

#include <signal.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "apps/application_id.h"
#include "base/utf8.h"
#include "base/version.h"
#include "system/environment.h"
#include "system/log.h"

// The order at both ends matters to those who look at an application from outside. Whoever sees
// its name may call it and ask for its state at once, so the name is taken last. It is given back
// while the state is still that of an ending application: a missing state would read as the
// foreground. And the state is removed only if it is still that one, because whoever waits for
// the name may be the next run of the same application.

namespace apps {
namespace {

constexpr int kWrongUsage = 2;
constexpr int kEnding = static_cast<int>(State::kEnding);

// A call that cannot be done; becomes the error reply org.freedesktop.DBus.Error.InvalidArgs.
class InvalidArguments : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using bus::Check;

sd_event* OpenEvent() {
  sd_event* event = nullptr;
  Check(sd_event_new(&event), "cannot make an event loop");
  return event;
}

bus::Connection OpenBus(const std::string& name) {
  bus::Connection connection;
  Check(bus::Connect(name, std::nullopt, connection),
        name == "session" ? "cannot connect to the session bus" : name.c_str());
  return connection;
}

std::string Quoted(const std::string& text) { return " \"" + text + "\""; }

// What is wrong with a command line that may have so many arguments; empty when nothing is.
std::string UsageProblem(const std::vector<std::string>& arguments, std::size_t most) {
  std::string problem;
  for (std::size_t i = 0; i < arguments.size() && problem.empty(); ++i) {
    const bool isOption = arguments[i].starts_with('-');
    if (isOption || i >= most) {
      base::AppendVisible(problem,
                          (isOption ? "no option" : "unexpected argument") + Quoted(arguments[i]));
    }
  }
  return problem;
}

}  // namespace

const sd_bus_vtable Application::kInterface[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("Activate", SD_BUS_ARGS("a{sv}", platform_data), SD_BUS_NO_RESULT,
                            Answer<&Application::m_Activate>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Open", SD_BUS_ARGS("as", uris, "a{sv}", platform_data),
                            SD_BUS_NO_RESULT, Answer<&Application::m_Open>,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(
        "ActivateAction", SD_BUS_ARGS("s", action_name, "av", parameter, "a{sv}", platform_data),
        SD_BUS_NO_RESULT, Answer<&Application::m_ActivateAction>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

Application::Application(const std::string& id, bool ownsOutput)
    : m_Id(id),
      m_StatusKey(host::ApplicationStatusKey(id)),
      m_Log(id, !ownsOutput),
      m_Keys(host::StateDir(), host::RunDir()),
      m_Event(OpenEvent()),
      m_Bus(OpenBus(Bus())) {
  // Asked before anything is changed that the other one goes by.
  if (Check(bus::HasOwner(m_Bus.get(), m_Id), "cannot ask the bus") > 0) {
    throw std::runtime_error("already running");
  }
}

Application::~Application() = default;

void Application::Run() {
  Check(sd_event_add_signal(m_Event.get(), nullptr, SIGTERM, OnSignal, this), "SIGTERM");
  Check(sd_event_add_signal(m_Event.get(), nullptr, SIGINT, OnSignal, this), "SIGINT");
  Check(sd_bus_attach_event(m_Bus.get(), m_Event.get(), SD_EVENT_PRIORITY_NORMAL), "the bus");
  Check(sd_bus_set_exit_on_disconnect(m_Bus.get(), true), "the bus");
  Check(sd_bus_set_close_on_exit(m_Bus.get(), false), "the bus");
  Check(sd_bus_add_object_vtable(m_Bus.get(), nullptr, host::ApplicationObjectPath(m_Id).c_str(),
                                 "org.freedesktop.Application", kInterface, this),
        "cannot register the object");
  Say("started");
  EnterState(State::kBackground);
  OnStart();
  m_TakeName();
  Check(sd_event_loop(m_Event.get()), "the event loop failed");
  m_Leave();
}

void Application::OnActivate(const ExtraData&) { EnterState(State::kForeground); }

void Application::EnterState(State state) {
  if (state == m_State) {
    return;
  }
  const int number = static_cast<int>(state);
  m_Keys.Set(m_StatusKey, number);
  m_State = state;
  OnState(state);
  Say("state " + host::ApplicationStateName(number));
}

void Application::End(const std::string& reason) {
  m_EndReason = reason;
  sd_event_exit(m_Event.get(), 0);
}

void Application::WatchKeys(std::function<void(const host::KeyChange&)> callback) {
  m_OnChange = std::move(callback);
  m_Watcher.emplace(m_Keys);
  Check(sd_event_add_io(m_Event.get(), nullptr, m_Watcher->Fd(), EPOLLIN, OnKeys, this),
        "cannot watch the key store");
}

std::string Application::Bus() {
  const char* const starter = std::getenv("DBUS_STARTER_ADDRESS");
  return starter != nullptr ? starter : "session";
}

void Application::Drive(settings::Client& client) {
  m_Client = &client;
  sd_event_source* input = nullptr;
  Check(sd_event_add_io(m_Event.get(), &input, client.Fd(), client.Events(), OnClientInput, this),
        "cannot watch the client");
  Check(sd_event_source_set_floating(input, true), "cannot watch the client");
  sd_event_source_unref(input);
  Check(sd_event_add_time_relative(m_Event.get(), &m_ClientTime, CLOCK_MONOTONIC, 0, 1,
                                   OnClientTime, this),
        "cannot watch the client");
  Check(sd_event_source_set_floating(m_ClientTime, true), "cannot watch the client");
  sd_event_source_unref(m_ClientTime);
  Check(sd_event_source_set_prepare(input, OnPrepareClient), "cannot watch the client");
}

// What a client waits for may change whenever something else was done with it.
int Application::OnPrepareClient(sd_event_source* source, void* self) {
  auto& application = *static_cast<Application*>(self);
  const settings::Client& client = *application.m_Client;
  try {
    const auto timeout = client.Timeout();
    sd_event_source_set_io_events(source, client.Events());
    if (timeout) {
      sd_event_source_set_time_relative(application.m_ClientTime, timeout->count());
    }
    sd_event_source_set_enabled(application.m_ClientTime,
                                timeout ? SD_EVENT_ONESHOT : SD_EVENT_OFF);
  } catch (const std::exception& problem) {
    application.End(problem.what());
  }
  return 0;
}

int Application::OnClientInput(sd_event_source*, int, uint32_t, void* self) {
  static_cast<Application*>(self)->m_ProcessClient();
  return 0;
}

int Application::OnClientTime(sd_event_source*, uint64_t, void* self) {
  static_cast<Application*>(self)->m_ProcessClient();
  return 0;
}

void Application::m_ProcessClient() {
  try {
    m_Client->Process();
  } catch (const settings::Error& problem) {
    if (problem.Code() == settings::ErrorCode::kBus) {
      End(problem.what());
    } else {
      Say(problem.what());
    }
  }
}

void Application::WatchSize(std::function<void()> callback) {
  m_OnSize = std::move(callback);
  Check(sd_event_add_signal(m_Event.get(), nullptr, SIGWINCH, OnSize, this), "SIGWINCH");
}

int Application::OnSize(sd_event_source*, const signalfd_siginfo*, void* self) {
  static_cast<Application*>(self)->m_OnSize();
  return 0;
}

template <auto Method>
int Application::Answer(sd_bus_message* call, void* self, sd_bus_error* error) {
  try {
    (static_cast<Application*>(self)->*Method)(call);
    return sd_bus_reply_method_return(call, "");
  } catch (const InvalidArguments& problem) {
    return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, problem.what());
  } catch (const std::exception& problem) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, problem.what());
  }
}

int Application::OnSignal(sd_event_source*, const signalfd_siginfo* info, void* self) {
  static_cast<Application*>(self)->End(info->ssi_signo == SIGINT ? "SIGINT" : "SIGTERM");
  return 0;
}

int Application::OnKeys(sd_event_source*, int, uint32_t, void* self) {
  auto& application = *static_cast<Application*>(self);
  try {
    for (const host::KeyChange& change : application.m_Watcher->TakeChanges()) {
      application.m_OnChange(change);
    }
    if (application.m_Watcher->Missed() > 0) {
      // What was lost may have been about any key.
      for (auto& [key, value] : application.m_Keys.List("")) {
        application.m_OnChange({.key = key, .value = std::move(value), .number = 0});
      }
    }
  } catch (const std::exception& problem) {
    application.Say(std::string("the key store failed: ") + problem.what());
  }
  return 0;
}

void Application::m_Activate(sd_bus_message* call) {
  const ExtraData data = ReadExtraData(call);
  std::string line = "activate";
  for (const auto& [key, value] : data) {
    line += " " + key + "=\"" + value + "\"";
  }
  Say(line);
  OnActivate(data);
}

void Application::m_Open(sd_bus_message* call) {
  std::string line = "open";
  for (const std::string& uri : ReadTexts(call)) {
    line += Quoted(uri);
  }
  Say(line);
  EnterState(State::kForeground);
}

void Application::m_ActivateAction(sd_bus_message* call) {
  const std::string action = ReadText(call);
  const std::optional<std::string> parameter = ReadParameter(call);
  Say("action" + Quoted(action) + (parameter ? Quoted(*parameter) : ""));
  if (action != "state") {
    throw InvalidArguments("there is no action" + Quoted(action) + ", only \"state\"");
  }
  const std::optional<State> state = parameter ? host::FindStateToEnter(*parameter) : std::nullopt;
  if (!state) {
    throw InvalidArguments("\"state\" takes \"foreground\", \"visible\" or \"background\"");
  }
  EnterState(*state);
}

void Application::m_TakeName() {
  const int taken = sd_bus_request_name(m_Bus.get(), m_Id.c_str(), 0);
  if (taken == -EEXIST) {
    throw std::runtime_error("already running");
  }
  Check(taken, "cannot take the name");
}

void Application::m_Leave() {
  OnState(State::kBackground);
  m_Keys.Set(m_StatusKey, kEnding);
  Say("ended: " + m_EndReason);
  // Fails only when the bus is gone, and the name with it. Its answer says that the bus has taken
  // all that was sent before.
  sd_bus_release_name(m_Bus.get(), m_Id.c_str());
  if (m_Keys.Get(m_StatusKey) == host::KeyValue(kEnding)) {
    m_Keys.Unset(m_StatusKey);
  }
}

int Main(int argc, char** argv, const std::string& parameter,
         const std::function<std::unique_ptr<Application>(const std::string&)>& make) {
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (!arguments.empty() && arguments[0] == "--version") {
    std::cout << program_invocation_short_name << ' ' << base::kVersion << std::endl;
    return 0;
  }
  if (const std::string problem = UsageProblem(arguments, parameter.empty() ? 0 : 1);
      !problem.empty()) {
    std::cerr << program_invocation_short_name << ": " << problem
              << "; usage: " << program_invocation_short_name << " [--version"
              << (parameter.empty() ? "" : " | " + parameter) << ']' << std::endl;
    return kWrongUsage;
  }
  // Before the first thread: signals come to the event loop.
  sigset_t handled;
  sigemptyset(&handled);
  sigaddset(&handled, SIGTERM);
  sigaddset(&handled, SIGINT);
  sigaddset(&handled, SIGWINCH);
  pthread_sigmask(SIG_BLOCK, &handled, nullptr);
  signal(SIGPIPE, SIG_IGN);
  try {
    host::OpenLog({});
    make(arguments.empty() ? "" : arguments[0])->Run();
    return 0;
  } catch (const std::exception& problem) {
    std::cerr << program_invocation_short_name << ": " << problem.what() << std::endl;
    return 1;
  }
}

}  // namespace apps
