#include <fmt/format.h>

#include <chrono>
#include <memory>

#include "settingsctl/command.h"
#include "settingsctl/disabling.h"
#include "settingsctl/verbs.h"
#include "text.h"

// While the command runs, this process is the application: it owns the application's ID as bus
// name. So the service itself releases the items if this process ends before it could.

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
  try {
    if (!client.RequestName(app)) {
      throw Failure(
          ExitCode::kRefused,
          fmt::format("{} is already running; choose another --app, or stop it", Quote(app)));
    }
  } catch (const settings::Error& error) {
    if (error.Code() != settings::ErrorCode::kNotAllowed) {
      throw;
    }
    throw Failure(ExitCode::kNotAllowed,
                  fmt::format("the bus does not let this user be {}; a policy of the bus with "
                              "<allow own=\"{}\"/> would",
                              Quote(app), app));
  }
}

// The service may not be running just now. The record of disabled items outlives it, so the items
// are still disabled when it comes back.
void ReleaseWhenThere(const Options& options, Client& client, const std::string& app) {
  // Longer than a service manager takes to start it again.
  constexpr double kAbsence = 10;
  const auto end =
      std::chrono::steady_clock::now() + tools::Duration(options.timeout.value_or(kAbsence));
  for (;;) {
    try {
      ReleaseItems(client, app);
      return;
    } catch (const settings::Error& error) {
      const auto left =
          std::chrono::ceil<std::chrono::microseconds>(end - std::chrono::steady_clock::now());
      if (error.Code() != settings::ErrorCode::kNotRunning || left.count() <= 0 ||
          !client.WaitForService(left)) {
        throw;
      }
    }
  }
}

Failure NotReleased(const std::string& app, int status, ExitCode code, const std::string& problem) {
  return Failure(code, fmt::format("the command ended with {}, but {} may still disable items: {}; "
                                   "run settingsctl release --app {}",
                                   status, Quote(app), problem, app));
}

ExitCode Hold(const Options& options, const Arguments& arguments, Client& client) {
  BecomeApplication(client, arguments.app);
  DisableItems(client, arguments.items, arguments.app);
  const int status = RunCommand(arguments.command);
  try {
    ReleaseWhenThere(options, client, arguments.app);
  } catch (const settings::Error& error) {
    throw NotReleased(arguments.app, status, FailureOf(error).Code(), error.Problem());
  } catch (const Failure& failure) {
    throw NotReleased(arguments.app, status, failure.Code(), failure.what());
  }
  return static_cast<ExitCode>(status);
}

}  // namespace

void AddHoldVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<Arguments>();
  tools::Syntax hold =
      tool.AddVerb(tool.App(), "hold", "Keep items disabled while a command runs: … -- COMMAND",
                   [&options, arguments] {
                     if (arguments->command.empty()) {
                       throw Failure(ExitCode::kUsage, "no command given; put it after --");
                     }
                     return WithClient(options, [&](Client& client) {
                       arguments->items = ItemsOf(client, arguments->items);
                       return Hold(options, *arguments, client);
                     });
                   });
  AddItems(hold, options, arguments->items);
  AddApp(hold, options, arguments->app);
  tool.TakeCommand(hold, arguments->command);
}

}  // namespace settingsctl
