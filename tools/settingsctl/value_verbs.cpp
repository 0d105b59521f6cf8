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

using Verb = ExitCode (*)(const Options&, const ValueArguments&, Client&);

ExitCode Get(const Options& options, const ValueArguments& arguments, Client& client) {
  const std::optional<std::string> value = client.GetItemValue(arguments.item);
  if (!value) {
    throw NoValue(client, arguments.item, ExitCode::kNotFound);
  }
  const std::optional<std::string> name = client.GetItemValueName(arguments.item);
  if (!name) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("the service does not name the value of {}; its log says why",
                              Quote(arguments.item)));
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
      throw NoValue(client, arguments.item, ExitCode::kNotFound);
    }
    throw NotAccepted(client, arguments.item, arguments.value);
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
  const auto add = [&](const char* name, const char* description, Verb verb) {
    return tool.AddVerb(tool.App(), name, description, [&options, arguments, verb] {
      return WithClient(options, [&](Client& client) {
        arguments->item = ItemOf(client, arguments->item);
        return verb(options, *arguments, client);
      });
    });
  };
  tools::Syntax get = add("get", "Print an item's value and its name", Get);
  AddItem(get, options, arguments->item);

  tools::Syntax set = add("set", "Set an item's value", Set);
  AddItem(set, options, arguments->item);
  set.AddArgument("VALUE", arguments->value, "The value; put -- before one that starts with -")
      .Required()
      .CompletedBy(ValueOffer(options, arguments->item));
  set.AddFlag("--preview", arguments->preview, "Show the value without keeping it");
}

}  // namespace settingsctl
