#include "settingsctl/connection.h"

namespace settingsctl {
namespace {

using settings::ErrorCode;
using tools::ExitCode;
using tools::Failure;

}  // namespace

Failure FailureOf(const settings::Error& error) {
  switch (error.Code()) {
    case ErrorCode::kNotRunning:
      return Failure(
          ExitCode::kNotRunning,
          error.Problem() + "; start it, e.g. with ./run, or choose another bus with --bus");
    case ErrorCode::kBus:
      return Failure(ExitCode::kNotRunning,
                     error.Problem() + "; start the bus, or choose another one with --bus");
    case ErrorCode::kTimedOut:
      return Failure(ExitCode::kTimedOut, error.Problem() + "; wait longer with --timeout SECONDS");
    case ErrorCode::kInvalidMessage:
      return Failure(ExitCode::kUsage, error.what());
    case ErrorCode::kNotAllowed:
      return Failure(ExitCode::kNotAllowed, error.what());
    case ErrorCode::kFailed:
    case ErrorCode::kProtocol:
      break;
  }
  return Failure(ExitCode::kRefused, error.what());
}

std::chrono::microseconds AnswerTime(const Options& options) {
  constexpr double kDefaultTimeout = 5;
  return tools::Duration(options.timeout.value_or(kDefaultTimeout));
}

ExitCode WithClient(const Options& options,
                    const std::function<ExitCode(settings::Client&)>& verb) {
  try {
    settings::Client client(options.bus, AnswerTime(options));
    return verb(client);
  } catch (const settings::Error& error) {
    throw FailureOf(error);
  }
}

}  // namespace settingsctl
