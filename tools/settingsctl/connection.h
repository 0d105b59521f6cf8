#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "common.h"
#include "settings/client.h"

namespace settingsctl {

// The options on the command line.
struct Options {
  std::string bus = "session";
  std::optional<double> timeout;
  bool json = false;
};

// How long connecting and each answer may take.
std::chrono::microseconds AnswerTime(const Options& options);

// For a verb that waits for something: here --timeout is the whole time, from the construction on,
// and for ever without it.
class WholeTime {
 public:
  explicit WholeTime(const Options& options);

  // The options under which connecting and each answer take no longer than they may.
  Options ForAnswers() const;

  // Seconds, at least 0.
  std::optional<double> Left() const;

 private:
  const Options m_Options;
  const std::chrono::steady_clock::time_point m_Begin = std::chrono::steady_clock::now();
};

// Turns an error of the client into a failure of the tool.
tools::Failure FailureOf(const settings::Error& error);

// Runs `verb` with a connection to the bus of the options. Errors of the client become failures
// of the tool.
tools::ExitCode WithClient(const Options& options,
                           const std::function<tools::ExitCode(settings::Client&)>& verb);

}  // namespace settingsctl
