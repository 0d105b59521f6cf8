#include "setctl/app_bus.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "apps/application_id.h"
#include "common.h"
#include "system/safe_directory.h"
#include "text.h"

namespace setctl {
namespace {

using bus::Deadline;
using std::chrono::microseconds;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

Failure BusFailure(int result) {
  switch (-result) {
    case ETIMEDOUT:
      return Failure(ExitCode::kTimedOut,
                     "the bus did not answer in time; wait longer with --timeout SECONDS");
    case EACCES:
    case EPERM:
      return Failure(ExitCode::kNotAllowed,
                     "the bus does not let this user in; its policy says who may");
    default:
      return Failure(ExitCode::kNotRunning,
                     fmt::format("the connection to the bus is lost: {}", std::strerror(-result)));
  }
}

int Check(int result) {
  if (result < 0) {
    throw BusFailure(result);
  }
  return result;
}

Failure CannotConnect(const std::string& bus, int result) {
  const bool denied = result == -EACCES || result == -EPERM;
  const ExitCode code = denied                 ? ExitCode::kNotAllowed
                        : result == -ETIMEDOUT ? ExitCode::kTimedOut
                                               : ExitCode::kNotRunning;
  return Failure(code,
                 fmt::format("cannot connect to the bus {}: {}; start a set, e.g. with ./run, "
                             "or choose another bus with --bus",
                             Quote(bus), bus::ConnectingProblem(result)));
}

bool IsName(const bus::Error& error, const char* name) {
  return error.Name() == std::string("org.freedesktop.DBus.Error.") + name;
}

// What went wrong when the application was asked for something; `result` as sd-bus has it.
Failure CallFailure(const std::string& id, const bus::Error& error, int result) {
  const std::string app = Quote(id);
  if (IsName(error, "ServiceUnknown") || IsName(error, "NameHasNoOwner")) {
    return Failure(
        ExitCode::kNotFound,
        fmt::format("no application {} is installed; setctl app list says which are", app));
  }
  if (IsName(error, "TimedOut")) {
    return Failure(ExitCode::kTimedOut,
                   fmt::format("{} was started but did not take its name in time", app));
  }
  if (IsName(error, "Timeout") || result == -ETIMEDOUT) {
    return Failure(ExitCode::kTimedOut, fmt::format("{} did not answer in time; wait longer with "
                                                    "--timeout SECONDS, or end it with setctl app "
                                                    "stop --kill",
                                                    app));
  }
  if (IsName(error, "NoReply") || IsName(error, "Disconnected")) {
    return Failure(ExitCode::kRefused, fmt::format("{} ended before it answered; setctl app log "
                                                   "may say why",
                                                   app));
  }
  if (IsName(error, "AccessDenied")) {
    return Failure(ExitCode::kNotAllowed, fmt::format("the bus does not let this user ask {}; its "
                                                      "policy says who may",
                                                      app));
  }
  if (error.Name().rfind("org.freedesktop.DBus.Error.Spawn.", 0) == 0) {
    return Failure(
        ExitCode::kRefused,
        fmt::format("the bus could not start {} ({}); its service file says what it runs", app,
                    error.Text()));
  }
  if (IsName(error, "UnknownMethod") || IsName(error, "UnknownObject") ||
      IsName(error, "UnknownInterface")) {
    return Failure(ExitCode::kRefused,
                   fmt::format("{} runs, but has no org.freedesktop.Application "
                               "at {}",
                               app, host::ApplicationObjectPath(id)));
  }
  if (error.Name().empty()) {
    return BusFailure(result);
  }
  return Failure(ExitCode::kRefused, fmt::format("{} refused: {}", app, error.Text()));
}

// `process` is a pidfd.
void WaitForEnd(const std::string& id, int process, const Deadline& deadline) {
  pollfd ended{process, POLLIN, 0};
  for (;;) {
    const std::uint64_t left = deadline.Left();
    // poll counts milliseconds in an int; a longer wait is made of several.
    const auto wait = std::min<std::uint64_t>(left / 1000 + (left > 0), 60'000);
    if (poll(&ended, 1, static_cast<int>(wait)) > 0) {
      return;
    }
    if (deadline.Passed()) {
      throw Failure(ExitCode::kTimedOut,
                    fmt::format("{} still runs; wait longer with --timeout SECONDS, or end it by "
                                "force with --kill",
                                Quote(id)));
    }
  }
}

}  // namespace

AppBus::AppBus(const std::string& bus, microseconds patience)
    : m_Patience(std::max(patience, microseconds(1))) {
  const int result = bus::Connect(bus, m_Patience, m_Bus);
  if (result < 0) {
    throw CannotConnect(bus, result);
  }
}

std::set<std::string> AppBus::Installed() { return m_Names(false); }

std::set<std::string> AppBus::Running() { return m_Names(true); }

std::set<std::string> AppBus::m_Names(bool running) {
  char** names = nullptr;
  Check(running ? sd_bus_list_names(m_Bus.get(), &names, nullptr)
                : sd_bus_list_names(m_Bus.get(), nullptr, &names));
  std::set<std::string> ids;
  for (const std::string& name : bus::TakeTexts(names)) {
    if (host::IsApplicationId(name)) {
      ids.insert(name);
    }
  }
  return ids;
}

std::optional<AppOwner> AppBus::OwnerOf(const std::string& id) {
  bus::Credentials creds;
  const int result = sd_bus_get_name_creds(
      m_Bus.get(), id.c_str(), SD_BUS_CREDS_UNIQUE_NAME | SD_BUS_CREDS_PID, bus::Out(creds));
  // Between two questions to the bus an owner may go.
  if (result == -ENXIO || result == -ESRCH || result == -EHOSTUNREACH) {
    return std::nullopt;
  }
  Check(result);
  const char* connection = nullptr;
  AppOwner owner;
  Check(sd_bus_creds_get_unique_name(creds.get(), &connection));
  Check(sd_bus_creds_get_pid(creds.get(), &owner.pid));
  owner.connection = connection;
  return owner;
}

bus::Message AppBus::m_MakeCall(const std::string& id, const char* method) {
  bus::Message call;
  Check(sd_bus_message_new_method_call(m_Bus.get(), bus::Out(call), id.c_str(),
                                       host::ApplicationObjectPath(id).c_str(),
                                       "org.freedesktop.Application", method));
  return call;
}

void AppBus::m_Call(const std::string& id, const bus::Message& call) {
  bus::Error error;
  const int result = sd_bus_call(m_Bus.get(), call.get(), m_Patience.count(), error.Out(), nullptr);
  if (result < 0) {
    throw CallFailure(id, error, result);
  }
}

void AppBus::Activate(const std::string& id, const ExtraData& extraData) {
  const bus::Message call = m_MakeCall(id, "Activate");
  Check(sd_bus_message_open_container(call.get(), 'a', "{sv}"));
  for (const auto& [key, value] : extraData) {
    const int result = sd_bus_message_append(call.get(), "{sv}", key.c_str(), "s", value.c_str());
    if (result == -EINVAL) {
      throw Failure(ExitCode::kUsage, fmt::format("{} is not UTF-8", Quote(key + "=" + value)));
    }
    Check(result);
  }
  Check(sd_bus_message_close_container(call.get()));
  m_Call(id, call);
}

void AppBus::ActivateAction(const std::string& id, const std::string& action,
                            const std::string& parameter) {
  const bus::Message call = m_MakeCall(id, "ActivateAction");
  Check(
      sd_bus_message_append(call.get(), "sava{sv}", action.c_str(), 1, "s", parameter.c_str(), 0));
  Check(sd_bus_message_set_auto_start(call.get(), false));
  m_Call(id, call);
}

void AppBus::EndOwner(const std::string& id, const AppOwner& owner, int signal) {
  const Deadline deadline(m_Patience);
  const host::FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, owner.pid, 0)));
  if (process.Get() < 0 && errno != ESRCH) {
    throw Failure(ExitCode::kRefused, fmt::format("cannot watch process {} of {}: {}", owner.pid,
                                                  Quote(id), std::strerror(errno)));
  }
  // Once more: the number may have gone to another process before it was opened.
  if (process.Get() >= 0 && m_Owns(id, owner.connection)) {
    if (syscall(SYS_pidfd_send_signal, process.Get(), signal, nullptr, 0) < 0 && errno != ESRCH) {
      throw Failure(errno == EPERM ? ExitCode::kNotAllowed : ExitCode::kRefused,
                    fmt::format("cannot end process {} of {}: {}", owner.pid, Quote(id),
                                std::strerror(errno)));
    }
    WaitForEnd(id, process.Get(), deadline);
  }
  m_WaitForLossOf(id, owner.connection, deadline);
}

bool AppBus::m_Owns(const std::string& id, const std::string& connection) {
  const std::optional<AppOwner> owner = OwnerOf(id);
  return owner && owner->connection == connection;
}

// The bus hears of the end of a process from its socket, a moment later than the process's parent.
void AppBus::m_WaitForLossOf(const std::string& id, const std::string& connection,
                             const Deadline& deadline) {
  const std::string change = fmt::format(
      "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='{}'", id);
  // Only to be woken.
  const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
  Check(sd_bus_add_match(m_Bus.get(), nullptr, change.c_str(), ignore, nullptr));
  while (m_Owns(id, connection)) {
    Check(bus::ProcessOrWait(m_Bus.get(), deadline));
  }
}

}  // namespace setctl
