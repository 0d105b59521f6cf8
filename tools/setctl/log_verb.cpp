#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <system_error>

#include "setctl/log_file.h"
#include "setctl/log_filter.h"
#include "setctl/log_output.h"
#include "system/environment.h"
#include "system/log_file.h"
#include "text.h"

namespace setctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Listening;

// Waiting longer for a daemon with a stuck disk would be in vain.
constexpr std::chrono::seconds kLogPatience(2);

Failure CannotRead(const std::system_error& error, const std::filesystem::path& file,
                   const std::string& whereElse) {
  if (error.code() == std::errc::no_such_file_or_directory) {
    RequireSet();
    return Failure(ExitCode::kNotFound,
                   fmt::format("no log file {}; {}", tools::Quote(file.native()), whereElse));
  }
  const bool denied = error.code() == std::errc::permission_denied;
  return Failure(denied ? ExitCode::kNotAllowed : ExitCode::kRefused,
                 fmt::format("cannot read the log: {}", error.what()));
}

void Follow(LogFile& log, DirectoryWatch& changes, const LogFile::LineCallback& print) {
  Listening listening(std::nullopt);
  for (;;) {
    // Forget first: a change after that is either read now or seen by the next wait.
    changes.Clear();
    log.Read(print);
    tools::Flush();
    if (listening.Wait(changes.Fd(), POLLIN, std::nullopt) != Listening::Event::kInput) {
      return;
    }
  }
}

}  // namespace

void AddLogOptions(tools::Syntax verb, LogArguments& arguments) {
  verb.AddFlag("--follow", arguments.follow, "Keep printing new lines");
  verb.AddOption("--lines", "N", arguments.lines, "Start with the last N lines").AtLeast(1);
  verb.AddOption("--level", "LEVEL", arguments.level,
                 fmt::format("Only lines of this level or above: {}", tools::Joined(LogLevels())))
      .OneOf(LogLevels());
  verb.AddOption("--grep", "PATTERN", arguments.pattern,
                 "Only lines that match an extended regular expression")
      .Check(PatternProblem);
  verb.AddOption("--since", "TIME", arguments.since,
                 "Only lines since a time, e.g. 10m (ago; s, m, h, d), 22:15 or 2026-11-20T22:15")
      .Check([](const std::string& text) {
        return ParseSince(text, std::chrono::system_clock::now())
                   ? std::string()
                   : tools::Quote(text) +
                         " is no time; use e.g. 10m (ago; s, m, h, d), 22:15 or 2026-11-20T22:15";
      });
}

ExitCode PrintLog(const Options& options, const std::filesystem::path& file,
                  const LogArguments& arguments, const std::string& whereElse) {
  const auto print = [&](const std::string& line) {
    tools::PrintLine(options.json ? LogLineJson(line) : tools::Escape(line));
  };
  LogFilter filter(arguments.level, arguments.pattern, arguments.since);
  const auto printChosen = [&](const std::string& line) {
    if (filter.Passes(line)) {
      print(line);
    }
  };
  try {
    // The lines of answered requests may not be in the file yet.
    const bool written = host::AwaitLogFile(file, kLogPatience);
    const std::string late =
        fmt::format("the daemon did not write them within {} s", kLogPatience.count());
    // Which are the last lines that pass is known at the end only.
    const bool isLast = filter.IsActive() && arguments.lines;
    LogFile log(file, isLast ? std::nullopt : arguments.lines);
    std::deque<std::string> last;
    const auto printOrKeep = [&](const std::string& line) {
      if (!isLast) {
        printChosen(line);
      } else if (filter.Passes(line)) {
        last.push_back(line);
        last.erase(last.begin(), last.end() - std::min<std::size_t>(last.size(), *arguments.lines));
      }
    };
    const auto printKept = [&] { std::for_each(last.begin(), last.end(), print); };
    if (arguments.follow) {
      DirectoryWatch changes(file.parent_path());
      if (!written) {
        tools::PrintNote("lines are still to come: " + late);
      }
      log.Read(printOrKeep);
      printKept();
      Follow(log, changes, printChosen);
    } else {
      log.Read(printOrKeep);
      log.ReadRest(printOrKeep);
      printKept();
      if (!written) {
        tools::Flush();
        throw Failure(ExitCode::kTimedOut, "the last lines are missing: " + late);
      }
    }
  } catch (const std::system_error& error) {
    throw CannotRead(error, file, whereElse);
  }
  return ExitCode::kDone;
}

void AddLogVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<LogArguments>();
  tools::Syntax log =
      tool.AddVerb(tool.App(), "log", "Print the daemon's log", [&options, arguments] {
        EnterSet(options);
        return PrintLog(options, host::GetEnvironment().root / "var/log/settings-service.log",
                        *arguments,
                        "a daemon without --log writes to its standard error, or, under systemd, "
                        "to the journal");
      });
  AddLogOptions(log, *arguments);
}

}  // namespace setctl
