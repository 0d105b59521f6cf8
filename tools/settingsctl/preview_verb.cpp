#include <memory>

#include "settingsctl/facts.h"
#include "settingsctl/verbs.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;

// A preview ends when a value is kept: the one that is kept already.
ExitCode EndPreview(const Options& options, const std::string& item, Client& client) {
  const Facts facts = FactsOf(client, item);
  if (!HasValue(facts)) {
    throw NoValue(client, item, ExitCode::kNotFound);
  }
  if (!facts.isPreview || !facts.kept) {
    throw Failure(ExitCode::kRefused,
                  "the service does not tell previews from kept values; settingsctl set ends one");
  }
  const std::string& kept = facts.kept->value;
  if (*facts.isPreview && !client.SetItemValue(item, kept)) {
    throw NotAccepted(client, item, kept);
  }
  if (options.json) {
    tools::PrintLine(tools::JsonLine({{"item", item}, {"value", kept}, {"preview", false}}));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddPreviewVerb(tools::Tool& tool, const Options& options) {
  struct Arguments {
    std::string item;
    bool end = false;
  };
  auto arguments = std::make_shared<Arguments>();
  tools::Syntax preview = tool.AddVerb(
      tool.App(), "preview", "End the preview of an item's value", [&options, arguments] {
        return WithClient(options, [&](Client& client) {
          return EndPreview(options, ItemOf(client, arguments->item), client);
        });
      });
  AddItem(preview, options, arguments->item, Offered::kItemsWithValue);
  preview.AddFlag("--end", arguments->end, "End it; set --preview begins one").Required();
}

}  // namespace settingsctl
