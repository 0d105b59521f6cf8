#include "settingsctl/connection.h"

#include <algorithm>

namespace settingsctl {
namespace {

using std::chrono::steady_clock;

using settings::ErrorCode;
using tools::ExitCode;
using tools::Failure;

constexpr double kDefaultTimeout = 5;

// The reply says only that something could not be done. When it was the key store's failure, then
// what the verb made of it, such as an item that does not exist, is wrong.
ExitCode Run(settings::Client& client, const std::function<ExitCode(settings::Client&)>& verb) {
  const steady_clock::time_point begin = steady_clock::now();
  try {
    return verb(client);
  } catch (const Failure& failure) {
    if (failure.Code() == ExitCode::kRefused || failure.Code() == ExitCode::kNotFound) {
      if (const auto why = client.StoreFailureSince(begin)) {
        throw Failure(ExitCode::kRefused, *why);
      }
    }
    throw;
  }
}

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
  return tools::Duration(options.timeout.value_or(kDefaultTimeout));
}

WholeTime::WholeTime(const Options& options) : m_Options(options) {}

Options WholeTime::ForAnswers() const {
  Options options = m_Options;
  options.timeout = std::min(options.timeout.value_or(kDefaultTimeout), kDefaultTimeout);
  return options;
}

std::optional<double> WholeTime::Left() const {
  if (!m_Options.timeout) {
    return std::nullopt;
  }
  const std::chrono::duration<double> passed = steady_clock::now() - m_Begin;
  return std::max(*m_Options.timeout - passed.count(), 0.0);
}

ExitCode WithClient(const Options& options,
                    const std::function<ExitCode(settings::Client&)>& verb) {
  try {
    settings::Client client(options.bus, AnswerTime(options));
    return Run(client, verb);
  } catch (const settings::Error& error) {
    throw FailureOf(error);
  }
}

}  // namespace settingsctl
