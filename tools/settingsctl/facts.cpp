#include "settingsctl/facts.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "base/number.h"
#include "settingsctl/format.h"
#include "settingsctl/questions.h"

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

Kind KindOf(const Answers& answers) {
  if (answers.values) {
    return *answers.values == Names{"off", "on"} ? Kind::kSwitch : Kind::kList;
  }
  if (answers.range) {
    return Kind::kRange;
  }
  // A value of which the service does not say what else it can be.
  if (answers.value) {
    return Kind::kList;
  }
  return answers.children ? Kind::kGroup : Kind::kAction;
}

}  // namespace

std::string ToText(Kind kind) {
  switch (kind) {
    case Kind::kGroup:
      return "group";
    case Kind::kSwitch:
      return "switch";
    case Kind::kList:
      return "list";
    case Kind::kRange:
      return "range";
    case Kind::kAction:
      break;
  }
  return "action";
}

std::vector<std::optional<Facts>> FactsOf(settings::Client& client, const Names& items) {
  std::vector<Answers> all(items.size());
  Questions questions(client);
  for (std::size_t i = 0; i < items.size(); ++i) {
    questions.Add(settings::ask::GetItemDisplayID(items[i]), all[i].displayId);
    questions.Add(settings::ask::GetItemValue(items[i]), all[i].value);
    questions.Add(settings::ask::GetItemDataList(items[i]), all[i].values);
    questions.Add(settings::ask::GetItemMinMaxStepValue(items[i]), all[i].range);
    questions.Add(settings::ask::GetItemChildList(items[i]), all[i].children);
  }
  questions.Ask();
  std::vector<std::optional<Facts>> facts;
  for (Answers& answers : all) {
    const Kind kind = KindOf(answers);
    facts.push_back(answers.displayId
                        ? std::optional(Facts{kind, std::move(answers.value),
                                              answers.values.value_or(Names()), answers.range})
                        : std::nullopt);
  }
  return facts;
}

Facts FactsOf(settings::Client& client, const std::string& item) {
  std::optional<Facts> facts = FactsOf(client, Names{item}).front();
  if (!facts) {
    throw NoSuchItem(client, item);
  }
  return *std::move(facts);
}

bool HasValue(const Facts& facts) {
  return facts.kind != Kind::kGroup && facts.kind != Kind::kAction;
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

std::string WhatItTakes(const Facts& facts) {
  if (!HasValue(facts)) {
    return fmt::format("is {}, it has no value",
                       facts.kind == Kind::kGroup ? "a group" : "an action");
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
