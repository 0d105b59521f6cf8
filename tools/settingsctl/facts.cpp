#include "settingsctl/facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/number.h"
#include "settingsctl/format.h"

namespace settingsctl {
namespace {

// The part of a step that the service forgives.
constexpr double kForgiven = 1e-6;

struct Answers {
  std::optional<std::string> displayId;  // every item has one
  std::optional<std::string> value;
  std::optional<Names> values;
  std::optional<settings::Range> range;
  std::optional<Names> children;
};

ItemKind KindOf(const Answers& answers) {
  if (answers.values) {
    return *answers.values == Names{"off", "on"} ? ItemKind::kSwitch : ItemKind::kList;
  }
  if (answers.range) {
    return ItemKind::kRange;
  }
  // A value of which the service does not say what else it can be.
  if (answers.value) {
    return ItemKind::kList;
  }
  return answers.children ? ItemKind::kGroup : ItemKind::kAction;
}

// The service answers in the order of the items, without those that do not exist.
void AddDescriptions(settings::Client& client, const Names& items,
                     std::vector<std::optional<Facts>>& facts) {
  const auto descriptions = client.DescribeItems(items);
  if (!descriptions) {
    return;
  }
  auto description = descriptions->begin();
  for (std::size_t i = 0; i < items.size() && description != descriptions->end(); ++i) {
    if (!facts[i] || description->item != items[i]) {
      continue;
    }
    facts[i]->kind = description->kind;
    facts[i]->isPreview = description->isPreview;
    facts[i]->kept = description->kept;
    for (const settings::NamedValue& value : description->values) {
      facts[i]->valueNames.push_back(value.name);
    }
    ++description;
  }
}

}  // namespace

std::string ToText(ItemKind kind) {
  switch (kind) {
    case ItemKind::kGroup:
      return "group";
    case ItemKind::kSwitch:
      return "switch";
    case ItemKind::kList:
      return "list";
    case ItemKind::kRange:
      return "range";
    case ItemKind::kAction:
      break;
  }
  return "action";
}

std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items) {
  Questions questions(client);
  return FactsOf(client, items, questions);
}

std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items,
                                          Questions& questions) {
  std::vector<Answers> all(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    questions.Add(settings::ask::GetItemDisplayID(items[i]), all[i].displayId);
    questions.Add(settings::ask::GetItemValue(items[i]), all[i].value);
    questions.Add(settings::ask::GetItemDataList(items[i]), all[i].values);
    questions.Add(settings::ask::GetItemMinMaxStepValue(items[i]), all[i].range);
    questions.Add(settings::ask::GetItemChildList(items[i]), all[i].children);
  }
  questions.Ask();
  std::vector<std::optional<Facts>> facts(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (all[i].displayId) {
      const ItemKind kind = KindOf(all[i]);
      facts[i].emplace();
      facts[i]->kind = kind;
      facts[i]->value = std::move(all[i].value);
      facts[i]->values = std::move(all[i].values).value_or(Names());
      facts[i]->range = all[i].range;
    }
  }
  AddDescriptions(client, items, facts);
  return facts;
}

Facts FactsOf(settings::Client& client, const std::string& item) {
  std::optional<Facts> facts = FactsOf(client, Names{item}).front();
  if (!facts) {
    throw NoSuchItem(client, item);
  }
  return *std::move(facts);
}

std::optional<std::string> KeptValue(const Facts& facts) {
  return facts.kept ? facts.kept->value : facts.value;
}

bool HasValue(const Facts& facts) {
  return facts.kind != ItemKind::kGroup && facts.kind != ItemKind::kAction;
}

bool Takes(const Facts& facts, const std::string& value) {
  if (!facts.range) {
    return facts.values.empty() || Contains(facts.values, value);
  }
  const std::optional<double> number = base::ParseDecimal(value);
  if (!number) {
    return false;
  }
  const auto [min, max, step] = *facts.range;
  const double steps = (*number - min) / step;
  return std::abs(steps - std::round(steps)) <= kForgiven && *number > min - kForgiven * step &&
         *number < max + kForgiven * step;
}

std::string AsKept(const Facts& facts, const std::string& value) {
  const std::optional<double> number = base::ParseDecimal(value);
  if (!facts.range || !number) {
    return value;
  }
  const auto [min, max, step] = *facts.range;
  const double onStep = min + std::round((*number - min) / step) * step;
  const auto decimals = [](const std::string& text) {
    const std::size_t point = text.find('.');
    return point == std::string::npos ? 0 : text.size() - point - 1;
  };
  return fmt::format(
      "{:.{}f}", onStep,
      std::max(decimals(base::DecimalText(onStep)), decimals(KeptValue(facts).value_or(""))));
}

std::string WhatItTakes(const Facts& facts) {
  if (!HasValue(facts)) {
    return fmt::format("is {}, it has no value",
                       facts.kind == ItemKind::kGroup ? "a group" : "an action");
  }
  return "takes " + (facts.range ? RangeText(*facts.range) : Joined(facts.values));
}

bool IsSame(const Facts& facts, const std::string& one, const std::string& other) {
  if (one == other || !facts.range) {
    return one == other;
  }
  const std::optional<double> number = base::ParseDecimal(one);
  const std::optional<double> otherNumber = base::ParseDecimal(other);
  return number && otherNumber && std::abs(*number - *otherNumber) <= kForgiven * facts.range->step;
}

}  // namespace settingsctl
