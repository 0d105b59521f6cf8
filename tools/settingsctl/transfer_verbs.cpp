#include <fmt/format.h>

#include <exception>
#include <map>
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

// What an import says. It completes what it began: when the output cannot be written, nothing more
// is printed, and the failure comes at the end.
class Report {
 public:
  explicit Report(const Options& options) : m_Options(options) {}

  void Changed(const std::string& item, const std::optional<std::string>& from,
               const std::string& value) {
    m_Print(m_Options.json ? tools::JsonLine({{"item", item},
                                              {"from", from ? Json::Value(*from) : Json::Value()},
                                              {"value", value}})
                           : fmt::format("{}: {} → {}", Escape(item), Escape(from.value_or("")),
                                         Escape(value)));
  }

  void Refused(const std::string& item, const Json::Value& value, const Failure& why) {
    if (m_Options.json) {
      m_Print(tools::JsonLine({{"item", item}, {"value", value}, {"refused", why.what()}}));
    }
    m_Complaints.emplace_back(why.what());
    m_IsRefused = m_IsRefused || why.Code() != ExitCode::kNotFound;
  }

  // A refused value counts more than an unknown item, and both more than the output.
  void ThrowIfFailed(std::size_t ofAll) const {
    if (!m_Complaints.empty()) {
      throw Failure(m_IsRefused ? ExitCode::kRefused : ExitCode::kNotFound,
                    fmt::format("{} of {} values not set", m_Complaints.size(), ofAll),
                    m_Complaints);
    }
    if (m_OutputFailure) {
      std::rethrow_exception(m_OutputFailure);
    }
  }

 private:
  // What was set is told even if the tool is ended.
  void m_Print(const std::string& line) {
    if (m_OutputFailure) {
      return;
    }
    try {
      tools::PrintLine(line);
      tools::Flush();
    } catch (...) {
      m_OutputFailure = std::current_exception();
    }
  }

  const Options& m_Options;
  std::vector<std::string> m_Complaints;
  bool m_IsRefused = false;
  std::exception_ptr m_OutputFailure;
};

// Throws when an item comes twice, by its ID and its path, as a member may not come twice either.
void RequireEachOnce(const ValuesOfItems& values, const Names& items) {
  std::map<std::string, std::string> names;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const std::string& name = values[i].first;
    const auto [first, isNew] = names.emplace(items[i], name);
    if (!isNew) {
      throw Failure(ExitCode::kRefused,
                    fmt::format("{} and {} are one item, given twice; nothing was set",
                                Quote(first->second), Quote(name)));
    }
  }
}

Failure NoSuchItemAmong(const Names& all, const std::string& item) {
  return Failure(ExitCode::kNotFound,
                 tools::NoSuch("item", item, all, "settingsctl tree shows all"));
}

// Sets the value, or only looks whether the item takes it.
bool SetOrTry(const ImportArguments& arguments, const std::string& item, const std::string& value,
              const Facts& facts, Client& client) {
  return arguments.isDry ? Takes(facts, value) : client.SetItemValue(item, value);
}

ExitCode Import(const Options& options, const ImportArguments& arguments,
                const ValuesOfItems& values, Client& client) {
  Names items;
  for (const auto& [name, value] : values) {
    items.push_back(IsPath(name) ? ItemAt(client, name).value_or(name) : name);
  }
  RequireEachOnce(values, items);
  const std::vector<std::optional<Facts>> allFacts = FactsOf(client, items);
  Report report(options);
  std::optional<Names> known;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string& item = items[i];
    const Json::Value& value = values[i].second;
    if (!allFacts[i] && IsPath(item)) {
      report.Refused(item, value, NoSuchItem(client, item));
      continue;
    }
    if (!allFacts[i]) {
      known = known ? std::move(known) : AllItems(client);
      report.Refused(item, value, NoSuchItemAmong(*known, item));
      continue;
    }
    const Facts& facts = *allFacts[i];
    if (!HasValue(facts)) {
      report.Refused(item, value, NoValue(client, item, ExitCode::kRefused));
      continue;
    }
    const std::optional<std::string> text = TextOf(value, facts);
    const std::optional<std::string> kept = KeptValue(facts);
    if (text && kept && !facts.isPreview.value_or(false) && IsSame(facts, *kept, *text)) {
      continue;
    }
    if (text && SetOrTry(arguments, item, *text, facts, client)) {
      report.Changed(item, kept, AsKept(facts, *text));
    } else {
      report.Refused(item, value, NotAccepted(client, item, text ? *text : tools::JsonText(value)));
    }
  }
  report.ThrowIfFailed(values.size());
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
