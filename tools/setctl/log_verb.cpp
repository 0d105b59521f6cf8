#include <fmt/format.h>
#include <poll.h>

#include <chrono>
#include <memory>
#include <system_error>

#include "setctl/log_file.h"
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
}

ExitCode PrintLog(const Options& options, const std::filesystem::path& file,
                  const LogArguments& arguments, const std::string& whereElse) {
  const auto print = [&](const std::string& line) {
    tools::PrintLine(options.json ? tools::JsonLine({{"line", line}}) : tools::Escape(line));
  };
  try {
    // The lines of answered requests may not be in the file yet.
    const bool written = host::AwaitLogFile(file, kLogPatience);
    const std::string late =
        fmt::format("the daemon did not write them within {} s", kLogPatience.count());
    LogFile log(file, arguments.lines);
    if (arguments.follow) {
      DirectoryWatch changes(file.parent_path());
      if (!written) {
        tools::PrintNote("lines are still to come: " + late);
      }
      Follow(log, changes, print);
    } else {
      log.Read(print);
      log.ReadRest(print);
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
