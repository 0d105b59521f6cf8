#include <fmt/format.h>
#include <poll.h>

#include <memory>
#include <system_error>

#include "setctl/log_file.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Listening;

struct LogArguments {
  bool follow = false;
  std::optional<int> lines;
};

std::filesystem::path LogPath() {
  return host::GetEnvironment().root / "var/log/settings-service.log";
}

Failure CannotRead(const std::system_error& error) {
  if (error.code() == std::errc::no_such_file_or_directory) {
    return Failure(ExitCode::kNotFound,
                   fmt::format("no log file {}; a daemon without --log writes to its standard "
                               "error, or to the journal when systemd runs it",
                               tools::Quote(LogPath().native())));
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

ExitCode Log(const Options& options, const LogArguments& arguments) {
  EnterSet(options);
  const auto print = [&](const std::string& line) {
    tools::PrintLine(options.json ? tools::JsonLine({{"line", line}}) : tools::Escape(line));
  };
  try {
    LogFile log(LogPath(), arguments.lines);
    if (arguments.follow) {
      DirectoryWatch changes(LogPath().parent_path());
      Follow(log, changes, print);
    } else {
      log.Read(print);
      log.ReadRest(print);
    }
  } catch (const std::system_error& error) {
    throw CannotRead(error);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddLogVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<LogArguments>();
  CLI::App* log = tool.AddVerb(tool.App(), "log", "Print the daemon's log",
                               [&options, arguments] { return Log(options, *arguments); });
  log->add_flag("--follow", arguments->follow, "Go on with what is written from now on");
  log->add_option("--lines", arguments->lines, "Begin with the last N lines only")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
}

}  // namespace setctl
