#include <fmt/format.h>

#include <functional>
#include <memory>

#include "settings/batch.h"
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

std::string RangeText(const settings::Range& range) {
  return fmt::format("{} to {}, step {}", range.min, range.max, range.step);
}

Json::Value RangeJson(const settings::Range& range) {
  Json::Value json;
  json["min"] = Number(range.min);
  json["max"] = Number(range.max);
  json["step"] = Number(range.step);
  return json;
}

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

ExitCode Range(const Options& options, const std::string& item, Client& client) {
  const std::optional<settings::Range> range = client.GetItemMinMaxStepValue(item);
  if (!range) {
    RequireItem(client, item);
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
    RequireItem(client, item);
    throw Failure(ExitCode::kRefused,
                  Quote(item) + " has no list of values; see settingsctl range");
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

struct Description {
  std::string displayId;
  std::optional<std::string> name;
  std::optional<std::string> path;
  std::optional<std::string> value;
  std::optional<std::string> valueName;
  std::optional<settings::Range> range;
  std::optional<Names> values;
  std::optional<Names> children;
  bool visible = false;
  bool pathVisible = false;
  bool enabled = false;
  bool pathEnabled = false;
  Names apps;
};

Description Ask(Client& client, const std::string& item) {
  settings::Batch batch(client);
  const auto displayId = batch.Add(settings::ask::GetItemDisplayID(item));
  const auto name = batch.Add(settings::ask::GetItemDisplayName(item));
  const auto path = batch.Add(settings::ask::GetItemPath(item));
  const auto value = batch.Add(settings::ask::GetItemValue(item));
  const auto valueName = batch.Add(settings::ask::GetItemValueName(item));
  const auto values = batch.Add(settings::ask::GetItemDataList(item));
  const auto range = batch.Add(settings::ask::GetItemMinMaxStepValue(item));
  const auto children = batch.Add(settings::ask::GetItemChildList(item));
  const auto visible = batch.Add(settings::ask::GetItemVisible(item));
  const auto pathVisible = batch.Add(settings::ask::GetItemPathVisible(item));
  const auto enabled = batch.Add(settings::ask::GetItemEnable(item));
  const auto pathEnabled = batch.Add(settings::ask::GetItemPathEnable(item));
  const auto apps = batch.Add(settings::ask::GetDisablerAppNamesByMenuId(item));
  batch.Ask();
  if (!displayId.Get() || !apps.Get()) {
    throw NoSuchItem(client, item);
  }
  Description is;
  is.displayId = *displayId.Get();
  is.name = name.Get();
  is.path = path.Get();
  is.value = value.Get();
  if (is.value) {
    is.valueName = valueName.Get();
    is.values = values.Get();
    is.range = is.values ? std::nullopt : range.Get();
  } else {
    is.children = children.Get();
  }
  is.visible = visible.Get().value_or(false);
  is.pathVisible = pathVisible.Get().value_or(false);
  is.enabled = enabled.Get().value_or(false);
  is.pathEnabled = pathEnabled.Get().value_or(false);
  is.apps = *apps.Get();
  return is;
}

std::string StateText(bool item, bool path) {
  if (!item) {
    return "no";
  }
  return path ? "yes" : "yes, but not the groups above it";
}

void PrintText(const Description& is) {
  const auto print = [](const char* label, const std::string& text) {
    tools::PrintLine(fmt::format("{:<13}{}", label, text));
  };
  print("name", tools::Escape(is.name.value_or("")));
  print("display ID", tools::Escape(is.displayId));
  print("path", tools::Escape(is.path.value_or("")));
  if (is.value) {
    print("value", ValueText(*is.value, is.valueName.value_or("")));
  }
  if (is.range) {
    print("range", RangeText(*is.range));
  }
  if (is.values) {
    print("values", Joined(*is.values));
  }
  if (is.children) {
    print("children", Joined(*is.children));
  }
  print("visible", StateText(is.visible, is.pathVisible));
  print("enabled", StateText(is.enabled, is.pathEnabled));
  if (!is.apps.empty()) {
    print("disabled by", Joined(is.apps));
  }
}

Json::Value OrNull(const std::optional<std::string>& text) {
  return text ? Json::Value(*text) : Json::Value();
}

std::string DescriptionJson(const std::string& item, const Description& is) {
  return tools::JsonLine({{"item", item},
                          {"name", OrNull(is.name)},
                          {"displayId", is.displayId},
                          {"path", OrNull(is.path)},
                          {"value", OrNull(is.value)},
                          {"valueName", OrNull(is.valueName)},
                          {"range", is.range ? RangeJson(*is.range) : Json::Value()},
                          {"values", Array(is.values.value_or(Names()))},
                          {"children", Array(is.children.value_or(Names()))},
                          {"visible", is.visible},
                          {"pathVisible", is.pathVisible},
                          {"enabled", is.enabled},
                          {"pathEnabled", is.pathEnabled},
                          {"disabledBy", Array(is.apps)}});
}

ExitCode Describe(const Options& options, const std::string& item, Client& client) {
  const Description description = Ask(client, item);
  if (options.json) {
    tools::PrintLine(DescriptionJson(item, description));
  } else {
    PrintText(description);
  }
  return ExitCode::kDone;
}

void AddItemVerb(tools::Tool& tool, const Options& options, const std::string& name,
                 const std::string& description, Verb verb) {
  auto item = std::make_shared<std::string>();
  tools::Syntax app = tool.AddVerb(tool.App(), name, description, [&options, item, verb] {
    return WithClient(options, [&](Client& client) { return verb(options, *item, client); });
  });
  AddItem(app, options, *item);
}

}  // namespace

void AddItemVerbs(tools::Tool& tool, const Options& options) {
  AddItemVerb(tool, options, "describe", "Print everything about an item", Describe);
  AddItemVerb(tool, options, "range", "Print an item's minimum, maximum and step", Range);
  AddItemVerb(tool, options, "values", "Print the values that an item can have", Values);
  AddItemVerb(tool, options, "path", "Print where an item is in the menu", Path);
  AddItemVerb(tool, options, "children", "Print the items directly below an item", Children);
}

}  // namespace settingsctl
