#include <fmt/format.h>

#include <memory>

#include "base/number.h"
#include "nearest.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/facts.h"
#include "settingsctl/values_file.h"
#include "settingsctl/verbs.h"

// The verbs that carry the values of items to and from files.
namespace settingsctl {
namespace {

using settings::Client;
using tools::Escape;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct ImportArguments {
  std::string file;
  bool isDry = false;
};

ExitCode Export(const Options& options, const std::string& top, Client& client) {
  if (!top.empty()) {
    RequireItem(client, top);
  }
  const Names items = ItemsInOrder(client, top);
  const std::vector<std::optional<Facts>> facts = FactsOf(client, items);
  std::vector<std::pair<std::string, std::string>> values;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!facts[i] || !HasValue(*facts[i])) {
      continue;
    }
    const std::optional<std::string> value = KeptValue(*facts[i]);
    if (!value) {
      throw Failure(ExitCode::kRefused, "the service gave no value of " + Quote(items[i]));
    }
    values.emplace_back(items[i], *value);
  }
  tools::PrintLine(ValuesText(values, options.json));
  return ExitCode::kDone;
}

// Nothing for what can be the value of no item, and for a word of JSON that is none of this one's.
std::optional<std::string> TextOf(const Json::Value& value, const Facts& facts) {
  if (value.isString()) {
    return value.asString();
  }
  if (value.isBool()) {
    return facts.kind == ItemKind::kSwitch ? std::optional(value.asBool() ? "on" : "off")
                                           : std::nullopt;
  }
  if (value.type() == Json::realValue) {
    return base::DecimalText(value.asDouble());
  }
  return value.isNumeric() ? std::optional(value.asString()) : std::nullopt;
}

// What was not set, and why.
class Complaints {
 public:
  explicit Complaints(const Options& options) : m_Options(options) {}

  void Add(const std::string& item, const Json::Value& value, const Failure& why) {
    if (m_Options.json) {
      tools::PrintLine(
          tools::JsonLine({{"item", item}, {"value", value}, {"refused", why.what()}}));
    }
    m_Lines.emplace_back(why.what());
    m_IsRefused = m_IsRefused || why.Code() != ExitCode::kNotFound;
  }

  // A refused value counts more than an unknown item.
  void ThrowIfAny(std::size_t ofAll) const {
    if (!m_Lines.empty()) {
      throw Failure(m_IsRefused ? ExitCode::kRefused : ExitCode::kNotFound,
                    fmt::format("{} of {} values not set", m_Lines.size(), ofAll), m_Lines);
    }
  }

 private:
  const Options& m_Options;
  std::vector<std::string> m_Lines;
  bool m_IsRefused = false;
};

Failure NoSuchItemAmong(const Names& all, const std::string& item) {
  return Failure(ExitCode::kNotFound,
                 tools::NoSuch("item", item, all, "settingsctl tree shows all"));
}

// Sets the value, or only looks whether the item takes it.
bool SetOrTry(const ImportArguments& arguments, const std::string& item, const std::string& value,
              const Facts& facts, Client& client) {
  return arguments.isDry ? Takes(facts, value) : client.SetItemValue(item, value);
}

void PrintChange(const Options& options, const std::string& item,
                 const std::optional<std::string>& from, const std::string& value) {
  tools::PrintLine(
      options.json
          ? tools::JsonLine({{"item", item},
                             {"from", from ? Json::Value(*from) : Json::Value()},
                             {"value", value}})
          : fmt::format("{}: {} → {}", Escape(item), Escape(from.value_or("")), Escape(value)));
  // What was set is told even if the tool is ended.
  tools::Flush();
}

ExitCode Import(const Options& options, const ImportArguments& arguments,
                const ValuesOfItems& values, Client& client) {
  Names items;
  for (const auto& [name, value] : values) {
    items.push_back(IsPath(name) ? ItemAt(client, name).value_or(name) : name);
  }
  const std::vector<std::optional<Facts>> allFacts = FactsOf(client, items);
  Complaints complaints(options);
  std::optional<Names> known;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string& item = items[i];
    const Json::Value& value = values[i].second;
    if (!allFacts[i] && IsPath(item)) {
      complaints.Add(item, value, NoSuchItem(client, item));
      continue;
    }
    if (!allFacts[i]) {
      known = known ? std::move(known) : AllItems(client);
      complaints.Add(item, value, NoSuchItemAmong(*known, item));
      continue;
    }
    const Facts& facts = *allFacts[i];
    if (!HasValue(facts)) {
      complaints.Add(item, value, NoValue(client, item, ExitCode::kRefused));
      continue;
    }
    const std::optional<std::string> text = TextOf(value, facts);
    const std::optional<std::string> kept = KeptValue(facts);
    const bool isPreview = facts.isPreview.value_or(false);
    if (text && kept && !isPreview && IsSame(facts, *kept, *text)) {
      continue;
    }
    if (text && SetOrTry(arguments, item, *text, facts, client)) {
      PrintChange(options, item, isPreview ? facts.value : kept, AsKept(facts, *text));
    } else {
      complaints.Add(item, value, NotAccepted(client, item, text ? *text : tools::JsonText(value)));
    }
  }
  complaints.ThrowIfAny(values.size());
  return ExitCode::kDone;
}

}  // namespace

void AddTransferVerbs(tools::Tool& tool, const Options& options) {
  auto top = std::make_shared<std::string>();
  tools::Syntax exported = tool.AddVerb(
      tool.App(), "export", "Print values as a JSON object, item to value", [&options, top] {
        return WithClient(
            options, [&](Client& client) { return Export(options, ItemOf(client, *top), client); });
      });
  exported
      .AddArgument("ITEM", *top,
                   "The ID or path of the part of the menu; by default the whole menu")
      .CompletedBy(ItemOffer(options));

  auto arguments = std::make_shared<ImportArguments>();
  tools::Syntax imported = tool.AddVerb(
      tool.App(), "import", "Set the values in a file that differ", [&options, arguments] {
        const ValuesOfItems values = ReadValues(arguments->file);
        return WithClient(
            options, [&](Client& client) { return Import(options, *arguments, values, client); });
      });
  imported.AddArgument("FILE", arguments->file, "A file as export prints it; - for standard input")
      .Required()
      .CompletedBy(tools::PathCandidates);
  imported.AddFlag("--dry-run", arguments->isDry, "Print what would be set, and set nothing");
}

}  // namespace settingsctl
