#include "bus_error.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "bus/bus.h"

namespace settings {
namespace {

constexpr char kAbsent[] = "the settings service is not running on this bus";
constexpr char kStartIt[] = "start it, or connect to the bus that it is on";
constexpr char kForeign[] = "another program has the settings service's name";
constexpr char kEndForeign[] = "stop that program";

struct NamedError {
  std::string_view name;  // a name that ends with a dot matches all that begin with it
  ErrorCode code;
  const char* problem;
  const char* advice;
  bool textHelps;  // whether the text of the error reply says more than `problem`
};

// A bus answers NoReply when the service's connection ended with the request unanswered; when this
// program's own time limit expired, the name is Timeout.
constexpr NamedError kNamedErrors[] = {
    {"org.nuvra.Error.InvalidMessage", ErrorCode::kInvalidMessage,
     "the settings service cannot read this request", "send one JSON object", true},
    {"org.nuvra.Error.Failed", ErrorCode::kFailed,
     "the settings service failed to handle this request", "see its log", true},
    {"org.freedesktop.DBus.Error.ServiceUnknown", ErrorCode::kNotRunning, kAbsent, kStartIt, false},
    {"org.freedesktop.DBus.Error.NameHasNoOwner", ErrorCode::kNotRunning, kAbsent, kStartIt, false},
    {"org.freedesktop.DBus.Error.NoReply", ErrorCode::kNotRunning,
     "the settings service ended before it answered",
     "the request may or may not have been carried out", false},
    {"org.freedesktop.DBus.Error.Spawn.", ErrorCode::kNotRunning,
     "the bus could not start the settings service", "see its log", true},
    {"org.freedesktop.DBus.Error.Timeout", ErrorCode::kTimedOut,
     "the settings service did not answer in time", "allow more time", false},
    {"org.freedesktop.DBus.Error.TimedOut", ErrorCode::kTimedOut,
     "the settings service did not start in time", "see its log", true},
    {"org.freedesktop.DBus.Error.AccessDenied", ErrorCode::kNotAllowed,
     "the settings service or its bus does not let this user do that",
     "ask whoever administers this machine", true},
    {"org.freedesktop.DBus.Error.LimitsExceeded", ErrorCode::kFailed,
     "the settings service or its bus has too much waiting already", "try again later", true},
    {"org.freedesktop.DBus.Error.UnknownObject", ErrorCode::kProtocol, kForeign, kEndForeign, true},
    {"org.freedesktop.DBus.Error.UnknownInterface", ErrorCode::kProtocol, kForeign, kEndForeign,
     true},
    {"org.freedesktop.DBus.Error.UnknownMethod", ErrorCode::kProtocol, kForeign, kEndForeign, true},
};

bool Matches(const NamedError& entry, std::string_view name) {
  return entry.name.back() == '.' ? name.substr(0, entry.name.size()) == entry.name
                                  : name == entry.name;
}

std::string WithText(const std::string& problem, const std::string& text) {
  return text.empty() ? problem : problem + " (" + text + ")";
}

}  // namespace

Error::Error(ErrorCode code, const std::string& problem, const std::string& advice)
    : std::runtime_error(problem + "; " + advice), m_Code(code), m_Problem(problem) {}

Error ErrorFromReply(const std::string& name, const std::string& text) {
  for (const NamedError& entry : kNamedErrors) {
    if (Matches(entry, name)) {
      return Error(entry.code, WithText(entry.problem, entry.textHelps ? text : ""), entry.advice);
    }
  }
  return Error(ErrorCode::kFailed, "the request failed with " + WithText(name, text),
               "the logs of the service and the bus may say more");
}

Error ErrorFromResult(int result) {
  switch (-result) {
    case ETIMEDOUT:
      return Error(ErrorCode::kTimedOut, "the bus did not answer in time", "allow more time");
    case EACCES:
    case EPERM:
      return Error(ErrorCode::kNotAllowed, "the bus does not let this user in",
                   "see the policy of the bus");
    case ECONNRESET:
    case ECONNREFUSED:
    case ENOTCONN:
    case EPIPE:
    case ESHUTDOWN:
      return Error(ErrorCode::kBus, "the connection to the bus is lost", "reconnect");
    default:
      return Error(ErrorCode::kFailed,
                   std::string("the bus library failed: ") + std::strerror(-result),
                   "free some memory or file descriptors");
  }
}

Error ErrorFromConnecting(const std::string& bus, int result) {
  ErrorCode code = ErrorFromResult(result).Code();
  if (code != ErrorCode::kTimedOut && code != ErrorCode::kNotAllowed) {
    code = ErrorCode::kBus;
  }
  return Error(code, "cannot connect to the bus \"" + bus + "\": " + bus::ConnectingProblem(result),
               "start it, or choose \"session\", \"system\" or a bus address");
}

}  // namespace settings
