#include <fmt/format.h>

#include <memory>
#include <utility>

#include "settingsctl/facts.h"
#include "settingsctl/format.h"
#include "settingsctl/questions.h"
#include "settingsctl/verbs.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::Escape;
using tools::ExitCode;

using Text = std::optional<std::string>;

struct Description {
  std::string item;
  Facts facts;
  Text displayId;
  Text name;
  Text path;
  Text valueName;
  std::optional<Names> children;
  std::optional<bool> visible;
  std::optional<bool> pathVisible;
  std::optional<bool> enabled;
  std::optional<bool> pathEnabled;
  std::optional<Names> apps;
};

std::vector<Description> Ask(Client& client, const Names& items) {
  std::vector<Description> all(items.size());
  Questions questions(client);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const std::string& item = items[i];
    Description& is = all[i];
    is.item = item;
    questions.Add(settings::ask::GetItemDisplayID(item), is.displayId);
    questions.Add(settings::ask::GetItemDisplayName(item), is.name);
    questions.Add(settings::ask::GetItemPath(item), is.path);
    questions.Add(settings::ask::GetItemValueName(item), is.valueName);
    questions.Add(settings::ask::GetItemChildList(item), is.children);
    questions.Add(settings::ask::GetItemVisible(item), is.visible);
    questions.Add(settings::ask::GetItemPathVisible(item), is.pathVisible);
    questions.Add(settings::ask::GetItemEnable(item), is.enabled);
    questions.Add(settings::ask::GetItemPathEnable(item), is.pathEnabled);
    questions.Add(settings::ask::GetDisablerAppNamesByMenuId(item), is.apps);
  }
  std::vector<std::optional<Facts>> facts = FactsOf(client, items, questions);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!facts[i] || !all[i].displayId || !all[i].apps) {
      throw NoSuchItem(client, items[i]);
    }
    all[i].facts = *std::move(facts[i]);
  }
  return all;
}

std::string StateText(const std::optional<bool>& item, const std::optional<bool>& path) {
  if (!item.value_or(false)) {
    return "no";
  }
  return path.value_or(false) ? "yes" : "yes, but not the groups above it";
}

std::string ValuesText(const Facts& facts) {
  std::string text;
  for (std::size_t i = 0; i < facts.values.size(); ++i) {
    const std::string name = i < facts.valueNames.size() ? facts.valueNames[i] : "";
    text += (text.empty() ? "" : ", ") + ValueText(facts.values[i], name);
  }
  return text;
}

void PrintText(const Description& is) {
  const auto print = [](const char* label, const std::string& text) {
    tools::PrintLine(fmt::format("{:<13}{}", label, text));
  };
  const Facts& facts = is.facts;
  print("name", Escape(is.name.value_or("")));
  print("kind", ToText(facts.kind));
  print("display ID", Escape(*is.displayId));
  print("path", Escape(is.path.value_or("")));
  if (facts.value) {
    const bool isPreview = facts.isPreview.value_or(false);
    print("value",
          ValueText(*facts.value, is.valueName.value_or("")) + (isPreview ? ", a preview" : ""));
    if (isPreview && facts.kept) {
      print("kept", ValueText(facts.kept->value, facts.kept->name));
    }
  }
  if (facts.range) {
    print("range", RangeText(*facts.range));
  }
  if (!facts.values.empty()) {
    print("values", ValuesText(facts));
  }
  if (is.children) {
    print("children", Joined(*is.children));
  }
  print("visible", StateText(is.visible, is.pathVisible));
  print("enabled", StateText(is.enabled, is.pathEnabled));
  if (!is.apps->empty()) {
    print("disabled by", Joined(*is.apps));
  }
}

Json::Value RangeJson(const settings::Range& range) {
  Json::Value json;
  json["min"] = Number(range.min);
  json["max"] = Number(range.max);
  json["step"] = Number(range.step);
  return json;
}

template <typename T>
Json::Value OrNull(const std::optional<T>& value) {
  return value ? Json::Value(*value) : Json::Value();
}

std::string DescriptionJson(const Description& is) {
  const Facts& facts = is.facts;
  return tools::JsonLine({{"item", is.item},
                          {"name", OrNull(is.name)},
                          {"kind", ToText(facts.kind)},
                          {"displayId", *is.displayId},
                          {"path", OrNull(is.path)},
                          {"value", OrNull(facts.value)},
                          {"valueName", facts.value ? OrNull(is.valueName) : Json::Value()},
                          {"preview", OrNull(facts.isPreview)},
                          {"kept", facts.kept ? Json::Value(facts.kept->value) : Json::Value()},
                          {"range", facts.range ? RangeJson(*facts.range) : Json::Value()},
                          {"values", Array(facts.values)},
                          {"valueNames", Array(facts.valueNames)},
                          {"children", Array(is.children.value_or(Names()))},
                          {"visible", is.visible.value_or(false)},
                          {"pathVisible", is.pathVisible.value_or(false)},
                          {"enabled", is.enabled.value_or(false)},
                          {"pathEnabled", is.pathEnabled.value_or(false)},
                          {"disabledBy", Array(*is.apps)}});
}

ExitCode Describe(const Options& options, const Names& items, Client& client) {
  bool isFirst = true;
  for (const Description& description : Ask(client, items)) {
    if (options.json) {
      tools::PrintLine(DescriptionJson(description));
      continue;
    }
    if (!std::exchange(isFirst, false)) {
      tools::PrintLine("");
    }
    PrintText(description);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddDescribeVerb(tools::Tool& tool, const Options& options) {
  auto items = std::make_shared<Names>();
  tools::Syntax describe =
      tool.AddVerb(tool.App(), "describe", "Print everything about items", [&options, items] {
        return WithClient(options, [&](Client& client) {
          return Describe(options, ItemsOf(client, *items), client);
        });
      });
  AddItems(describe, options, *items);
}

}  // namespace settingsctl
