#include <fmt/format.h>

#include <memory>

#include "settingsctl/disabling.h"
#include "settingsctl/items.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct Arguments {
  Names items;
  std::string item;
  std::string app;
};

using Verb = ExitCode (*)(const Options& options, const Arguments& arguments, Client& client);

std::string RecordJson(const std::string& item, const Names& apps) {
  return tools::JsonLine({{"item", item}, {"apps", Array(apps)}});
}

ExitCode Disable(const Options& options, const Arguments& arguments, Client& client) {
  DisableItems(client, arguments.items, arguments.app);
  if (options.json) {
    const std::vector<Names> disablers = DisablersOf(client, arguments.items);
    for (std::size_t i = 0; i < disablers.size(); ++i) {
      tools::PrintLine(RecordJson(arguments.items[i], disablers[i]));
    }
  }
  return ExitCode::kDone;
}

ExitCode Enable(const Options& options, const Arguments& arguments, Client& client) {
  const Names before = DisablersOf(client, arguments.item);
  if (!Contains(before, arguments.app)) {
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} does not disable {}; {}", Quote(arguments.app), Quote(arguments.item),
                    before.empty() ? "nobody does" : "disabled by " + Joined(before)));
  }
  client.EnableItem(arguments.item, arguments.app);
  const Names apps = DisablersOf(client, arguments.item);
  if (Contains(apps, arguments.app)) {
    throw Failure(ExitCode::kRefused, fmt::format("the service did not enable {}; its log says why",
                                                  Quote(arguments.item)));
  }
  if (options.json) {
    tools::PrintLine(RecordJson(arguments.item, apps));
  }
  return ExitCode::kDone;
}

ExitCode Release(const Options& options, const Arguments& arguments, Client& client) {
  const Names released = ReleaseItems(client, arguments.app);
  if (released.empty()) {
    RequireApplication(options, client, arguments.app);
  }
  if (options.json) {
    tools::PrintLine(tools::JsonLine({{"app", arguments.app}, {"items", Array(released)}}));
    return ExitCode::kDone;
  }
  for (const std::string& item : released) {
    tools::PrintLine(tools::Escape(item));
  }
  return ExitCode::kDone;
}

ExitCode Disabled(const Options& options, const Arguments&, Client& client) {
  const Names items = client.GetDisabledItemsList().value_or(Names());
  const std::vector<Names> disablers = DisablersOf(client, items);
  for (std::size_t i = 0; i < items.size(); ++i) {
    tools::PrintLine(options.json
                         ? RecordJson(items[i], disablers[i])
                         : fmt::format("{}: {}", tools::Escape(items[i]), Joined(disablers[i])));
  }
  return ExitCode::kDone;
}

ExitCode Who(const Options& options, const Arguments& arguments, Client& client) {
  const Names apps = DisablersOf(client, arguments.item);
  if (options.json) {
    tools::PrintLine(RecordJson(arguments.item, apps));
    return ExitCode::kDone;
  }
  for (const std::string& app : apps) {
    tools::PrintLine(tools::Escape(app));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddDisablingVerbs(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const std::string& name, const std::string& description, Verb verb) {
    return tool.AddVerb(tool.App(), name, description, [&options, arguments, verb] {
      return WithClient(options, [&](Client& client) {
        arguments->item = ItemOf(client, arguments->item);
        arguments->items = ItemsOf(client, arguments->items);
        return verb(options, *arguments, client);
      });
    });
  };
  tools::Syntax disable = add("disable", "Disable items for an application", Disable);
  AddItems(disable, options, arguments->items);
  AddApp(disable, options, arguments->app);
  tools::Syntax enable = add("enable", "Release an item that an application disables", Enable);
  AddItem(enable, options, arguments->item);
  AddApp(enable, options, arguments->app);
  tools::Syntax release =
      add("release", "Release everything that an application disables", Release);
  AddApp(release, options, arguments->app);
  add("disabled", "Print the disabled items and the applications that disable them", Disabled);
  tools::Syntax who = add("who", "Print the applications that disable an item", Who);
  AddItem(who, options, arguments->item);
}

}  // namespace settingsctl
