#include <fmt/format.h>

#include <memory>

#include "settingsctl/completion_offers.h"
#include "settingsctl/facts.h"
#include "settingsctl/format.h"
#include "settingsctl/items.h"
#include "settingsctl/questions.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct GetArguments {
  Names items;
  bool raw = false;
};

struct ValueArguments {
  std::string item;
  std::string value;
  bool preview = false;
};

struct ValueAnswer {
  std::optional<std::string> value;
  std::optional<std::string> name;
};

std::vector<ValueAnswer> AskForValues(Client& client, const Names& items) {
  std::vector<ValueAnswer> answers(items.size());
  Questions questions(client);
  for (std::size_t i = 0; i < items.size(); ++i) {
    questions.Add(settings::ask::GetItemValue(items[i]), answers[i].value);
    questions.Add(settings::ask::GetItemValueName(items[i]), answers[i].name);
  }
  questions.Ask();
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!answers[i].value) {
      throw NoValue(client, items[i], ExitCode::kNotFound);
    }
    if (!answers[i].name) {
      throw Failure(ExitCode::kRefused,
                    fmt::format("the service does not name the value of {}; its log says why",
                                Quote(items[i])));
    }
  }
  return answers;
}

ExitCode Get(const Options& options, const GetArguments& arguments, Client& client) {
  if (arguments.raw && options.json) {
    throw Failure(ExitCode::kUsage, "--raw and --json exclude each other; use one of them");
  }
  const Names& items = arguments.items;
  const std::vector<ValueAnswer> answers = AskForValues(client, items);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto& [value, name] = answers[i];
    if (options.json) {
      tools::PrintLine(tools::JsonLine({{"item", items[i]}, {"value", *value}, {"name", *name}}));
    } else if (arguments.raw) {
      tools::PrintLine(*value);
    } else {
      const std::string whose = items.size() > 1 ? tools::Escape(items[i]) + ": " : "";
      tools::PrintLine(whose + ValueText(*value, *name));
    }
  }
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
    tools::PrintLine(
        tools::JsonLine({{"item", arguments.item},
                         {"value", AsKept(FactsOf(client, arguments.item), arguments.value)},
                         {"preview", arguments.preview}}));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddValueVerbs(tools::Tool& tool, const Options& options) {
  auto wanted = std::make_shared<GetArguments>();
  tools::Syntax get =
      tool.AddVerb(tool.App(), "get", "Print items' values and their names", [&options, wanted] {
        return WithClient(options, [&](Client& client) {
          wanted->items = ItemsOf(client, wanted->items);
          return Get(options, *wanted, client);
        });
      });
  AddItems(get, options, wanted->items, Offered::kItemsWithValue);
  get.AddFlag("--raw", wanted->raw, "Print the values alone, exactly as they are");

  auto arguments = std::make_shared<ValueArguments>();
  tools::Syntax set = tool.AddVerb(tool.App(), "set", "Set an item's value", [&options, arguments] {
    return WithClient(options, [&](Client& client) {
      arguments->item = ItemOf(client, arguments->item);
      return Set(options, *arguments, client);
    });
  });
  AddItem(set, options, arguments->item, Offered::kItemsWithValue);
  set.AddArgument("VALUE", arguments->value, "The value; put -- before one that starts with -")
      .Required()
      .CompletedBy(ValueOffer(options, arguments->item));
  set.AddFlag("--preview", arguments->preview, "Show the value without keeping it");
}

}  // namespace settingsctl
