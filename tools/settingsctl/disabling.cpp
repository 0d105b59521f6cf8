#include "settingsctl/disabling.h"

#include <fmt/format.h>

#include "nearest.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

Names ItemsDisabledBy(Client& client, const std::string& app) {
  Names items;
  const Names disabled = client.GetDisabledItemsList().value_or(Names());
  const std::vector<Names> disablers = DisablersOf(client, disabled);
  for (std::size_t i = 0; i < disabled.size(); ++i) {
    if (Contains(disablers[i], app)) {
      items.push_back(disabled[i]);
    }
  }
  return items;
}

}  // namespace

void DisableItems(Client& client, const Names& items, const std::string& app) {
  RequireItems(client, items);
  client.DisableItemsByList(items, app);
  const std::vector<Names> disablers = DisablersOf(client, items);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!Contains(disablers[i], app)) {
      throw Failure(
          ExitCode::kRefused,
          fmt::format("the service did not disable {}; its log says why", Quote(items[i])));
    }
  }
}

Names ReleaseItems(Client& client, const std::string& app) {
  const Names items = ItemsDisabledBy(client, app);
  client.RemoveDisabledItemsByAppname(app);
  const Names left = ItemsDisabledBy(client, app);
  if (!left.empty()) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("the service did not release {}; its log says why", Joined(left)));
  }
  return items;
}

void RequireApplication(const Options& options, Client& client, const std::string& app) {
  // Most programs of a system bus are no applications. A service that does not describe items runs
  // on another platform, whose applications need no bus.
  const bool isListed = options.bus != "system" && client.DescribeItems({""}).has_value();
  if (!isListed) {
    return;
  }
  std::set<std::string> all = AllDisablers(client);
  const Names onBus = client.Applications();
  all.insert(onBus.begin(), onBus.end());
  if (all.count(app) == 0) {
    throw Failure(ExitCode::kNotFound,
                  tools::NoSuch("application", app, {all.begin(), all.end()},
                                "settingsctl disabled shows those that disable items"));
  }
}

}  // namespace settingsctl
