#include <fmt/format.h>

#include <memory>

#include "settings/item_cache.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/facts.h"
#include "settingsctl/verbs.h"

namespace settingsctl {
namespace {

using settings::Client;
using settings::ItemState;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct WaitArguments {
  std::string item;
  std::optional<std::string> value;
  bool enabled = false;
  bool disabled = false;
  bool visible = false;
  bool hidden = false;
};

// What is waited for.
struct Condition {
  std::string text;  // "become TEXT"
  std::function<bool(const ItemState&)> isMet;
  Json::Value (*members)(const ItemState&);  // what it is about
};

Json::Value ValueMembers(const ItemState& is) {
  Json::Value members;
  members["value"] = is.value.value_or("");
  members["valueName"] = is.valueName;
  return members;
}

Json::Value VisibleMember(const ItemState& is) {
  Json::Value member;
  member["visible"] = is.visible;
  return member;
}

Json::Value EnabledMember(const ItemState& is) {
  Json::Value member;
  member["enabled"] = is.enabled;
  return member;
}

Condition ValueCondition(Client& client, const std::string& item, const std::string& value) {
  const Facts facts = FactsOf(client, item);
  if (!HasValue(facts) || !Takes(facts, value)) {
    throw Failure(ExitCode::kRefused, fmt::format("{} never becomes {}: it {}", Quote(item),
                                                  Quote(value), WhatItTakes(facts)));
  }
  return {
      Quote(value),
      [facts, value](const ItemState& is) { return is.value && IsSame(facts, *is.value, value); },
      ValueMembers};
}

Condition ConditionOf(Client& client, const WaitArguments& arguments) {
  if (arguments.value) {
    return ValueCondition(client, arguments.item, *arguments.value);
  }
  RequireItem(client, arguments.item);
  if (arguments.visible || arguments.hidden) {
    const bool wanted = arguments.visible;
    return {wanted ? "visible" : "hidden",
            [wanted](const ItemState& is) { return is.visible == wanted; }, VisibleMember};
  }
  const bool wanted = arguments.enabled;
  return {wanted ? "enabled" : "disabled",
          [wanted](const ItemState& is) { return is.enabled == wanted; }, EnabledMember};
}

void PrintMet(const std::string& item, const Json::Value& members, const Json::Value& before) {
  Json::Value line = members;
  line["time"] = tools::TimeText(std::chrono::system_clock::now());
  line["menuID"] = item;
  if (before != members) {
    line["from"] = before;
  }
  tools::PrintLine(tools::JsonText(line));
}

ExitCode Wait(const Options& options, WaitArguments arguments) {
  if (!arguments.value && !arguments.enabled && !arguments.disabled && !arguments.visible &&
      !arguments.hidden) {
    throw Failure(ExitCode::kUsage,
                  "nothing to wait for; give a value, or one of --enabled, --disabled, --visible "
                  "and --hidden");
  }
  const WholeTime time(options);
  return WithClient(time.ForAnswers(), [&](Client& client) {
    arguments.item = ItemOf(client, arguments.item);
    const Condition condition = ConditionOf(client, arguments);
    std::optional<Json::Value> before;
    settings::ItemCache cache(client, {arguments.item}, [&](auto, const auto& changes) {
      const ItemState* const is = cache.Find(arguments.item);
      if (!changes.empty()) {
        before = condition.members(changes.front().from);
      } else if (!before && is != nullptr) {
        before = condition.members(*is);
      }
    });
    const auto isMet = [&] {
      const ItemState* const is = cache.Find(arguments.item);
      return cache.IsCurrent() && is != nullptr && condition.isMet(*is);
    };
    const std::optional<double> left = time.Left();
    if (!client.RunUntil(isMet, left ? std::optional(tools::Duration(*left)) : std::nullopt)) {
      throw Failure(ExitCode::kTimedOut,
                    fmt::format("{} did not become {} in {} s; wait longer with --timeout",
                                Quote(arguments.item), condition.text, *options.timeout));
    }
    if (options.json) {
      PrintMet(arguments.item, condition.members(*cache.Find(arguments.item)), *before);
    }
    return ExitCode::kDone;
  });
}

}  // namespace

void AddWaitVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<WaitArguments>();
  tools::Syntax wait =
      tool.AddVerb(tool.App(), "wait",
                   "Wait until an item has a value, or is enabled, disabled, visible or hidden",
                   [&options, arguments] { return Wait(options, *arguments); });
  AddItem(wait, options, arguments->item);
  std::vector<tools::Parameter> conditions = {
      wait.AddArgument("VALUE", arguments->value, "The value; put -- before one that starts with -")
          .CompletedBy(ValueOffer(options, arguments->item)),
      wait.AddFlag("--enabled", arguments->enabled, "Wait until it is enabled"),
      wait.AddFlag("--disabled", arguments->disabled, "Wait until it is disabled"),
      wait.AddFlag("--visible", arguments->visible, "Wait until it is visible"),
      wait.AddFlag("--hidden", arguments->hidden, "Wait until it is hidden")};
  for (std::size_t i = 0; i < conditions.size(); ++i) {
    for (std::size_t other = 0; other < i; ++other) {
      conditions[i].Excludes(conditions[other]);
    }
  }
}

}  // namespace settingsctl
