#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "base/json.h"
#include "settingsctl/tree.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;

// An item takes two levels of its catalogue's JSON, so anything deeper is a cycle.
constexpr int kMostLevels = base::kMaxJsonDepth / 2;

Branch Ask(Client& client, const std::string& item, const Names& disabled, int level) {
  if (level > kMostLevels) {
    throw Failure(ExitCode::kRefused, "the service's menu is endless below " + tools::Quote(item) +
                                          "; its catalogue is damaged");
  }
  Branch branch;
  branch.item = item;
  branch.name = client.GetItemDisplayName(item).value_or("");
  branch.visible = client.GetItemVisible(item).value_or(false);
  branch.enabled = client.GetItemEnable(item).value_or(false);
  if (Contains(disabled, item)) {
    branch.apps = DisablersOf(client, item);
  }
  for (const std::string& child : client.GetItemChildList(item).value_or(Names())) {
    branch.children.push_back(Ask(client, child, disabled, level + 1));
  }
  // A group has no value.
  if (branch.children.empty() && (branch.value = client.GetItemValue(item))) {
    branch.valueName = client.GetItemValueName(item).value_or("");
  }
  return branch;
}

std::vector<Branch> AskForAll(Client& client, const std::string& top) {
  const Names disabled = client.GetDisabledItemsList().value_or(Names());
  if (!top.empty()) {
    RequireItem(client, top);
    return {Ask(client, top, disabled, 0)};
  }
  const std::optional<Names> items = client.GetItemChildList("");
  if (!items) {
    throw Failure(ExitCode::kRefused, "the service has no items; its log says why");
  }
  std::vector<Branch> branches;
  for (const std::string& item : *items) {
    branches.push_back(Ask(client, item, disabled, 0));
  }
  return branches;
}

bool WantsColours() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string_view(value == nullptr ? "" : value);
  };
  return isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

ExitCode Tree(const Options& options, const std::string& top, Client& client) {
  const std::vector<Branch> branches = AskForAll(client, top);
  if (!options.json) {
    for (const std::string& line : Draw(branches, WantsColours())) {
      tools::PrintLine(line);
    }
  } else if (!top.empty()) {
    tools::PrintLine(tools::JsonText(TreeJson(branches.front())));
  } else {
    Json::Value children(Json::arrayValue);
    for (const Branch& branch : branches) {
      children.append(TreeJson(branch));
    }
    tools::PrintLine(tools::JsonLine({{"children", children}}));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddTreeVerb(tools::Tool& tool, const Options& options) {
  auto top = std::make_shared<std::string>();
  tools::Syntax tree =
      tool.AddVerb(tool.App(), "tree", "Draw the menu, or the part below an item", [&options, top] {
        return WithClient(options, [&](Client& client) { return Tree(options, *top, client); });
      });
  tree.AddArgument("ITEM", *top, "The item's ID, e.g. picture; by default the whole menu");
}

}  // namespace settingsctl
