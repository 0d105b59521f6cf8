#include <fmt/format.h>

#include <memory>

#include "settingsctl/completion_offers.h"
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

struct ValueArguments {
  std::string item;
  std::string value;
  bool preview = false;
};

Failure NoItemWithValue(const std::string& item) {
  return Failure(ExitCode::kNotFound, fmt::format("no item {} that has a value", Quote(item)));
}

ExitCode Get(const Options& options, const ValueArguments& arguments, Client& client) {
  const std::optional<std::string> value = client.GetItemValue(arguments.item);
  const std::optional<std::string> name =
      value ? client.GetItemValueName(arguments.item) : std::nullopt;
  if (!name) {
    throw NoItemWithValue(arguments.item);
  }
  tools::PrintLine(
      options.json ? tools::JsonLine({{"item", arguments.item}, {"value", *value}, {"name", *name}})
                   : ValueText(*value, *name));
  return ExitCode::kDone;
}

ExitCode Set(const Options& options, const ValueArguments& arguments, Client& client) {
  if (!client.SetItemValue(arguments.item, arguments.value, arguments.preview)) {
    // The service does not say which of the two was wrong.
    if (!client.GetItemValue(arguments.item)) {
      throw NoItemWithValue(arguments.item);
    }
    throw Failure(ExitCode::kRefused, fmt::format("{} does not accept the value {}",
                                                  Quote(arguments.item), Quote(arguments.value)));
  }
  if (options.json) {
    tools::PrintLine(tools::JsonLine(
        {{"item", arguments.item}, {"value", arguments.value}, {"preview", arguments.preview}}));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddValueVerbs(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<ValueArguments>();
  tools::Syntax get =
      tool.AddVerb(tool.App(), "get", "Print an item's value and its name", [&options, arguments] {
        return WithClient(options,
                          [&](Client& client) { return Get(options, *arguments, client); });
      });
  AddItem(get, options, arguments->item);

  tools::Syntax set = tool.AddVerb(tool.App(), "set", "Set an item's value", [&options, arguments] {
    return WithClient(options, [&](Client& client) { return Set(options, *arguments, client); });
  });
  AddItem(set, options, arguments->item);
  set.AddArgument("VALUE", arguments->value, "The value; put -- before one that starts with -")
      .Required()
      .CompletedBy(ValueOffer(options, arguments->item));
  set.AddFlag("--preview", arguments->preview, "Show the value without keeping it");
}

}  // namespace settingsctl
