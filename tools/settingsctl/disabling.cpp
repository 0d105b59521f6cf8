#include "settingsctl/disabling.h"

#include <fmt/format.h>

#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

Names ItemsDisabledBy(Client& client, const std::string& app) {
  Names items;
  for (const std::string& item : client.GetDisabledItemsList().value_or(Names())) {
    if (Contains(DisablersOf(client, item), app)) {
      items.push_back(item);
    }
  }
  return items;
}

}  // namespace

void DisableItems(Client& client, const Names& items, const std::string& app) {
  for (const std::string& item : items) {
    RequireItem(client, item);
  }
  client.DisableItemsByList(items, app);
  for (const std::string& item : items) {
    if (!Contains(DisablersOf(client, item), app)) {
      throw Failure(ExitCode::kRefused,
                    fmt::format("the service did not disable {}; its log says why", Quote(item)));
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

}  // namespace settingsctl
