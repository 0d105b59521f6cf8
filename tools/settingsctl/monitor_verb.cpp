#include <fmt/format.h>

#include <memory>

#include "settingsctl/format.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Listening;

ExitCode Monitor(const Options& options, std::optional<int> count) {
  // Here the option limits the listening; connecting has the default limit.
  Options connecting = options;
  connecting.timeout.reset();
  return WithClient(connecting, [&](Client& client) {
    int seen = 0;
    const settings::Subscription subscription =
        client.Subscribe([&](const settings::Signal& signal) {
          const std::string time = tools::TimeText(std::chrono::system_clock::now());
          tools::PrintLine(options.json ? SignalJson(time, signal) : SignalText(time, signal));
          tools::Flush();
          ++seen;
        });
    Listening listening(options.timeout);
    tools::PrintNote("listening…");
    while (!count || seen < *count) {
      switch (listening.Wait(client.Fd(), client.Events(), client.Timeout())) {
        case Listening::Event::kInput:
          client.Process();
          break;
        case Listening::Event::kLimit:
          if (!count) {
            return ExitCode::kDone;
          }
          throw Failure(
              ExitCode::kTimedOut,
              fmt::format("only {} of {} signals arrived in {} s; wait longer with --timeout", seen,
                          *count, *options.timeout));
        case Listening::Event::kEnd:
          return ExitCode::kDone;
      }
    }
    return ExitCode::kDone;
  });
}

}  // namespace

void AddMonitorVerb(tools::Tool& tool, const Options& options) {
  auto count = std::make_shared<std::optional<int>>();
  tools::Syntax monitor =
      tool.AddVerb(tool.App(), "monitor", "Print the service's signals as they arrive",
                   [&options, count] { return Monitor(options, *count); });
  tools::AddCount(monitor, *count, "Exit after N signals");
}

}  // namespace settingsctl
