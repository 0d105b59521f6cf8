#include <fmt/format.h>

#include <memory>

#include "settingsctl/command.h"
#include "settingsctl/disabling.h"
#include "settingsctl/verbs.h"
#include "text.h"

// While the command runs this process is the application: it owns the application's ID as bus
// name. So the service itself releases the items when this process ends before it could do so.

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct Arguments {
  Names items;
  std::string app;
  std::vector<std::string> command;
};

void BecomeApplication(Client& client, const std::string& app) {
  bool done = false;
  try {
    done = client.RequestName(app);
  } catch (const std::invalid_argument& problem) {
    throw Failure(ExitCode::kUsage, std::string("--app: ") + problem.what());
  }
  if (!done) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("{} runs already; give another --app, or end it", Quote(app)));
  }
}

ExitCode Hold(const Arguments& arguments, Client& client) {
  BecomeApplication(client, arguments.app);
  DisableItems(client, arguments.items, arguments.app);
  const int status = RunCommand(arguments.command);
  try {
    ReleaseItems(client, arguments.app);
  } catch (const std::exception& problem) {
    // What the command has to say matters more; the end of this process releases the items, too.
    tools::PrintError("settingsctl", problem.what());
  }
  return static_cast<ExitCode>(status);
}

}  // namespace

void AddHoldVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<Arguments>();
  tools::Syntax hold = tool.AddVerb(
      tool.App(), "hold", "Keep items disabled as long as a command runs: … -- COMMAND",
      [&options, arguments] {
        if (arguments->command.empty()) {
          throw Failure(ExitCode::kUsage, "a command is missing; put it behind --");
        }
        return WithClient(options, [&](Client& client) { return Hold(*arguments, client); });
      });
  AddItems(hold, arguments->items);
  AddApp(hold, arguments->app);
  tool.TakeCommand(hold, arguments->command);
}

}  // namespace settingsctl
