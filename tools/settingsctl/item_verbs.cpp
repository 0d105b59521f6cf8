#include <fmt/format.h>

#include <functional>
#include <memory>

#include "settingsctl/format.h"
#include "settingsctl/items.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

using Verb = ExitCode (*)(const Options& options, const std::string& item, Client& client);

void PrintList(const Options& options, const std::string& item, const char* member,
               const Names& list) {
  if (options.json) {
    tools::PrintLine(tools::JsonLine({{"item", item}, {member, Array(list)}}));
    return;
  }
  for (const std::string& entry : list) {
    tools::PrintLine(tools::Escape(entry));
  }
}

void RequireValue(Client& client, const std::string& item) {
  if (!client.GetItemValue(item)) {
    throw NoValue(client, item, ExitCode::kRefused);
  }
}

ExitCode Range(const Options& options, const std::string& item, Client& client) {
  const std::optional<settings::Range> range = client.GetItemMinMaxStepValue(item);
  if (!range) {
    RequireValue(client, item);
    throw Failure(ExitCode::kRefused, Quote(item) + " has no range; see settingsctl values");
  }
  tools::PrintLine(options.json ? tools::JsonLine({{"item", item},
                                                   {"min", Number(range->min)},
                                                   {"max", Number(range->max)},
                                                   {"step", Number(range->step)}})
                                : RangeText(*range));
  return ExitCode::kDone;
}

ExitCode Values(const Options& options, const std::string& item, Client& client) {
  const std::optional<Names> values = client.GetItemDataList(item);
  if (!values) {
    RequireValue(client, item);
    throw NoList(item);
  }
  PrintList(options, item, "values", *values);
  return ExitCode::kDone;
}

ExitCode Path(const Options& options, const std::string& item, Client& client) {
  const std::optional<std::string> path = client.GetItemPath(item);
  if (!path) {
    throw NoSuchItem(client, item);
  }
  tools::PrintLine(options.json ? tools::JsonLine({{"item", item}, {"path", *path}})
                                : tools::Escape(*path));
  return ExitCode::kDone;
}

ExitCode Children(const Options& options, const std::string& item, Client& client) {
  const std::optional<Names> children = client.GetItemChildList(item);
  if (!children) {
    RequireItem(client, item);
  }
  PrintList(options, item, "children", children.value_or(Names()));
  return ExitCode::kDone;
}

void AddItemVerb(tools::Tool& tool, const Options& options, const std::string& name,
                 const std::string& description, Offered which, Verb verb) {
  auto item = std::make_shared<std::string>();
  tools::Syntax app = tool.AddVerb(tool.App(), name, description, [&options, item, verb] {
    return WithClient(options,
                      [&](Client& client) { return verb(options, ItemOf(client, *item), client); });
  });
  AddItem(app, options, *item, which);
}

}  // namespace

void AddItemVerbs(tools::Tool& tool, const Options& options) {
  AddItemVerb(tool, options, "range", "Print an item's minimum, maximum and step", Offered::kRanges,
              Range);
  AddItemVerb(tool, options, "values", "Print the values that an item can have", Offered::kLists,
              Values);
  AddItemVerb(tool, options, "path", "Print where an item is in the menu", Offered::kAllItems,
              Path);
  AddItemVerb(tool, options, "children", "Print the items directly below an item", Offered::kGroups,
              Children);
}

}  // namespace settingsctl
