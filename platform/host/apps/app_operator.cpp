#include "apps/app_operator.h"

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
#include "system/file_descriptor.h"

namespace host {
namespace {

using bus::Deadline;
using std::chrono::microseconds;
using Kind = AppError::Kind;

// `result` as sd-bus returned it; `otherwise` is the kind for results without one of their own.
Kind KindOf(int result, Kind otherwise) {
  const bool denied = result == -EACCES || result == -EPERM;
  return denied ? Kind::kNotAllowed : result == -ETIMEDOUT ? Kind::kBusSilent : otherwise;
}

AppError BusFailure(const std::string& bus, int result) {
  const Kind kind = KindOf(result, Kind::kBusLost);
  return AppError(kind, bus,
                  kind == Kind::kBusSilent    ? "the bus did not answer in time"
                  : kind == Kind::kNotAllowed ? "the bus does not let this user in; see its policy"
                                              : fmt::format("the connection to the bus is lost: {}",
                                                            std::strerror(-result)));
}

bool IsName(const bus::Error& error, const char* name) {
  return error.Name() == std::string("org.freedesktop.DBus.Error.") + name;
}

// What went wrong when the application was asked for something: the bus or the application said it.
AppError CallFailure(const std::string& id, const bus::Error& error) {
  const auto failure = [&](Kind kind, const std::string& text) {
    return AppError(kind, id, fmt::format(fmt::runtime(text), id));
  };
  if (IsName(error, "ServiceUnknown") || IsName(error, "NameHasNoOwner")) {
    return failure(Kind::kNotInstalled, "no application \"{}\" is installed");
  }
  if (IsName(error, "TimedOut")) {
    return failure(Kind::kNoName, "\"{}\" was started but did not take its name in time");
  }
  if (IsName(error, "Timeout")) {
    return failure(Kind::kNoAnswer, "\"{}\" did not answer in time");
  }
  if (IsName(error, "NoReply") || IsName(error, "Disconnected")) {
    return failure(Kind::kEnded, "\"{}\" ended before it answered");
  }
  if (IsName(error, "AccessDenied")) {
    return failure(Kind::kNotAllowed, "the bus does not let this user ask \"{}\"; see its policy");
  }
  if (error.Name().starts_with("org.freedesktop.DBus.Error.Spawn.")) {
    return AppError(Kind::kCannotStart, id,
                    fmt::format("the bus could not start \"{}\" ({})", id, error.Text()));
  }
  if (IsName(error, "UnknownMethod") || IsName(error, "UnknownObject") ||
      IsName(error, "UnknownInterface")) {
    return AppError(Kind::kRefused, id,
                    fmt::format("\"{}\" is running, but has no org.freedesktop.Application at {}",
                                id, ApplicationObjectPath(id)));
  }
  return AppError(Kind::kRefused, id, fmt::format("\"{}\" refused: {}", id, error.Text()));
}

// `process` is a pidfd.
void WaitForEnd(const std::string& id, int process, const Deadline& deadline) {
  pollfd ended{process, POLLIN, 0};
  for (;;) {
    const std::uint64_t left = deadline.Left();
    // poll counts milliseconds in an int; a longer wait takes several calls.
    const auto wait = std::min<std::uint64_t>(left / 1000 + (left > 0), 60'000);
    if (poll(&ended, 1, static_cast<int>(wait)) > 0) {
      return;
    }
    if (deadline.Passed()) {
      throw AppError(Kind::kNoEnd, id, fmt::format("\"{}\" is still running", id));
    }
  }
}

}  // namespace

AppOperator::AppOperator(const std::string& bus, microseconds patience)
    : m_BusName(bus), m_Patience(std::max(patience, microseconds(1))) {
  const int result = bus::Connect(bus, m_Patience, m_Bus);
  if (result < 0) {
    throw AppError(
        KindOf(result, Kind::kNoBus), bus,
        fmt::format("cannot connect to the bus \"{}\": {}", bus, bus::ConnectingProblem(result)));
  }
}

int AppOperator::m_Check(int result) const {
  if (result < 0) {
    throw BusFailure(m_BusName, result);
  }
  return result;
}

std::set<std::string> AppOperator::Installed() { return m_List(bus::Applications::kInstalled); }

std::set<std::string> AppOperator::Running() { return m_List(bus::Applications::kRunning); }

std::set<std::string> AppOperator::m_List(bus::Applications which) {
  std::set<std::string> ids;
  m_Check(bus::ListApplications(m_Bus.get(), which, ids));
  return ids;
}

std::optional<AppOwner> AppOperator::OwnerOf(const std::string& id) {
  bus::Credentials creds;
  const int result = sd_bus_get_name_creds(
      m_Bus.get(), id.c_str(), SD_BUS_CREDS_UNIQUE_NAME | SD_BUS_CREDS_PID, bus::Out(creds));
  // An owner may go between two questions to the bus.
  if (result == -ENXIO || result == -ESRCH || result == -EHOSTUNREACH) {
    return std::nullopt;
  }
  m_Check(result);
  const char* connection = nullptr;
  AppOwner owner;
  m_Check(sd_bus_creds_get_unique_name(creds.get(), &connection));
  m_Check(sd_bus_creds_get_pid(creds.get(), &owner.pid));
  owner.connection = connection;
  return owner;
}

AppOwner AppOperator::m_ExistingOwner(const std::string& id) {
  CheckApplicationId(id);
  if (const std::optional<AppOwner> owner = OwnerOf(id)) {
    return *owner;
  }
  if (!Installed().contains(id)) {
    throw AppError(Kind::kNotInstalled, id,
                   fmt::format("no application \"{}\" is installed or running", id));
  }
  throw AppError(Kind::kNotRunning, id, fmt::format("{} is not running", id));
}

bus::Message AppOperator::m_MakeCall(const std::string& id, const char* method) {
  bus::Message call;
  m_Check(sd_bus_message_new_method_call(m_Bus.get(), bus::Out(call), id.c_str(),
                                         ApplicationObjectPath(id).c_str(),
                                         "org.freedesktop.Application", method));
  return call;
}

void AppOperator::m_Call(const std::string& id, const bus::Message& call) {
  bus::Error error;
  const int result = sd_bus_call(m_Bus.get(), call.get(), m_Patience.count(), error.Out(), nullptr);
  if (result < 0) {
    throw error.Name().empty() ? BusFailure(m_BusName, result) : CallFailure(id, error);
  }
}

void AppOperator::Start(const std::string& id, const ExtraData& extraData) {
  CheckApplicationId(id);
  const bus::Message call = m_MakeCall(id, "Activate");
  m_Check(sd_bus_message_open_container(call.get(), 'a', "{sv}"));
  for (const auto& [key, value] : extraData) {
    const int result = sd_bus_message_append(call.get(), "{sv}", key.c_str(), "s", value.c_str());
    if (result == -EINVAL) {
      throw AppError(Kind::kNotText, id, fmt::format("\"{}={}\" is not UTF-8", key, value));
    }
    m_Check(result);
  }
  m_Check(sd_bus_message_close_container(call.get()));
  m_Call(id, call);
}

void AppOperator::Enter(const std::string& id, const std::string& state) {
  m_ExistingOwner(id);
  const bus::Message call = m_MakeCall(id, "ActivateAction");
  m_Check(sd_bus_message_append(call.get(), "sava{sv}", "state", 1, "s", state.c_str(), 0));
  m_Check(sd_bus_message_set_auto_start(call.get(), false));
  m_Call(id, call);
}

void AppOperator::Stop(const std::string& id, bool byForce) {
  const AppOwner owner = m_ExistingOwner(id);
  const Deadline deadline(m_Patience);
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, owner.pid, 0)));
  if (process.Get() < 0 && errno != ESRCH) {
    throw AppError(
        Kind::kRefused, id,
        fmt::format("cannot watch process {} of \"{}\": {}", owner.pid, id, std::strerror(errno)));
  }
  // Checked again: the number may have gone to another process before it was opened.
  if (process.Get() >= 0 && m_Owns(id, owner.connection)) {
    const int signal = byForce ? SIGKILL : SIGTERM;
    if (syscall(SYS_pidfd_send_signal, process.Get(), signal, nullptr, 0) < 0 && errno != ESRCH) {
      throw AppError(
          errno == EPERM ? Kind::kNotAllowed : Kind::kRefused, id,
          fmt::format("cannot end process {} of \"{}\": {}", owner.pid, id, std::strerror(errno)));
    }
    WaitForEnd(id, process.Get(), deadline);
  }
  m_WaitForLossOf(id, owner.connection, deadline);
}

bool AppOperator::m_Owns(const std::string& id, const std::string& connection) {
  const std::optional<AppOwner> owner = OwnerOf(id);
  return owner && owner->connection == connection;
}

// The bus hears of the end of a process from its socket, a moment later than the process's parent.
void AppOperator::m_WaitForLossOf(const std::string& id, const std::string& connection,
                                  const Deadline& deadline) {
  const std::string change = fmt::format(
      "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='{}'", id);
  // Only to be woken.
  const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
  m_Check(sd_bus_add_match(m_Bus.get(), nullptr, change.c_str(), ignore, nullptr));
  while (m_Owns(id, connection)) {
    m_Check(bus::ProcessOrWait(m_Bus.get(), deadline));
  }
}

void CheckApplicationId(const std::string& id) {
  if (!bus::IsApplicationId(id)) {
    throw AppError(
        Kind::kNotAnId, id,
        fmt::format("\"{}\" is not an application ID: it has at least two parts of letters, "
                    "digits, _ and -, separated by dots, as in org.pavix.menu",
                    id));
  }
}

}  // namespace host
