#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "setctl/verbs.h"

namespace setctl {

// How much of a log to print.
struct LogArguments {
  bool follow = false;
  std::optional<int> lines;
  std::optional<std::string> level;
  std::optional<std::string> pattern;
  std::optional<std::string> since;
};

// The options of a verb that prints a log.
void AddLogOptions(tools::Syntax verb, LogArguments& arguments);

// Prints a log. Throws tools::Failure: when there is no such file, with the advice `whereElse`,
// and, after printing the log, when lines were not written in time.
tools::ExitCode PrintLog(const Options& options, const std::filesystem::path& file,
                         const LogArguments& arguments, const std::string& whereElse);

}  // namespace setctl
