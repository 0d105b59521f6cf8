#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/number.h"
#include "settingsctl/facts.h"
#include "settingsctl/format.h"
#include "settingsctl/questions.h"
#include "settingsctl/verbs.h"

// The verbs that set a value which depends on the present one.
namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct StepArguments {
  std::string item;
  int steps = 1;
};

const std::string& PresentValue(const std::string& item, const Facts& facts) {
  if (!facts.value) {
    throw Failure(ExitCode::kRefused, "the service gave no value of " + Quote(item));
  }
  return *facts.value;
}

// Sets the value and prints what the service has then.
ExitCode SetAndPrint(const Options& options, const std::string& item, const std::string& value,
                     Client& client) {
  if (!client.SetItemValue(item, value)) {
    throw NotAccepted(client, item, value);
  }
  std::optional<std::string> newValue;
  std::optional<std::string> newName;
  Questions questions(client);
  questions.Add(settings::ask::GetItemValue(item), newValue);
  questions.Add(settings::ask::GetItemValueName(item), newName);
  questions.Ask();
  const std::string shown = newValue.value_or(value);
  const std::string name = newName.value_or("");
  tools::PrintLine(options.json
                       ? tools::JsonLine({{"item", item}, {"value", shown}, {"name", name}})
                       : ValueText(shown, name));
  return ExitCode::kDone;
}

ExitCode Toggle(const Options& options, const std::string& item, Client& client) {
  const Facts facts = FactsOf(client, item);
  if (facts.kind != ItemKind::kSwitch) {
    throw Failure(ExitCode::kUsage,
                  fmt::format("{} is no switch, it {}", Quote(item), WhatItTakes(facts)));
  }
  const bool isOn = PresentValue(item, facts) == "on";
  return SetAndPrint(options, item, isOn ? "off" : "on", client);
}

// Which of the values the present one is, counted from 0, and the last of them.
struct Position {
  std::int64_t at = 0;
  std::int64_t last = 0;
};

Position PositionOf(const Facts& facts, const std::string& value) {
  if (facts.range) {
    const auto [min, max, step] = *facts.range;
    const double number = base::ParseDecimal(value).value_or(min);
    return {std::llround((number - min) / step), std::llround((max - min) / step)};
  }
  std::int64_t at = 0;
  while (at < std::ssize(facts.values) && facts.values[at] != value) {
    ++at;
  }
  return {at, std::ssize(facts.values) - 1};
}

std::string ValueAt(const Facts& facts, std::int64_t position) {
  return facts.range ? base::DecimalText(facts.range->min +
                                         static_cast<double>(position) * facts.range->step)
                     : facts.values[position];
}

// Without the values that the menu does not show now, unless the item has such a one.
Names ShownValues(Client& client, const std::string& item, const Facts& facts) {
  std::vector<std::optional<bool>> visible(facts.values.size());
  Questions questions(client);
  for (std::size_t i = 0; i < visible.size(); ++i) {
    questions.Add(settings::ask::GetItemDataVisible(item, facts.values[i]), visible[i]);
  }
  questions.Ask();
  Names shown;
  for (std::size_t i = 0; i < visible.size(); ++i) {
    if (visible[i].value_or(true) || facts.values[i] == facts.value) {
      shown.push_back(facts.values[i]);
    }
  }
  return shown;
}

// Which of the values `end` is, the last or first that `step` goes to: the item's own, unless the
// menu hides others behind it.
std::string EndText(const Facts& facts, const Names& all, bool isLast, const std::string& end) {
  if (facts.range) {
    return isLast ? "its highest value" : "its lowest value";
  }
  const std::string which = isLast ? "last" : "first";
  return end == (isLast ? all.back() : all.front()) ? "its " + which + " value"
                                                    : "the " + which + " value that the menu shows";
}

ExitCode Step(const Options& options, const StepArguments& arguments, Client& client) {
  const std::string& item = arguments.item;
  Facts facts = FactsOf(client, item);
  if (!HasValue(facts)) {
    throw Failure(ExitCode::kUsage, Quote(item) + " " + WhatItTakes(facts));
  }
  const std::string& value = PresentValue(item, facts);
  const Names all = std::exchange(facts.values, ShownValues(client, item, facts));
  if (!facts.range && facts.values.empty()) {
    throw Failure(ExitCode::kRefused, "the menu shows no value of " + Quote(item));
  }
  const Position present = PositionOf(facts, value);
  const std::int64_t next = present.at + arguments.steps;
  if (next < 0 || next > present.last) {
    const bool isLast = next > present.last;
    const std::string end = ValueAt(facts, isLast ? present.last : 0);
    throw Failure(ExitCode::kRefused,
                  fmt::format("{} is {} and {} is {}", Quote(item), tools::Escape(value),
                              EndText(facts, all, isLast, end), tools::Escape(end)));
  }
  return SetAndPrint(options, item, ValueAt(facts, next), client);
}

}  // namespace

void AddAdjustingVerbs(tools::Tool& tool, const Options& options) {
  auto item = std::make_shared<std::string>();
  tools::Syntax toggle = tool.AddVerb(
      tool.App(), "toggle", "Turn a switch on if it is off, and off if it is on", [&options, item] {
        return WithClient(options, [&](Client& client) {
          return Toggle(options, ItemOf(client, *item), client);
        });
      });
  AddItem(toggle, options, *item, Offered::kSwitches);

  auto arguments = std::make_shared<StepArguments>();
  tools::Syntax step =
      tool.AddVerb(tool.App(), "step", "Go to another value of an item, such as the next",
                   [&options, arguments] {
                     return WithClient(options, [&](Client& client) {
                       arguments->item = ItemOf(client, arguments->item);
                       return Step(options, *arguments, client);
                     });
                   });
  AddItem(step, options, arguments->item, Offered::kItemsWithValue);
  step.AddArgument("N", arguments->steps, "How many values forward, or backward if negative (1)")
      .Check([](const std::string& text) {
        return base::ParseWhole<int>(text) == 0 ? "0 steps lead nowhere; use 1 or -1" : "";
      });
}

}  // namespace settingsctl
