#include "settingsctl/items.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "base/item_name.h"
#include "nearest.h"
#include "settings/batch.h"
#include "settingsctl/format.h"

namespace settingsctl {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

namespace {

// What each of the items has. Throws NoSuchItem for one without.
template <typename T>
std::vector<T> AskOfEach(Client& client, const Names& items,
                         settings::Question<std::optional<T>> (*question)(const std::string&)) {
  settings::Batch batch(client);
  std::vector<settings::Answer<std::optional<T>>> answers;
  for (const std::string& item : items) {
    answers.push_back(batch.Add(question(item)));
  }
  batch.Ask();
  std::vector<T> results;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!answers[i].Get()) {
      throw NoSuchItem(client, items[i]);
    }
    results.push_back(*answers[i].Get());
  }
  return results;
}

// For a path those with paths near its own, or else with IDs near its last part.
Names NearestItems(Client& client, const std::string& name) {
  const Names items = AllItems(client);
  const auto [last, path] = base::ReadItemName(name);
  if (!path) {
    return tools::Nearest(name, items);
  }
  const Names paths = AskOfEach(client, items, settings::ask::GetItemPath);
  const Names nearest = tools::Nearest(*path, paths);
  if (!nearest.empty()) {
    return nearest;
  }
  Names pathsOfNearest;
  for (const std::string& item :
       Contains(items, last) ? Names{last} : tools::Nearest(last, items)) {
    pathsOfNearest.push_back(paths[std::find(items.begin(), items.end(), item) - items.begin()]);
  }
  return pathsOfNearest;
}

}  // namespace

bool IsPath(const std::string& name) { return base::ReadItemName(name).path.has_value(); }

Failure NoSuchItem(Client& client, const std::string& item) {
  return Failure(ExitCode::kNotFound, tools::NoSuchBut("item", item, NearestItems(client, item),
                                                       "settingsctl tree shows all"));
}

std::optional<std::string> ItemAt(Client& client, const std::string& path) {
  const base::ItemName name = base::ReadItemName(path);
  const std::optional<std::string> found = client.GetItemPath(name.item);
  return found && found == name.path ? std::optional(name.item) : std::nullopt;
}

std::string ItemOf(Client& client, const std::string& name) {
  if (!IsPath(name)) {
    return name;
  }
  const std::optional<std::string> item = ItemAt(client, name);
  if (!item) {
    throw NoSuchItem(client, name);
  }
  return *item;
}

Names ItemsOf(Client& client, const Names& names) {
  Names items;
  for (const std::string& name : names) {
    items.push_back(ItemOf(client, name));
  }
  return items;
}

Failure NoValue(Client& client, const std::string& item, ExitCode code) {
  RequireItem(client, item);
  const bool isGroup = client.GetItemChildList(item).has_value();
  return Failure(code, fmt::format("{} is {}, it has no value", Quote(item),
                                   isGroup ? "a group" : "an action"));
}

Failure NoList(const std::string& item) {
  return Failure(ExitCode::kRefused, Quote(item) + " has no list of values; see settingsctl range");
}

Failure NotAccepted(Client& client, const std::string& item, const std::string& value) {
  // More would hide that it is a list.
  constexpr std::size_t kMostListed = 20;
  const auto refused = [&](const std::string& why) { return Failure(ExitCode::kRefused, why); };
  const Names values = client.GetItemDataList(item).value_or(Names());
  if (Contains(values, value)) {
    return refused(fmt::format("{} does not accept the value {}; the service's log says why",
                               Quote(item), Quote(value)));
  }
  if (values.size() > kMostListed) {
    return refused(fmt::format(
        "{} has {}", Quote(item),
        tools::NoSuch("value", value, values,
                      fmt::format("settingsctl values {} shows all", tools::Escape(item)))));
  }
  if (!values.empty()) {
    return refused(fmt::format("{} takes {}", Quote(item), Joined(values)));
  }
  const std::optional<settings::Range> range = client.GetItemMinMaxStepValue(item);
  return refused(range ? fmt::format("{} takes {}", Quote(item), RangeText(*range))
                       : fmt::format("{} does not accept the value {}", Quote(item), Quote(value)));
}

void RequireItem(Client& client, const std::string& item) { RequireItems(client, {item}); }

void RequireItems(Client& client, const Names& items) {
  AskOfEach(client, items, settings::ask::GetItemDisplayID);
}

Names DisablersOf(Client& client, const std::string& item) {
  return DisablersOf(client, Names{item}).front();
}

std::vector<Names> DisablersOf(Client& client, const Names& items) {
  return AskOfEach(client, items, settings::ask::GetDisablerAppNamesByMenuId);
}

bool Contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

Json::Value Array(const Names& names) {
  Json::Value array(Json::arrayValue);
  for (const std::string& name : names) {
    array.append(name);
  }
  return array;
}

Json::Value Number(double number) {
  constexpr double kExact = 1e15;
  const bool whole = number == std::trunc(number) && std::abs(number) < kExact;
  return whole ? Json::Value(static_cast<Json::Int64>(number)) : Json::Value(number);
}

void AddItem(tools::Syntax verb, const Options& options, std::string& item, Offered which) {
  verb.AddArgument("ITEM", item, "The item's ID or path, e.g. picturemode")
      .Required()
      .CompletedBy(ItemOffer(options, which));
}

void AddItems(tools::Syntax verb, const Options& options, Names& items, Offered which) {
  verb.AddArgument("ITEM", items, "The items' IDs or paths, e.g. brightness contrast")
      .Required()
      .CompletedBy(ItemOffer(options, which));
}

void AddApp(tools::Syntax verb, const Options& options, std::string& app) {
  verb.AddOption("--app", "APP", app, "The application's ID, e.g. org.example.game")
      .Required()
      .CompletedBy(AppOffer(options))
      .Check([](const std::string& text) {
        return settings::Client::IsApplicationId(text)
                   ? std::string()
                   : tools::Quote(text) +
                         " is not an application ID; use one such as org.example.game";
      });
}

}  // namespace settingsctl
